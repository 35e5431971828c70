// GUIDs as text: "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}". Pure; any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "interfaces/guid.h"

namespace varnel::formats {

/// Reads a GUID in either case, with or without braces. Nothing else may stand around it.
std::optional<GUID> ParseGuid(std::string_view text);

/// Braced, upper case.
std::string FormatGuid(const GUID& guid);

/// For unordered containers.
struct GuidHash {
  std::size_t operator()(const GUID& guid) const noexcept;
};

}  // namespace varnel::formats
