// The first run's batch and how far it has come, in the registry.
#include <algorithm>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "analyzer/multi_string.h"
#include "analyzer/out_of_memory.h"
#include "analyzer/registry_key.h"

namespace varnel {
namespace {

using platform::RegistryPort;

constexpr char16_t kTotalCount[] = u"FirstRunTotalCount";
constexpr char16_t kCompletedCount[] = u"FirstRunCompletedCount";
constexpr char16_t kFileList[] = u"FirstRunFileList";
constexpr char16_t kCompletedList[] = u"FirstRunCompletedList";
constexpr char16_t kCompleted[] = u"Completed";
constexpr const char16_t* kBatchValues[] = {kTotalCount, kCompletedCount, kFileList, kCompletedList};

std::u16string ValueName(bool isNoSymbol, const char16_t* base_name) {
  return (isNoSymbol ? std::u16string(u"NoSymbol_") : std::u16string(u"WithSymbol_")) + base_name;
}

std::int32_t SetCount(platform::HKEY key, bool isNoSymbol, const char16_t* base_name, std::uint32_t value) {
  return HresultOf(SetDword(key, ValueName(isNoSymbol, base_name).c_str(), value));
}

std::int32_t QueryCount(platform::HKEY key, bool isNoSymbol, const char16_t* base_name, std::uint32_t* value) {
  return QueryDword(key, ValueName(isNoSymbol, base_name).c_str(), value);
}

bool Holds(const std::vector<std::u16string>& list, const std::u16string& identity) {
  return std::find(list.begin(), list.end(), identity) != list.end();
}

/// False for a dump whose identity fails or is empty.
bool IdentityTold(const std::u16string& path, std::u16string* identity) {
  return CalcDumpIdentity(path, identity) >= 0 && !identity->empty();
}

}  // namespace

std::int32_t CrashDumpConfigManager::ReadMultiString(platform::HKEY key, const char16_t* valueName, TextList* list) {
  list->clear();
  std::uint32_t size = 0;
  std::uint32_t error = RegistryPort().RegQueryValueExW(key, valueName, nullptr, nullptr, &size);
  if (error == platform::kErrorFileNotFound) return kHresultNothing;
  if (error != platform::kErrorSuccess) return HresultOf(error);
  if (size == 0) return kHresultOk;
  const std::size_t count = size / sizeof(char16_t);
  std::u16string buffer(count, u'\0');
  size = static_cast<std::uint32_t>(count * sizeof(char16_t));
  error = RegistryPort().RegQueryValueExW(key, valueName, nullptr, buffer.data(), &size);
  if (error != platform::kErrorSuccess) return HresultOf(error);
  DecodeMultiString(buffer, list);
  return kHresultOk;
}

std::int32_t CrashDumpConfigManager::WriteMultiString(platform::HKEY key, const char16_t* valueName,
                                                      const TextList& list) {
  const std::u16string stored = EncodeMultiString(list);
  const auto size = static_cast<std::uint32_t>(stored.size() * sizeof(char16_t));
  return HresultOf(RegistryPort().RegSetValueExW(key, valueName, platform::kRegMultiSz, stored.data(), size));
}

std::u16string CrashDumpConfigManager::GetFirstRunRegistryPath(const std::u16string& productGuid) const {
  return u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\" + productGuid;
}

std::int32_t CrashDumpConfigManager::SaveFirstRunFileList(const std::u16string& productGuid, bool isNoSymbol,
                                                          const TextList& dumpPaths) noexcept {
  if (dumpPaths.empty()) return kHresultNothing;
  return WithinMemory([&] {
    RegistryKey key;
    const std::uint32_t error =
        key.Create(platform::kHkeyLocalMachine, GetFirstRunRegistryPath(productGuid).c_str(), platform::kKeyWrite);
    if (error != platform::kErrorSuccess) return HresultOf(error);
    TextList identities;
    for (const std::u16string& path : dumpPaths) {
      std::u16string identity;
      if (IdentityTold(path, &identity)) identities.push_back(std::move(identity));
    }
    if (identities.empty()) return kHresultFail;
    const auto total = static_cast<std::uint32_t>(identities.size());
    std::int32_t result = SetCount(key.get(), isNoSymbol, kTotalCount, total);
    if (result >= 0) result = SetCount(key.get(), isNoSymbol, kCompletedCount, 0);
    if (result >= 0) result = WriteMultiString(key.get(), ValueName(isNoSymbol, kFileList).c_str(), identities);
    if (result >= 0) result = WriteMultiString(key.get(), ValueName(isNoSymbol, kCompletedList).c_str(), {});
    return result;
  });
}

std::int32_t CrashDumpConfigManager::MarkFirstRunDumpCompleted(const std::u16string& productGuid, bool isNoSymbol,
                                                               const std::u16string& dumpPath) noexcept {
  return WithinMemory([&] {
    RegistryKey key;
    const std::uint32_t error = key.Open(platform::kHkeyLocalMachine, GetFirstRunRegistryPath(productGuid).c_str(),
                                         platform::kKeyRead | platform::kKeyWrite);
    if (error != platform::kErrorSuccess) return kHresultNothing;
    std::u16string identity;
    if (!IdentityTold(dumpPath, &identity)) return kHresultFail;
    const std::u16string name = ValueName(isNoSymbol, kCompletedList);
    TextList done;
    ReadMultiString(key.get(), name.c_str(), &done);  // a list that is missing counts as empty
    if (Holds(done, identity)) return kHresultNothing;
    done.push_back(std::move(identity));
    if (const std::int32_t result = WriteMultiString(key.get(), name.c_str(), done); result < 0) return result;
    std::uint32_t count = 0;
    if (QueryCount(key.get(), isNoSymbol, kCompletedCount, &count) < 0) return kHresultOk;
    return SetCount(key.get(), isNoSymbol, kCompletedCount, count + 1);
  });
}

std::int32_t CrashDumpConfigManager::QueryDumpStatus(platform::HKEY key, bool isNoSymbol,
                                                     const std::u16string& dumpPath, std::uint32_t* status) {
  std::u16string identity;
  if (!IdentityTold(dumpPath, &identity)) return kHresultFail;
  TextList batch;
  const std::int32_t result = ReadMultiString(key, ValueName(isNoSymbol, kFileList).c_str(), &batch);
  if (result != kHresultOk) return result;
  if (!Holds(batch, identity)) return kHresultOk;
  TextList done;
  const std::int32_t told = ReadMultiString(key, ValueName(isNoSymbol, kCompletedList).c_str(), &done);
  *status = told == kHresultOk && Holds(done, identity) ? 0 : 1;
  return kHresultOk;
}

std::int32_t CrashDumpConfigManager::QueryBatchStatus(platform::HKEY key, bool isNoSymbol, std::uint32_t* status) {
  std::uint32_t total = 0;
  std::uint32_t completed = 0;
  if (QueryCount(key, isNoSymbol, kTotalCount, &total) < 0) return kHresultNothing;
  if (QueryCount(key, isNoSymbol, kCompletedCount, &completed) < 0) return kHresultNothing;
  *status = completed >= total ? 1 : 0;
  return kHresultOk;
}

std::int32_t CrashDumpConfigManager::QueryFirstRunStatus(const std::u16string& productGuid, bool isNoSymbol,
                                                         const std::u16string* dumpPath,
                                                         std::uint32_t* status) const noexcept {
  if (status == nullptr) return kHresultPointer;
  *status = 0;
  return WithinMemory([&] {
    RegistryKey key;
    const std::uint32_t error =
        key.Open(platform::kHkeyLocalMachine, GetFirstRunRegistryPath(productGuid).c_str(), platform::kKeyRead);
    if (error != platform::kErrorSuccess) return kHresultNothing;
    std::uint32_t finished = 0;
    if (QueryCount(key.get(), isNoSymbol, kCompleted, &finished) >= 0 && finished != 0) {
      *status = dumpPath != nullptr ? 0 : 1;
      return kHresultOk;
    }
    return dumpPath != nullptr ? QueryDumpStatus(key.get(), isNoSymbol, *dumpPath, status)
                               : QueryBatchStatus(key.get(), isNoSymbol, status);
  });
}

std::int32_t CrashDumpConfigManager::CompleteFirstRun(const std::u16string& productGuid, bool isNoSymbol) noexcept {
  return WithinMemory([&] {
    RegistryKey key;
    const std::uint32_t error =
        key.Open(platform::kHkeyLocalMachine, GetFirstRunRegistryPath(productGuid).c_str(), platform::kKeyWrite);
    if (error != platform::kErrorSuccess) return kHresultNothing;
    if (const std::int32_t result = SetCount(key.get(), isNoSymbol, kCompleted, 1); result < 0) return result;
    for (const char16_t* const base_name : kBatchValues) {
      RegistryPort().RegDeleteValueW(key.get(), ValueName(isNoSymbol, base_name).c_str());
    }
    return kHresultOk;
  });
}

}  // namespace varnel
