#include "formats/dump/triage_block.h"

#include <array>

#include "formats/dump/read_values.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kBlockAt = 0x2000;
constexpr std::size_t kBlockSize = 0x80;
constexpr std::uint32_t kMark = 0x44475254;  // "TRGD"

}  // namespace

std::optional<TriageBlock> ReadTriageBlock(const DumpSource& source) {
  std::array<std::byte, kBlockSize> bytes{};
  if (source.Read(kBlockAt, bytes) != kBlockSize) return {};
  const auto field = [&bytes](std::size_t offset) { return Field<std::uint32_t>(bytes, offset); };
  TriageBlock out;
  out.service_pack_build = field(0x00);
  out.size_of_dump = field(0x04);
  out.valid_offset = field(0x08);
  out.context_offset = field(0x0C);
  out.exception_offset = field(0x10);
  out.mm_offset = field(0x14);
  out.unloaded_drivers_offset = field(0x18);
  out.prcb_offset = field(0x1C);
  out.process_offset = field(0x20);
  out.thread_offset = field(0x24);
  out.call_stack_offset = field(0x28);
  out.call_stack_size = field(0x2C);
  out.driver_list_offset = field(0x30);
  out.driver_count = field(0x34);
  out.string_pool_offset = field(0x38);
  out.string_pool_size = field(0x3C);
  out.broken_driver_offset = field(0x40);
  out.triage_options = field(0x44);
  out.top_of_stack = Field<std::uint64_t>(bytes, 0x48);
  out.data_page_address = Field<std::uint64_t>(bytes, 0x60);
  out.data_page_offset = field(0x68);
  out.data_page_size = field(0x6C);
  out.debugger_data_offset = field(0x70);
  out.debugger_data_size = field(0x74);
  out.data_blocks_offset = field(0x78);
  out.data_blocks_count = field(0x7C);
  out.marked = ReadFile<std::uint32_t>(source, out.valid_offset) == kMark;
  return out;
}

}  // namespace varnel::formats
