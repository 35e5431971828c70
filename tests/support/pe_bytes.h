// Images for tests as they lie in memory, written byte by byte after the format's description and not through the
// structures of the reader, so that a wrong structure makes a test fail. Places are bytes from the image's base.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/etl_bytes.h"

namespace varnel::support {

struct PeSectionSpec {
  std::string name;
  std::uint32_t rva = 0;
  std::uint32_t size = 0;
  std::uint32_t characteristics = 0x4000'0040;  // initialised data, readable
};
inline constexpr std::uint32_t kCodeSection = 0x6000'0020;
inline constexpr std::uint32_t kDataSection = 0xC000'0040;

struct PeSpec {
  std::uint16_t machine = 0x8664;
  std::uint16_t magic = 0x20B;
  std::uint32_t time_date_stamp = 0x5F1A'2B3C;
  std::uint16_t characteristics = 0x2022;
  std::uint32_t entry_point = 0x1000;
  std::uint64_t image_base = 0x1'4000'0000;
  std::uint32_t size_of_image = 0x8000;
  std::uint32_t checksum = 0x0001'2345;
  std::uint32_t new_header = 0x80;
  std::uint32_t directories = 16;
  std::uint16_t optional_size = 240;
  std::vector<PeSectionSpec> sections = {{".text", 0x1000, 0x2000, kCodeSection},
                                         {".rdata", 0x3000, 0x2000},
                                         {".data", 0x5000, 0x1000, kDataSection},
                                         {".rsrc", 0x6000, 0x1000},
                                         {".pdata", 0x7000, 0x1000}};
};

/// An image of zeros but for its headers.
class PeBytes {
 public:
  explicit PeBytes(const PeSpec& spec = {});

  PeBytes& Put(std::uint32_t rva, const Blob& bytes);
  PeBytes& Put32(std::uint32_t rva, std::uint32_t value);
  PeBytes& Put16(std::uint32_t rva, std::uint16_t value);
  PeBytes& Directory(std::uint32_t index, std::uint32_t rva, std::uint32_t size);

  const Blob& bytes() const { return bytes_; }
  Blob Take() { return std::move(bytes_); }
  /// Where the optional header begins.
  std::uint32_t optional_header() const { return optional_header_; }

 private:
  Blob bytes_;
  std::uint32_t optional_header_;
};

struct PeExportSpec {
  std::uint32_t rva = 0;
  std::vector<std::string> names;
  std::string forwarder;  // goes before `rva`
};
/// An export table that lies at `rva`, with the ordinals from `base` on in the order given; its names are sorted.
Blob PeExportTable(std::uint32_t rva, const std::vector<PeExportSpec>& exports, std::uint32_t base = 1,
                   std::string_view image_name = "test.sys");

struct PeResourceSpec {
  std::uint32_t type = 16;
  std::uint32_t name = 1;
  std::uint32_t language = 0x0409;
  Blob data;
};
/// A resource directory that lies at `rva`, with a directory of names for each type and of languages for each name.
Blob PeResourceTree(std::uint32_t rva, const std::vector<PeResourceSpec>& resources);

/// One block of a version resource. `value_length` counts characters with type 1, bytes with type 0.
Blob VersionBlock(std::u16string_view key, std::uint16_t type, std::uint16_t value_length, const Blob& value,
                  const std::vector<Blob>& children = {});
Blob VersionText(std::u16string_view key, std::u16string_view text);
/// The 52 bytes of the fixed part.
Blob VersionFixed(std::uint32_t file_ms, std::uint32_t file_ls, std::uint32_t product_ms, std::uint32_t product_ls,
                  std::uint32_t signature = 0xFEEF'04BD);
/// A whole resource: fixed part, one table of texts named 040904B0 with FileVersion and ProductVersion, a translation.
Blob VersionResource(std::u16string_view file_version, std::u16string_view product_version, const Blob& fixed);

/// An RSDS record.
Blob RsdsRecord(const GUID& guid, std::uint32_t age, std::string_view file_name);
/// One entry of a debug directory.
Blob DebugEntry(std::uint32_t type, std::uint32_t rva, std::uint32_t size);

struct PeUnwindSpec {
  std::uint8_t version = 1;
  std::uint8_t flags = 0;
  std::uint8_t prolog_size = 0;
  std::uint8_t frame_register = 0;
  std::uint8_t frame_offset = 0;  // in units of 16 bytes
  std::vector<std::uint16_t> slots = {};
  std::vector<std::uint32_t> behind = {};  // a handler's place, or the three words of an entry to go on with
};
/// One slot of unwind information: where its instruction ends, what it did, four bits more.
std::uint16_t UnwindSlot(std::uint8_t offset, std::uint8_t op, std::uint8_t info = 0);
Blob PeUnwindBytes(const PeUnwindSpec& spec);
/// A function table of begin, end, unwind information.
Blob PeFunctionTable(const std::vector<std::array<std::uint32_t, 3>>& entries);

}  // namespace varnel::support
