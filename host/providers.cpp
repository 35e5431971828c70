#include "host/providers.h"

#include <strings.h>

#include "formats/guid_text.h"

namespace varnel::host {

std::string ProviderName(std::string_view guid_text) {
  const KnownProvider* known = FindProvider(guid_text);
  return known != nullptr ? known->name : std::string(guid_text);
}

const KnownProvider* FindProvider(std::string_view name_or_guid) {
  const std::string text(name_or_guid);
  const auto guid = formats::ParseGuid(text);
  for (const KnownProvider& provider : kProviders) {
    if (::strcasecmp(provider.name, text.c_str()) == 0) return &provider;
    if (guid && *guid == ProviderGuid(provider)) return &provider;
  }
  return nullptr;
}

GUID ProviderGuid(const KnownProvider& provider) {
  return formats::ParseGuid(provider.guid_text).value_or(GUID{});
}

}  // namespace varnel::host
