#include "formats/pe/unwind_info.h"

#include <span>

namespace varnel::formats {
namespace {

constexpr std::uint8_t kChainInfo = 4;

}  // namespace

std::size_t SlotsOf(const UnwindInfo& info, std::size_t slot) {
  switch (info.Op(slot)) {
    case UnwindOp::kPushNonvol:
    case UnwindOp::kAllocSmall:
    case UnwindOp::kSetFpReg:
      return 1;
    case UnwindOp::kPushMachFrame:
      return info.Info(slot) <= 1 ? 1 : 0;
    case UnwindOp::kAllocLarge:
      return info.Info(slot) == 0 ? 2 : info.Info(slot) == 1 ? 3 : 0;
    case UnwindOp::kSaveNonvol:
    case UnwindOp::kSaveXmm128:
      return 2;
    case UnwindOp::kSaveNonvolFar:
    case UnwindOp::kSaveXmm128Far:
      return 3;
    case UnwindOp::kEpilog:
      return info.version == 2 ? 1 : 0;
    default:
      return 0;
  }
}

PeLookup<UnwindInfo> ReadUnwindInfo(const PeMemory& memory, std::uint32_t rva) {
  if (rva % 4 != 0) return PeState::kDamaged;
  const auto head = memory.Copy<std::array<std::uint8_t, 4>>(rva);
  if (!head.found()) return head.state();
  const auto [first, prolog_size, count, frame] = head.value();
  UnwindInfo info;
  info.version = first & 7;
  info.flags = first >> 3;
  if (info.version != 1 && info.version != 2) return PeState::kOtherKind;
  info.prolog_size = prolog_size;
  info.count = count;
  info.frame_register = frame & 0xF;
  info.frame_offset = std::uint32_t{16} * (frame >> 4);
  const PeState state = memory.Read(rva + 4, std::as_writable_bytes(std::span(info.slots).first(count)));
  if (state != PeState::kFound) return state;
  if ((info.flags & kChainInfo) != 0) {
    const std::uint32_t behind = rva + 4 + (std::uint32_t{count} + 1) / 2 * 4;
    const auto chained = memory.Copy<PeFunction>(behind);
    if (!chained.found()) return chained.state();
    info.chained = chained.value();
  }
  return info;
}

}  // namespace varnel::formats
