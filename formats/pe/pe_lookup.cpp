#include "formats/pe/pe_lookup.h"

namespace varnel::formats {

std::string_view Describe(PeState state) {
  switch (state) {
    case PeState::kFound:
      return "found";
    case PeState::kAbsent:
      return "not there";
    case PeState::kMissing:
      return "its memory is not in the dump";
    case PeState::kDamaged:
      return "damaged";
    case PeState::kNotAnImage:
      return "no image begins there";
    case PeState::kPe32:
      return "a 32-bit image (PE32)";
    case PeState::kRomImage:
      return "a ROM image";
    case PeState::kOtherKind:
      return "an image of an unknown kind";
  }
  return "unknown";
}

}  // namespace varnel::formats
