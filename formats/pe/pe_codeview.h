// The identity of an image's symbol file, as the image itself names it.
#pragma once

#include <cstdint>
#include <string>

#include "formats/pe/pe_image.h"
#include "interfaces/guid.h"

namespace varnel::formats {

struct PeCodeView {
  GUID guid{};
  std::uint32_t age = 0;
  std::string file_name;  ///< as the linker wrote it, with or without a path; valid UTF-8
};

/// The first identity of the kind "RSDS" in the image's debug directory. Bounded for any bytes.
/// @return kAbsent when there is no entry of this kind, kMissing when the directory or the entry's data is not in the
/// dump (no later entry is taken then, since it may not be the one that counts).
PeLookup<PeCodeView> ReadPeCodeView(const PeImage& image);

/// The name of the folder that holds an image in a symbol store: its stamp and its size.
std::string PeImageKey(std::uint32_t time_date_stamp, std::uint32_t size_of_image);
/// The name of the folder that holds a symbol file in a symbol store: its GUID and age without dashes.
std::string PdbKey(const GUID& guid, std::uint32_t age);

}  // namespace varnel::formats
