// Names code by the exports of its image, only where it is proved to be the exported function's own.
#pragma once

#include <cstdint>
#include <string>

#include "formats/pe/pe_exports.h"
#include "formats/pe/pe_functions.h"

namespace varnel::formats {

struct FunctionName {
  std::string name;
  std::uint32_t displacement = 0;  ///< bytes from the function's beginning
};

/// The name of the function that holds a place. It is an export's where the function, by the function table, begins at
/// the export; or where the place itself is the export and lies in code. The nearest export below proves nothing and is
/// not taken. Pure but for reading memory.
/// @param functions  of the same image; a lookup that found none proves nothing but places that are exports themselves.
/// @return kAbsent when the function is no export with a name, kMissing when what would tell is not in the dump.
PeLookup<FunctionName> NameFunction(const PeImage& image, const PeExports& exports,
                                    const PeLookup<PeFunctions>& functions, std::uint32_t rva);

}  // namespace varnel::formats
