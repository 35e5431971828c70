// What a machine keeps of one kind of analysis, taken from the bytes of its marker and of the registry in force,
// without any of the module's code.
#pragma once

#include <string>

#include "tests/analyzer/dump_model.h"

namespace varnel::testing {

/// `marker`: the file's bytes, "absent" without one.
ModelKind KeptState(DumpKind kind, const std::string& marker);

}  // namespace varnel::testing
