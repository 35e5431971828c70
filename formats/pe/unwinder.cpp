#include "formats/pe/unwinder.h"

#include "formats/pe/call_site.h"
#include "formats/pe/stack_order.h"
#include "formats/pe/unwind_epilog.h"

namespace varnel::formats {
namespace {

// The table by the image's headers, else by what the module list tells of it.
PeLookup<PeFunctions> FunctionsOf(const AddressSpace& space, const LoadedImage& place, const PeLookup<PeImage>& image) {
  if (image.found()) return PeFunctions::Open(image.value());
  const std::uint64_t rva = place.exception_table - place.base;
  const bool told = place.exception_table >= place.base && place.exception_table_size != 0 && rva < place.size &&
                    place.exception_table_size <= place.size - rva;
  if (!told) return image.state();
  const PeRange table{static_cast<std::uint32_t>(rva), place.exception_table_size};
  return PeFunctions(PeMemory(space, place.base, place.size), table);
}

UndoneFrame Ended(UnwindEnd end) {
  UndoneFrame frame;
  frame.end = end;
  return frame;
}

}  // namespace

const Unwinder::Known* Unwinder::KnownAt(std::uint64_t address) {
  const auto place = images_->ImageAt(address);
  if (!place.has_value() || address - place->base >= place->size) return nullptr;
  auto known = known_.find(place->base);
  if (known == known_.end()) {
    auto image = PeImage::Open(*space_, place->base, place->size);
    const auto functions = FunctionsOf(*space_, *place, image);
    known = known_.emplace(place->base, Known{*place, std::move(image), functions}).first;
  }
  return &known->second;
}

// A function outside of all images was called through a bad pointer, or is code that nobody told of. What the call left
// on the stack is taken for the caller's address if a call stands before that.
UndoneFrame Unwinder::StepOutside(const X64Registers& registers, bool interrupted) const {
  if (!interrupted) return Ended(UnwindEnd::kNoModule);
  UndoneFrame caller = UndoCall(*space_, registers);
  if (caller.end != UnwindEnd::kNone) return caller;
  const auto follows = FollowsCall(*space_, caller.registers.rip);
  if (!follows.has_value()) return Ended(UnwindEnd::kCodeMissing);
  return *follows ? caller : Ended(UnwindEnd::kNoModule);
}

UndoneFrame Unwinder::StepIn(const PeFunctions& functions, const X64Registers& registers, UnwoundFrame* frame) const {
  const auto rva = static_cast<std::uint32_t>(registers.rip - functions.memory().base());
  const auto entry = functions.Find(rva);
  // A function that is in no table calls nothing, so that only an interrupted one can be found in it.
  if (entry.state() == PeState::kAbsent && frame->interrupted) return UndoCall(*space_, registers);
  if (!entry.found()) return Ended(EndOf(entry.state()));
  frame->function = functions.memory().base() + entry.value().begin;
  const auto unwind = functions.Resolve(entry.value());
  if (!unwind.found()) return Ended(EndOf(unwind.state()));
  // At the return address of a call no part of the epilog has run yet.
  if (frame->interrupted) {
    auto epilog = UndoEpilog(functions, entry.value(), unwind.value(), registers);
    if (epilog.has_value()) return *epilog;
  }
  return UndoFrame(functions, unwind.value(), registers);
}

UndoneFrame Unwinder::Step(const X64Registers& registers, UnwoundFrame* frame) {
  const Known* known = KnownAt(registers.rip);
  if (known == nullptr) return StepOutside(registers, frame->interrupted);
  if (known->functions.found()) return StepIn(known->functions.value(), registers, frame);
  switch (known->functions.state()) {
    case PeState::kAbsent:  // not one function calls another
      return frame->interrupted ? UndoCall(*space_, registers) : Ended(UnwindEnd::kNoFunction);
    case PeState::kMissing:
      return Ended(UnwindEnd::kImageMissing);
    case PeState::kDamaged:
      return Ended(UnwindEnd::kDamaged);
    default:
      return Ended(UnwindEnd::kOtherMachine);
  }
}

UnwindEnd Unwinder::CheckCaller(const UndoneFrame& caller) {
  const std::uint64_t rip = caller.registers.rip;
  // A trap at address 0 is no beginning: somebody called through a null pointer, and stands on the stack yet.
  if (rip == 0 && !(caller.machine_frame && caller.registers.rsp() != 0)) return UnwindEnd::kBottom;
  const Known* known = KnownAt(rip);
  if (known == nullptr) return caller.machine_frame ? UnwindEnd::kNone : UnwindEnd::kNoModule;
  if (!known->image.found()) return UnwindEnd::kNone;  // nothing speaks against it
  const bool code = known->image.value().IsExecutable(static_cast<std::uint32_t>(rip - known->place.base));
  return code || caller.machine_frame ? UnwindEnd::kNone : UnwindEnd::kNotCode;
}

UnwoundStack Unwinder::Walk(const X64Registers& start, std::span<const StackRange> stacks, std::size_t limit) {
  UnwoundStack stack;
  StackOrder order(stacks);
  X64Registers registers = start;
  bool interrupted = true;
  UnwindEnd misplaced = order.Next(start.rsp());
  while (stack.frames.size() < limit) {
    stack.frames.push_back({registers.rip, registers.rsp(), 0, 0, 0, interrupted});
    UnwoundFrame& frame = stack.frames.back();
    UndoneFrame caller = misplaced == UnwindEnd::kNone ? Step(registers, &frame) : Ended(misplaced);
    if (caller.end == UnwindEnd::kNone) caller.end = CheckCaller(caller);
    if (caller.end == UnwindEnd::kNone) caller.end = order.Next(caller.registers.rsp());
    if (caller.end != UnwindEnd::kNone) {
      stack.end = caller.end;
      return stack;
    }
    frame.return_address = caller.registers.rip;
    frame.return_slot = caller.return_slot;
    registers = caller.registers;
    interrupted = caller.machine_frame;
  }
  stack.end = UnwindEnd::kFrameLimit;
  return stack;
}

}  // namespace varnel::formats
