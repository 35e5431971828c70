#include "session/provider_table.h"

#include "base/format.h"
#include "base/text.h"
#include "platform/types.h"

namespace varnel {

void GenericSessionNameByGuid(const GUID* guid, char16_t* outName, std::uint32_t capacity) {
  if (guid == nullptr || outName == nullptr) return;
  if (!CopyText(outName, capacity, u"KelvoVarnelWardlet")) return;
  const std::size_t used = TextLength(outName);
  if (used + 1 >= capacity) return;
  FormatTo(outName + used, capacity - used, u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid->Data1,
           guid->Data2, guid->Data3, guid->Data4[0], guid->Data4[1], guid->Data4[2], guid->Data4[3], guid->Data4[4],
           guid->Data4[5], guid->Data4[6], guid->Data4[7]);
}

std::uint32_t GetEtwProviderNameByGuid(const GUID* guid, char16_t* outName, std::uint32_t capacity) {
  if (guid == nullptr || outName == nullptr || capacity == 0) return platform::kErrorInvalidParameter;
  for (const ProviderTableEntry& entry : kProviderTable) {
    if (entry.guid != *guid) continue;
    CopyText(outName, capacity, entry.name);
    return platform::kErrorSuccess;
  }
  return platform::kErrorGenFailure;
}

}  // namespace varnel
