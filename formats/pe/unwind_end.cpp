#include "formats/pe/unwind_end.h"

namespace varnel::formats {

std::string_view Describe(UnwindEnd end) {
  switch (end) {
    case UnwindEnd::kNone:
      return "goes on";
    case UnwindEnd::kBottom:
      return "the thread's first function";
    case UnwindEnd::kUserMode:
      return "entered from a program";
    case UnwindEnd::kFrameLimit:
      return "as many frames as were asked for";
    case UnwindEnd::kNoModule:
      return "a caller in no module";
    case UnwindEnd::kNotCode:
      return "a caller outside of its module's code";
    case UnwindEnd::kNoFunction:
      return "no unwind information for a caller";
    case UnwindEnd::kImageMissing:
      return "the module's headers are not in the dump";
    case UnwindEnd::kTableMissing:
      return "the unwind information is not in the dump";
    case UnwindEnd::kCodeMissing:
      return "the code is not in the dump";
    case UnwindEnd::kStackMissing:
      return "the stack is not in the dump";
    case UnwindEnd::kStackDescends:
      return "the stack runs the wrong way";
    case UnwindEnd::kOffStack:
      return "the stack pointer leaves the stack";
    case UnwindEnd::kMisaligned:
      return "the stack pointer is misaligned";
    case UnwindEnd::kUncertain:
      return "unwind information of an uncertain meaning";
    case UnwindEnd::kDamaged:
      return "damaged unwind information";
    case UnwindEnd::kOtherMachine:
      return "an image for another processor";
  }
  return "unknown";
}

UnwindEnd EndOf(PeState state) {
  switch (state) {
    case PeState::kFound:
      return UnwindEnd::kNone;
    case PeState::kAbsent:
      return UnwindEnd::kNoFunction;
    case PeState::kMissing:
      return UnwindEnd::kTableMissing;
    case PeState::kOtherKind:
      return UnwindEnd::kUncertain;
    default:
      return UnwindEnd::kDamaged;
  }
}

}  // namespace varnel::formats
