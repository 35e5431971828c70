#include "small_dump.h"

#include <span>

#include "tests/support/dump_bytes.h"

namespace varnel::embedded {
namespace {

void PutHeader(support::GrowingBytes* out, const SmallDump& dump) {
  out->Put(0xC, dump.build);
  out->Put(0x20, dump.module_list_head);
  out->Put<std::uint64_t>(0x28, 0);
  out->Put(0x30, dump.machine);
  out->Put(0x34, dump.processors);
  out->Put(0x38, dump.bug_check);
  for (std::size_t i = 0; i < 4; ++i) out->Put(0x40 + 8 * i, dump.parameters[i]);
  if (dump.system_time) out->Put(0xFA8, *dump.system_time);
  if (dump.system_up_time) out->Put(0x1030, *dump.system_up_time);
  if (dump.context.empty()) return;
  for (std::size_t i = 0; i < 1232; i += 8) out->Put<std::uint64_t>(0x348 + i, 0);
  out->Put<std::uint32_t>(0x348 + 0x30, 0x10000F);
  for (const auto& [place, value] : dump.context) out->Put(0x348 + place, value);
}

}  // namespace

std::vector<std::byte> SmallDump::Bytes() const {
  if (type != 4) {
    support::GrowingBytes header = support::MakeDumpHeader(type);
    PutHeader(&header, *this);
    return header.bytes();
  }
  support::SmallDumpBytes out;
  PutHeader(&out.file(), *this);
  out.Set(0, service_pack_build);
  out.AddStack(stack_address, std::as_bytes(std::span(stack)));
  for (const Module& module : modules) {
    out.AddDriver(module.path, module.base, module.size, module.time_date_stamp, module.check_sum);
  }
  for (const Gone& module : gone) out.AddUnloaded(module.name, module.start, module.end);
  for (const Block& block : blocks) out.AddBlock(block.address, block.bytes);
  return out.Finish();
}

}  // namespace varnel::embedded
