// Under which name a fault plan knows the asking of an engine for an interface.
#pragma once

#include <cstring>

#include "platform/debugger/engine.h"

namespace varnel::testing {

struct NamedInterface {
  const GUID* id;
  const char* call;
};
inline constexpr NamedInterface kInterfaces[] = {
    {&platform::kIidDebugClient4, "QueryInterface(IDebugClient4)"},
    {&platform::kIidDebugControl, "QueryInterface(IDebugControl)"},
    {&platform::kIidDebugControl4, "QueryInterface(IDebugControl4)"},
    {&platform::kIidDebugSymbols3, "QueryInterface(IDebugSymbols3)"},
    {&platform::kIidDebugSystemObjects, "QueryInterface(IDebugSystemObjects)"},
    {&platform::kIidDebugDataSpaces, "QueryInterface(IDebugDataSpaces)"},
    {&platform::kIidDebugDataSpaces2, "QueryInterface(IDebugDataSpaces2)"},
    {&platform::kIidDebugRegisters, "QueryInterface(IDebugRegisters)"},
    {&platform::kIidDebugAdvanced, "QueryInterface(IDebugAdvanced)"},
};

/// Null for an interface that the module does not ask for.
inline const char* CallOf(const GUID& id) {
  for (const NamedInterface& known : kInterfaces) {
    if (std::memcmp(known.id, &id, sizeof(GUID)) == 0) return known.call;
  }
  return nullptr;
}

}  // namespace varnel::testing
