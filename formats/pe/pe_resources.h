// Finds the resources of an image: a tree of directories by type, name and language, with the data at its leaves.
#pragma once

#include <cstdint>

#include "formats/pe/pe_image.h"

namespace varnel::formats {

inline constexpr std::uint16_t kPeResourceVersion = 16;

/// Where the data of the first resource of a type lies. Of its languages English (United States, 0x0409) goes before
/// the neutral one (0), and that before the first of the others. Looks at the first 4096 entries of each directory.
/// Pure but for reading the image's memory; bounded for any bytes.
/// @return kAbsent when the image has no resource of this type, kMissing when the way to it is not in the dump.
PeLookup<PeRange> FindPeResource(const PeImage& image, std::uint16_t type);

}  // namespace varnel::formats
