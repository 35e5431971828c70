// Reads single fields out of the module's texts without parsing them whole. The texts are flat objects whose values of
// interest are strings; the fields of a nested object are found too. Pure; any thread.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace varnel::host {

/// The value of a key as UTF-8, its escapes undone. Nothing when there is no such key, or its value is no string.
std::optional<std::string> TextField(std::string_view json_text, std::string_view key);

}  // namespace varnel::host
