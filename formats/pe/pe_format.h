// Layout of 64-bit images, as the platform's published format tells it. These structures feed nothing but copies.
#pragma once

#include <cstddef>
#include <cstdint>

namespace varnel::formats::pe {

inline constexpr std::uint16_t kDosMagic = 0x5A4D;         // "MZ"
inline constexpr std::uint32_t kDosNewHeaderPlace = 0x3C;  // holds where the image's own headers begin
inline constexpr std::uint32_t kSignature = 0x0000'4550;   // "PE", two NULs
inline constexpr std::uint16_t kMagicPe32 = 0x10B;
inline constexpr std::uint16_t kMagicPe32Plus = 0x20B;
inline constexpr std::uint16_t kMagicRom = 0x107;

struct FileHeader {
  std::uint16_t machine;
  std::uint16_t number_of_sections;
  std::uint32_t time_date_stamp;
  std::uint32_t pointer_to_symbol_table;
  std::uint32_t number_of_symbols;
  std::uint16_t size_of_optional_header;
  std::uint16_t characteristics;
};
static_assert(sizeof(FileHeader) == 20);

struct OptionalHeader {
  std::uint16_t magic;
  std::uint8_t linker_version[2];
  std::uint32_t sizes_of_contents[3];
  std::uint32_t address_of_entry_point;
  std::uint32_t base_of_code;
  std::uint64_t image_base;
  std::uint32_t section_alignment;
  std::uint32_t file_alignment;
  std::uint16_t versions[6];
  std::uint32_t win32_version;
  std::uint32_t size_of_image;
  std::uint32_t size_of_headers;
  std::uint32_t checksum;
  std::uint16_t subsystem;
  std::uint16_t dll_characteristics;
  std::uint64_t stack_and_heap[4];
  std::uint32_t loader_flags;
  std::uint32_t number_of_rva_and_sizes;
};
static_assert(sizeof(OptionalHeader) == 112 && offsetof(OptionalHeader, size_of_image) == 56 &&
              offsetof(OptionalHeader, number_of_rva_and_sizes) == 108);

struct DataDirectory {
  std::uint32_t rva;
  std::uint32_t size;
};

struct SectionHeader {
  char name[8];
  std::uint32_t virtual_size;
  std::uint32_t virtual_address;
  std::uint32_t size_of_raw_data;
  std::uint32_t pointers[3];
  std::uint16_t counts[2];
  std::uint32_t characteristics;
};
static_assert(sizeof(SectionHeader) == 40);

struct ExportDirectory {
  std::uint32_t characteristics;
  std::uint32_t time_date_stamp;
  std::uint16_t versions[2];
  std::uint32_t name;
  std::uint32_t base;
  std::uint32_t number_of_functions;
  std::uint32_t number_of_names;
  std::uint32_t address_of_functions;
  std::uint32_t address_of_names;
  std::uint32_t address_of_name_ordinals;
};
static_assert(sizeof(ExportDirectory) == 40);

struct ResourceDirectory {
  std::uint32_t characteristics;
  std::uint32_t time_date_stamp;
  std::uint16_t versions[2];
  std::uint16_t number_of_named_entries;
  std::uint16_t number_of_id_entries;
};
static_assert(sizeof(ResourceDirectory) == 16);

struct ResourceEntry {
  std::uint32_t id;      // with the highest bit: where a name stands
  std::uint32_t offset;  // from the directory's root; with the highest bit: of a directory
};
inline constexpr std::uint32_t kResourceHighBit = 0x8000'0000;

struct ResourceData {
  std::uint32_t rva;
  std::uint32_t size;
  std::uint32_t code_page;
  std::uint32_t reserved;
};
static_assert(sizeof(ResourceData) == 16);

struct DebugDirectory {
  std::uint32_t characteristics;
  std::uint32_t time_date_stamp;
  std::uint16_t versions[2];
  std::uint32_t type;
  std::uint32_t size_of_data;
  std::uint32_t address_of_raw_data;
  std::uint32_t pointer_to_raw_data;
};
static_assert(sizeof(DebugDirectory) == 28);
inline constexpr std::uint32_t kDebugTypeCodeView = 2;

}  // namespace varnel::formats::pe
