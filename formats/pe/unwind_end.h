// Why a walk up a stack ends.
#pragma once

#include <cstdint>
#include <string_view>

#include "formats/pe/pe_lookup.h"

namespace varnel::formats {

enum class UnwindEnd : std::uint8_t {
  kNone,           ///< it goes on
  kBottom,         ///< the first function of the thread was reached: it has no caller
  kUserMode,       ///< the kernel was entered from a program
  kFrameLimit,     ///< as many frames as were asked for
  kNoModule,       ///< the caller's address lies in no module
  kNotCode,        ///< the caller's address lies in a module, but not in its code
  kNoFunction,     ///< nothing tells how the caller's function is left
  kImageMissing,   ///< the headers of the module's image are not in the dump
  kTableMissing,   ///< the function table or the unwind information is not in the dump
  kCodeMissing,    ///< the code at the address is not in the dump, and it may be the end of its function
  kStackMissing,   ///< the stack is not in the dump
  kStackDescends,  ///< a caller's stack does not lie above its callee's
  kOffStack,       ///< the stack pointer leaves the stack
  kMisaligned,     ///< the stack pointer is no multiple of eight
  kUncertain,      ///< unwind information of a kind whose meaning is not agreed on
  kDamaged,        ///< unwind information that contradicts itself
  kOtherMachine,   ///< an image for another processor
};

/// A few words for people, such as "the stack is not in the dump".
std::string_view Describe(UnwindEnd end);

/// What a failed lookup of unwind information means for the walk.
UnwindEnd EndOf(PeState state);

}  // namespace varnel::formats
