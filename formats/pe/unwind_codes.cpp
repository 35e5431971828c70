#include "formats/pe/unwind_codes.h"

#include <limits>
#include <optional>

namespace varnel::formats {
namespace {

constexpr int kMostChained = 32;
constexpr std::uint32_t kWholeProlog = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t kPrivilege = 3;  // the bits of a code selector that tell a program from the kernel

class FrameUndoer {
 public:
  FrameUndoer(const PeMemory& memory, const X64Registers& registers) : space_(memory.space()) {
    frame_.registers = registers;
  }

  // Where the frame's saved registers are told from: the stack pointer behind all that the prolog took, or the frame
  // register where it stands by now.
  void FindBase(const UnwindInfo& info, std::uint32_t offset) {
    base_ = frame_.registers.rsp();
    if (info.frame_register == 0) return;
    bool stands = offset >= info.prolog_size || info.chained.has_value();
    for (std::size_t slot = 0; !stands && slot < info.count;) {
      stands = info.Op(slot) == UnwindOp::kSetFpReg && offset >= info.PrologOffset(slot);
      const std::size_t slots = SlotsOf(info, slot);
      if (slots == 0) break;
      slot += slots;
    }
    if (stands) base_ = frame_.registers.general.at(info.frame_register) - info.frame_offset;
  }

  void Undo(const UnwindInfo& info, std::uint32_t offset) {
    for (std::size_t slot = 0; slot < info.count && frame_.end == UnwindEnd::kNone && !frame_.machine_frame;) {
      const std::size_t slots = SlotsOf(info, slot);
      if (slots == 0) return End(UnwindEnd::kUncertain);
      if (slots > info.count - slot) return End(UnwindEnd::kDamaged);
      if (info.PrologOffset(slot) <= offset) UndoOne(info, slot);
      slot += slots;
    }
  }

  void UndoReturn() {
    if (frame_.end != UnwindEnd::kNone || frame_.machine_frame) return;
    frame_.return_slot = frame_.registers.rsp();
    if (const auto rip = Read(frame_.return_slot); rip.has_value()) {
      frame_.registers.rip = *rip;
      frame_.registers.set_rsp(frame_.return_slot + 8);
    }
  }

  void End(UnwindEnd end) {
    if (frame_.end == UnwindEnd::kNone) frame_.end = end;
  }
  const UndoneFrame& frame() const { return frame_; }

 private:
  std::optional<std::uint64_t> Read(std::uint64_t address) {
    std::uint64_t value = 0;
    if (space_.ReadVirtual(address, std::as_writable_bytes(std::span(&value, 1))) == sizeof value) return value;
    End(UnwindEnd::kStackMissing);
    return std::nullopt;
  }

  void Restore(std::uint8_t which, std::uint64_t address) {
    if (const auto value = Read(address); value.has_value()) frame_.registers.general.at(which) = *value;
  }

  void Grow(std::uint64_t bytes) { frame_.registers.set_rsp(frame_.registers.rsp() + bytes); }

  // 16 bits behind the operation, or 32 in two slots.
  static std::uint64_t Near(const UnwindInfo& info, std::size_t slot) { return info.slots.at(slot + 1); }
  static std::uint64_t Far(const UnwindInfo& info, std::size_t slot) {
    return std::uint64_t{info.slots.at(slot + 1)} | std::uint64_t{info.slots.at(slot + 2)} << 16;
  }

  void UndoOne(const UnwindInfo& info, std::size_t slot) {
    switch (info.Op(slot)) {
      case UnwindOp::kPushNonvol: {
        const std::uint64_t place = frame_.registers.rsp();
        Grow(8);
        return Restore(info.Info(slot), place);
      }
      case UnwindOp::kAllocLarge:
        return Grow(info.Info(slot) == 0 ? 8 * Near(info, slot) : Far(info, slot));
      case UnwindOp::kAllocSmall:
        return Grow(8 * std::uint64_t{info.Info(slot)} + 8);
      case UnwindOp::kSetFpReg:
        if (info.frame_register == 0) return End(UnwindEnd::kDamaged);
        return frame_.registers.set_rsp(frame_.registers.general.at(info.frame_register) - info.frame_offset);
      case UnwindOp::kSaveNonvol:
        return Restore(info.Info(slot), base_ + 8 * Near(info, slot));
      case UnwindOp::kSaveNonvolFar:
        return Restore(info.Info(slot), base_ + Far(info, slot));
      case UnwindOp::kPushMachFrame:
        return UndoMachineFrame(info.Info(slot) == 1);
      default:
        return;  // epilogs and vector registers take no part in finding the caller
    }
  }

  // What the processor pushed: an error code, perhaps, then rip, cs, eflags, rsp, ss.
  void UndoMachineFrame(bool error_code) {
    const std::uint64_t place = frame_.registers.rsp() + (error_code ? 8 : 0);
    const auto rip = Read(place);
    const auto code_selector = Read(place + 8);
    const auto rsp = Read(place + 24);
    if (!rip.has_value() || !code_selector.has_value() || !rsp.has_value()) return;
    frame_.return_slot = place;
    frame_.machine_frame = true;
    frame_.registers.rip = *rip;
    frame_.registers.set_rsp(*rsp);
    if ((*code_selector & kPrivilege) != 0) End(UnwindEnd::kUserMode);
  }

  const AddressSpace& space_;
  UndoneFrame frame_;
  std::uint64_t base_ = 0;
};

}  // namespace

UndoneFrame UndoFrame(const PeFunctions& functions, const PeFunction& entry, const X64Registers& registers) {
  const PeMemory& memory = functions.memory();
  FrameUndoer undoer(memory, registers);
  PeLookup<PeFunction> current = entry;
  const auto rva = static_cast<std::uint32_t>(registers.rip - memory.base());
  std::uint32_t offset = entry.Holds(rva) ? rva - entry.begin : kWholeProlog;  // an entry may stand for another one
  for (int part = 0; undoer.frame().end == UnwindEnd::kNone; ++part) {
    if (!current.found()) {
      undoer.End(EndOf(current.state()));
      break;
    }
    const auto info = ReadUnwindInfo(memory, current.value().unwind_info);
    if (!info.found() || part == kMostChained) {
      undoer.End(info.found() ? UnwindEnd::kDamaged : EndOf(info.state()));
      break;
    }
    if (part == 0) undoer.FindBase(info.value(), offset);
    undoer.Undo(info.value(), offset);
    if (!info.value().chained.has_value() || undoer.frame().machine_frame) break;
    current = functions.Resolve(*info.value().chained);
    offset = kWholeProlog;  // what is chained to has its prolog behind it
  }
  undoer.UndoReturn();
  return undoer.frame();
}

UndoneFrame UndoCall(const AddressSpace& space, const X64Registers& registers) {
  FrameUndoer undoer(PeMemory(space, 0, 0), registers);
  undoer.UndoReturn();
  return undoer.frame();
}

}  // namespace varnel::formats
