// What a kernel dump holds besides memory, as plain values. Texts are UTF-16 as the dump has them, valid or not.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "interfaces/guid.h"

namespace varnel::formats {

/// A module that was loaded when the machine crashed; the kernel's image is the first.
struct DumpModule {
  std::uint64_t base = 0;
  std::uint64_t entry_point = 0;  ///< 0 in many small dumps
  std::uint32_t size = 0;         ///< bytes of the image in memory
  std::uint32_t flags = 0;
  std::uint32_t check_sum = 0;
  std::uint32_t time_date_stamp = 0;
  std::uint64_t exception_table = 0;       ///< address of its .pdata; 0 when not told
  std::uint32_t exception_table_size = 0;  ///< bytes
  std::u16string path;                     ///< with a folder, or a file name alone; empty when it is not in the dump
  std::u16string name;  ///< the file's name without a folder; "unknown_<base>" when neither text is in the dump
};

/// A module that had gone when the machine crashed.
struct DumpUnloadedModule {
  std::u16string name;  ///< a small dump keeps 12 characters at most
  std::uint64_t start = 0;
  std::uint64_t end = 0;
  std::optional<std::uint64_t> time;  ///< FILETIME, UTC; a small dump has none
};

/// A block of bytes that a component of the system added to the dump.
struct SecondaryDataBlock {
  GUID tag{};
  std::uint64_t offset = 0;  ///< of the data in the file
  std::uint32_t size = 0;    ///< as the file says; may be 0
};

/// Memory of the dumped machine, [low, high).
struct AddressRange {
  std::uint64_t low = 0;
  std::uint64_t high = 0;
};

/// Why a byte of virtual memory can't be read.
enum class MissingReason : std::uint8_t {
  kNone,          ///< it can
  kNoMemory,      ///< a dump without pages, and none of its blocks holds the byte
  kNotCanonical,  ///< no address of an x64
  kNoTablePage,   ///< a page of the page tables is not in the dump
  kNoDataPage,    ///< the page is known, but not in the dump
  kPagedOut,      ///< the page was in a page file
  kNotMapped,     ///< nothing was mapped there, or a page of zeros that nobody had touched yet
};

/// Whether the file is as long as what it says about itself. Of another machine's dump only the header counts,
/// and the runs of a complete 32-bit one.
struct DumpCompleteness {
  std::uint64_t file_size = 0;
  std::uint64_t expected_size = 0;  ///< the end of the last page, block or secondary data that the dump tells of
  /// False where two places of the dump contradict each other: the count of pages and the bitmap, the mark at the end
  /// of a small dump.
  bool consistent = true;
  bool complete() const noexcept { return consistent && file_size >= expected_size; }
};

/// The platform's numbers for the kinds of kernel dump (DEBUG_DUMP_..., the qualifier of a debuggee).
enum class DumpQualifier : std::uint32_t {
  kSmall = 1024,
  kKernel = 1025,
  kFull = 1026,
  kActive = 1030,
};

}  // namespace varnel::formats
