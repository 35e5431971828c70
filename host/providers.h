// The seven providers that the module serves, as the host names them to its user.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "interfaces/guid.h"

namespace varnel::host {

struct KnownProvider {
  const char* name;
  const char* guid_text;  // braced, upper case
};

inline constexpr std::array<KnownProvider, 7> kProviders = {{
    {"ProviderSample", "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}"},
    {"SourceUsb", "{4A234950-2B7D-4221-BADF-12593BD342A8}"},
    {"DestUsb", "{4A234951-2B7D-4221-BADF-12593BD342A8}"},
    {"VirtualHid", "{4A234955-2B7D-4221-BADF-12593BD342A8}"},
    {"KVirtualAudio", "{4A234954-2B7D-4221-BADF-12593BD342A8}"},
    {"KelvoGamePad", "{4A234953-2B7D-4221-BADF-12593BD342A8}"},
    {"KelvoIDD", "{4A234952-2B7D-4221-BADF-12593BD342A8}"},
}};

/// The module's own GUID, which its texts about crashes bear.
inline constexpr char kModuleGuidText[] = "{4A234956-2B7D-4221-BADF-12593BD342A8}";

/// The short name of one of the seven; the text itself for any other.
std::string ProviderName(std::string_view guid_text);

/// One of the seven, by its short name or its GUID, without regard to case; null for any other.
const KnownProvider* FindProvider(std::string_view name_or_guid);

/// REQUIRES: `provider` is one of kProviders.
GUID ProviderGuid(const KnownProvider& provider);

}  // namespace varnel::host
