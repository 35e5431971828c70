// The names that every manifest may use without defining them ("win:Informational"), with the texts that the platform
// shows for them in English. Constant data; any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace varnel::formats {

struct PredefinedName {
  std::string_view name;  // behind "win:"
  std::uint64_t value;
  std::string_view display;
};

/// Each takes a name with or without its prefix; null when it is not predefined.
const PredefinedName* PredefinedLevel(std::string_view name);
const PredefinedName* PredefinedOpcode(std::string_view name);
const PredefinedName* PredefinedKeyword(std::string_view name);
/// The channels that a manifest imports by their own name, such as "Application".
const PredefinedName* PredefinedChannel(std::string_view name);

const PredefinedName* PredefinedLevel(std::uint64_t value);
const PredefinedName* PredefinedOpcode(std::uint64_t value);
const PredefinedName* PredefinedKeyword(std::uint64_t value);

}  // namespace varnel::formats
