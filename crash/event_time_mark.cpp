#include "crash/event_time_mark.h"

#include <array>

#include "base/key_chain.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr char16_t kValueName[] = u"EventTimeStamp";

std::uint32_t OpenMarkKey(KeyChain* chain) {
  std::array<char16_t, kGuidTextCapacity> module_text{};
  GuidToText(GUID_WARDLET_TOOL, module_text.data());
  for (const char16_t* name :
       {u"SOFTWARE\\KelvoCLSID", u"GlobalCfg", static_cast<const char16_t*>(module_text.data())}) {
    const std::uint32_t error = chain->Descend(name);
    if (error != platform::kErrorSuccess) return error;
  }
  return platform::kErrorSuccess;
}

std::uint32_t SetMark(const KeyChain& chain, std::uint64_t value) {
  return platform::RegistryPort().RegSetValueExW(chain.deepest(), kValueName, platform::kRegQword, &value,
                                                 sizeof value);
}

}  // namespace

std::uint32_t ReadLastEventTimeStamp(std::uint64_t* outValue) {
  if (outValue == nullptr) return platform::kErrorInvalidParameter;
  *outValue = 0;
  KeyChain chain;
  const std::uint32_t error = OpenMarkKey(&chain);
  if (error != platform::kErrorSuccess) return error;
  std::uint64_t value = 0;
  std::uint32_t size = sizeof value;
  if (platform::RegistryPort().RegQueryValueExW(chain.deepest(), kValueName, nullptr, &value, &size) !=
      platform::kErrorSuccess) {
    return SetMark(chain, 0);
  }
  *outValue = value;
  return platform::kErrorSuccess;
}

void WriteLastEventTimeStamp(std::uint64_t value) {
  KeyChain chain;
  if (OpenMarkKey(&chain) == platform::kErrorSuccess) SetMark(chain, value);
}

}  // namespace varnel
