// Tells whether code is the end of its function, where a part of the frame is gone already, and takes down the rest of
// it by running the instructions that are left. Pure but for reading memory; bounded for any bytes.
#pragma once

#include <optional>

#include "formats/pe/unwind_codes.h"

namespace varnel::formats {

/// @param entry  the entry that holds `registers.rip`, resolved as well in `unwind`.
/// @return nothing when the place is in no epilog, so that UndoFrame is to be asked; else what running the rest of the
/// epilog came to. `end` is kCodeMissing when the code that would tell is not in the dump, kTableMissing when it is not
/// known whether a jump at the end leaves the function.
std::optional<UndoneFrame> UndoEpilog(const PeFunctions& functions, const PeFunction& entry, const PeFunction& unwind,
                                      const X64Registers& registers);

}  // namespace varnel::formats
