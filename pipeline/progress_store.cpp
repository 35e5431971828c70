#include "pipeline/progress_store.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <limits>

#include "base/format.h"
#include "base/key_chain.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "pipeline/wide_number.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::HKEY;

constexpr std::size_t kGuidCapacity = 64;
constexpr std::size_t kValueNameCapacity = 256;

std::uint32_t OpenKeyWords(const GUID& provider, KeyChain* chain) {
  std::array<char16_t, kGuidCapacity> module_text{};
  std::array<char16_t, kGuidCapacity> provider_text{};
  GuidToText(GUID_WARDLET_TOOL, module_text.data());
  GuidToText(provider, provider_text.data());
  for (const char16_t* name : {u"SOFTWARE\\KelvoCLSID", u"GlobalCfg", static_cast<const char16_t*>(module_text.data()),
                               static_cast<const char16_t*>(provider_text.data()), u"KeyWords"}) {
    const std::uint32_t error = chain->Descend(name);
    if (error != platform::kErrorSuccess) return error;
  }
  return platform::kErrorSuccess;
}

// A growing heap array, freed unless it was handed over.
class RecordArray {
 public:
  RecordArray() = default;
  RecordArray(const RecordArray&) = delete;
  RecordArray& operator=(const RecordArray&) = delete;
  ~RecordArray() { platform::SystemPort().HeapFree(records_); }

  bool Append(const ProviderModuleCounter& record) {
    platform::System& system = platform::SystemPort();
    auto* grown = static_cast<ProviderModuleCounter*>(system.HeapAlloc(SaturatedSize(count_)));
    if (grown == nullptr) return false;
    if (count_ > 0) std::memcpy(grown, records_, count_ * sizeof(ProviderModuleCounter));
    std::memcpy(&grown[count_], &record, sizeof(record));
    system.HeapFree(records_);
    records_ = grown;
    ++count_;
    return true;
  }

  void HandOver(ProviderModuleCounter** records, std::uint32_t* count) {
    *records = records_;
    *count = count_;
    records_ = nullptr;
  }

 private:
  // An impossible size is asked for as all ones, which no heap has.
  static std::size_t SaturatedSize(std::uint32_t count) {
    constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
    const std::size_t wanted = std::size_t{count} + 1;
    return wanted > kMax / sizeof(ProviderModuleCounter) ? kMax : wanted * sizeof(ProviderModuleCounter);
  }

  ProviderModuleCounter* records_ = nullptr;
  std::uint32_t count_ = 0;
};

std::uint32_t ReadRecords(HKEY key, RecordArray* records) {
  for (std::uint32_t index = 0;; ++index) {
    std::array<char16_t, kValueNameCapacity> name{};
    ProviderModuleCounter record{};
    std::uint32_t name_length = name.size();
    std::uint32_t type = platform::kRegNone;
    std::uint32_t size = sizeof(record);
    const std::uint32_t error =
        platform::RegistryPort().RegEnumValueW(key, index, name.data(), &name_length, &type, &record, &size);
    if (error == platform::kErrorNoMoreItems) return platform::kErrorSuccess;
    if (error != platform::kErrorSuccess) return error;
    if (type != platform::kRegBinary || size != sizeof(record)) continue;
    if (ParseWideUint64(name.data()) != record.dwKeyWord) return platform::kErrorInvalidData;
    if (!records->Append(record)) return platform::kErrorOutOfMemory;
  }
}

std::uint32_t OpenForWriting(const GUID& provider, HKEY* key) {
  std::array<char16_t, kGuidCapacity> module_text{};
  std::array<char16_t, kGuidCapacity> provider_text{};
  std::array<char16_t, kMaxPath> path{};
  GuidToText(GUID_WARDLET_TOOL, module_text.data());
  GuidToText(provider, provider_text.data());
  FormatTo(path.data(), path.size(), u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\%s\\%s\\KeyWords", module_text.data(),
           provider_text.data());
  return platform::RegistryPort().RegCreateKeyExW(platform::kHkeyLocalMachine, path.data(),
                                                  platform::kRegOptionNonVolatile, platform::kKeyWrite, key, nullptr);
}

}  // namespace

std::uint32_t GetTargetProviderModulesCounter(const GUID* providerGuid, ProviderModuleCounter** records,
                                              std::uint32_t* count) {
  if (providerGuid == nullptr || records == nullptr || count == nullptr) return platform::kErrorInvalidParameter;
  *records = nullptr;
  *count = 0;
  RecordArray found;
  KeyChain chain;
  std::uint32_t error = OpenKeyWords(*providerGuid, &chain);
  if (error != platform::kErrorSuccess) return error;
  error = ReadRecords(chain.deepest(), &found);
  if (error != platform::kErrorSuccess) return error;
  found.HandOver(records, count);
  return platform::kErrorSuccess;
}

std::uint32_t SaveProviderModuleCounter(const GUID* providerGuid, const ProviderModuleCounter* record, HKEY* hKey) {
  if (providerGuid == nullptr || record == nullptr || hKey == nullptr) return platform::kErrorInvalidParameter;
  std::array<char16_t, 64> name{};
  FormatTo(name.data(), name.size(), u"0x%016I64X", record->dwKeyWord);
  bool opened_here = false;
  if (*hKey == nullptr) {
    HKEY key = nullptr;
    const std::uint32_t error = OpenForWriting(*providerGuid, &key);
    if (error != platform::kErrorSuccess) return error;
    *hKey = key;
    opened_here = true;
  }
  platform::Registry& registry = platform::RegistryPort();
  const std::uint32_t error =
      registry.RegSetValueExW(*hKey, name.data(), platform::kRegBinary, record, sizeof(*record));
  if (error != platform::kErrorSuccess && opened_here) registry.RegCloseKey(*hKey);
  return error;
}

}  // namespace varnel
