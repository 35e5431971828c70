// Takes down the frame of a function by its unwind operations: the registers as its caller had them.
// Pure but for reading memory; bounded for any bytes.
#pragma once

#include "formats/pe/pe_functions.h"
#include "formats/pe/unwind_end.h"
#include "formats/pe/unwind_info.h"
#include "formats/pe/x64_registers.h"

namespace varnel::formats {

/// What taking down a frame came to. The registers are the caller's when `end` is kNone or kUserMode.
struct UndoneFrame {
  UnwindEnd end = UnwindEnd::kNone;
  X64Registers registers;
  std::uint64_t return_slot = 0;  ///< the address at which the caller's address stood
  bool machine_frame = false;     ///< the processor interrupted the caller, who called nothing
};

/// Undoes what the function of `entry` had done when it was at `registers.rip`, then the call. Instructions of the
/// prolog that lie behind that place are not undone. The place is not one within an epilog.
/// @param entry  resolved, of the image in `functions`.
UndoneFrame UndoFrame(const PeFunctions& functions, const PeFunction& entry, const X64Registers& registers);

/// Undoes a call alone, from a function that set up no frame.
UndoneFrame UndoCall(const AddressSpace& space, const X64Registers& registers);

}  // namespace varnel::formats
