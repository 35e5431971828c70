// DumpHeader is what the first pages of a kernel crash dump say about the machine and the crash. A writer fills what it
// does not know with the text "PAGE"; such fields are empty here. Plain values; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/dump/dump_problem.h"
#include "formats/dump/dump_source.h"
#include "formats/dump/processor_context.h"

namespace varnel::formats {

/// The field DumpType as the file has it. Other numbers occur and are kept.
enum class DumpType : std::uint32_t {
  kFull = 1,
  kSummary = 2,
  kHeaderOnly = 3,
  kTriage = 4,
  kBitmapFull = 5,
  kBitmapKernel = 6,
  kAutomatic = 7,
  kRangesKernel = 8,
  kRangesKernelAndUser = 9,
  kRangesComplete = 10,
};

/// IMAGE_FILE_MACHINE_... of the crashed machine. Other numbers occur and are kept.
inline constexpr std::uint32_t kMachineI386 = 0x014C;
inline constexpr std::uint32_t kMachineAmd64 = 0x8664;

/// Bits of the field Attributes.
inline constexpr std::uint32_t kDumpAttributeKernelGenerated = 0x08;  ///< a small dump that the kernel wrote itself
inline constexpr std::uint32_t kDumpAttributeFiltered = 0x40;

/// Pages of physical memory that stand one behind the other.
struct PageRun {
  std::uint64_t base_page = 0;
  std::uint64_t page_count = 0;
};

struct PhysicalMemoryDescriptor {
  std::uint32_t number_of_runs = 0;  ///< as the file says, which may be more than there is room for
  std::uint64_t number_of_pages = 0;
  std::vector<PageRun> runs;  ///< what stands in the header: at most 42, or 86 of a 32-bit dump
};

struct DumpExceptionRecord {
  std::uint32_t code = 0;
  std::uint32_t flags = 0;
  std::uint64_t record = 0;
  std::uint64_t address = 0;
  std::vector<std::uint64_t> parameters;  ///< at most 15
};

struct DumpHeader {
  /// Of a 32-bit dump these are read: all up to `bug_check_parameters`, `pfn_database`, `physical_memory`, `comment`,
  /// `required_dump_space` and `system_time`.
  bool is_64_bit = false;
  DumpType type{};
  std::uint32_t machine = 0;
  std::uint32_t major_version = 0;  ///< 0xF: a free build, 0xC: a checked one
  std::uint32_t build = 0;
  std::uint32_t processors = 0;
  std::uint64_t directory_table_base = 0;
  std::uint64_t loaded_module_list = 0;   ///< address of PsLoadedModuleList
  std::uint64_t active_process_head = 0;  ///< address of PsActiveProcessHead
  std::uint32_t bug_check_code = 0;       ///< as it stands, with the bit that some small dumps add
  std::array<std::uint64_t, 4> bug_check_parameters{};

  std::optional<std::uint64_t> pfn_database;
  std::optional<std::string> version_user;  ///< up to its null, or all 32 bytes; bytes of an unknown code page
  std::optional<std::uint64_t> debugger_data_block;
  std::optional<PhysicalMemoryDescriptor> physical_memory;
  std::optional<ProcessorContext> context;  ///< of the processor that crashed, where the machine is an x64
  std::optional<DumpExceptionRecord> exception;
  std::optional<std::uint64_t>
      required_dump_space;  ///< bytes; more than a good small dump has, unless the attribute kernel generated is set
  std::optional<std::uint64_t> system_time;     ///< FILETIME, UTC
  std::optional<std::uint64_t> system_up_time;  ///< in 100 ns
  std::optional<std::string> comment;
  std::optional<std::uint32_t> mini_dump_fields;
  std::optional<std::uint32_t> secondary_data_state;
  std::optional<std::uint32_t> product_type;
  std::optional<std::uint32_t> suite_mask;
  std::optional<std::uint32_t> writer_status;
  std::optional<std::uint32_t> attributes;
  std::optional<std::uint32_t> boot_id;
  std::optional<std::uint8_t> kd_secondary_version;
};

/// Reads the header alone, of a dump of any machine and form.
/// @return kTooShort below 8192 bytes (4096 of a 32-bit dump), kNotADump when the two signatures are not there.
[[nodiscard]] DumpProblem ReadDumpHeader(const DumpSource& source, DumpHeader* out);

/// The stop code without the bit by which some small dumps mark theirs: 0x1000007E is 0x7E.
constexpr std::uint32_t PlainBugCheckCode(std::uint32_t code) noexcept {
  return code & ~std::uint32_t{0x10000000};
}

}  // namespace varnel::formats
