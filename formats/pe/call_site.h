// Tells whether an address can be where a call returns to.
#pragma once

#include <cstdint>
#include <optional>

#include "formats/address_space.h"

namespace varnel::formats {

/// Whether the bytes before `address` can be read as a call, near or through a register or memory. Nothing when too few
/// of them are in the dump. A chance sequence of bytes may look like one.
std::optional<bool> FollowsCall(const AddressSpace& space, std::uint64_t address);

}  // namespace varnel::formats
