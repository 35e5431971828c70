// Links that lead out of a machine's drives, so that a big file of the host is a file of the machine without a copy. A
// machine reads through such a link and changes neither it nor what it leads to. For the tools; one thread in each
// process, several processes at once.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

/// Makes the read-only file `windows_path`, which must not be there yet but whose folder must, a link to `target`, a
/// plain file of the host. `creation` is the creation time that the machine tells of it, in 100 ns since 1601.
/// @return an Error that names the place and the reason; then the machine is as it was.
formats::Status AddLink(const Machine& machine, std::u16string_view windows_path, const std::string& target,
                        std::uint64_t creation);

}  // namespace varnel::embedded
