// The flushed copy of a registry: one file with every lasting record of the store, in order, closed by a checksum. It
// is what a registry opens with after its host has restarted. docs/formats/registry.md has the layout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "formats/result.h"
#include "platform/embedded/registry/copy_io.h"
#include "platform/embedded/registry/crc64.h"
#include "platform/embedded/registry/registry_records.h"

namespace varnel::embedded {

/// Which state of which store a copy holds.
struct CopyHeader {
  std::uint64_t epoch = 0;        // the store's
  std::uint64_t transaction = 0;  // the last one that is in the copy
  std::uint64_t file_time = 0;    // when it was made

  friend bool operator==(const CopyHeader&, const CopyHeader&) = default;
};

/// Writes a copy aside and puts it in place as a whole: after each step the old copy or the new one is there, whole,
/// whatever the power does. One thread; one writer for each folder at a time.
class CopyWriter {
 public:
  /// `folder` holds "copy" and, while a writer is at work, "copy.new".
  CopyWriter(CopyIo* io, std::string folder) : io_(io), folder_(std::move(folder)) {}

  // Each gives an errno value, 0 for success; the first failure sticks and Finish then leaves the old copy in place.
  int Begin(const CopyHeader& header);
  /// REQUIRES: places rise from call to call.
  int Add(std::span<const std::byte> place, std::span<const std::byte> record);
  int Finish();

 private:
  int Put(std::span<const std::byte> bytes);
  int Drain();

  CopyIo* const io_;
  const std::string folder_;
  std::unique_ptr<CopyFile> file_;
  std::vector<std::byte> pending_;  // not yet handed to the file
  Crc64 sum_;
  std::uint64_t count_ = 0;
  int error_ = 0;
};

struct CopyRecord {
  RecordPlace place;
  std::span<const std::byte> bytes;
};

/// A copy that was read and found whole. The records borrow the bytes it was parsed from.
struct RegistryCopy {
  CopyHeader header;
  StoreRecord store;
  std::vector<CopyRecord> records;  // without the store's own; in order, parents before their children

  /// Checks all of it: the checksum, every record, that every parent is there and comes first, that both roots are
  /// there and no id is used twice. @return an Error with the offset of what does not fit.
  static formats::Result<RegistryCopy> Parse(std::span<const std::byte> bytes, NameHash hash);
};

/// Which state a copy file claims to hold, from its first bytes alone.
formats::Result<CopyHeader> ParseCopyHeader(std::span<const std::byte> bytes);

inline constexpr std::size_t kCopyHeaderSize = 40;

inline std::string CopyPath(const std::string& folder) {
  return folder + "/copy";
}

}  // namespace varnel::embedded
