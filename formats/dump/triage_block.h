// TriageBlock tells where the parts of a small dump stand. Plain values; any thread.
#pragma once

#include <cstdint>
#include <optional>

#include "formats/dump/dump_source.h"

namespace varnel::formats {

/// All offsets are places in the file, in bytes; 0 for a part that is not there. None of them is checked against the
/// file's size: what lies behind its end reads as missing.
struct TriageBlock {
  std::uint32_t service_pack_build = 0;
  std::uint32_t size_of_dump = 0;  ///< end of the small dump; secondary data follow
  std::uint32_t valid_offset = 0;  ///< of the mark at its end
  std::uint32_t context_offset = 0;
  std::uint32_t exception_offset = 0;
  std::uint32_t mm_offset = 0;
  std::uint32_t unloaded_drivers_offset = 0;
  std::uint32_t prcb_offset = 0;
  std::uint32_t process_offset = 0;
  std::uint32_t thread_offset = 0;
  std::uint32_t call_stack_offset = 0;
  std::uint32_t call_stack_size = 0;
  std::uint32_t driver_list_offset = 0;
  std::uint32_t driver_count = 0;
  std::uint32_t string_pool_offset = 0;
  std::uint32_t string_pool_size = 0;
  std::uint32_t broken_driver_offset = 0;
  std::uint32_t triage_options = 0;
  std::uint64_t top_of_stack = 0;  ///< the lowest address of the copied stack
  std::uint64_t data_page_address = 0;
  std::uint32_t data_page_offset = 0;
  std::uint32_t data_page_size = 0;
  std::uint32_t debugger_data_offset = 0;
  std::uint32_t debugger_data_size = 0;
  std::uint32_t data_blocks_offset = 0;
  std::uint32_t data_blocks_count = 0;
  bool marked = false;  ///< the mark stands at `valid_offset`
};

/// @return nothing when the file ends before the block does.
std::optional<TriageBlock> ReadTriageBlock(const DumpSource& source);

}  // namespace varnel::formats
