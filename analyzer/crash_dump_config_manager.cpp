#include "analyzer/crash_dump_config_manager.h"

#include "analyzer/out_of_memory.h"
#include "analyzer/process_token.h"
#include "analyzer/registry_key.h"
#include "base/log.h"
#include "base/path_services.h"

namespace varnel {
namespace {

constexpr char16_t kCrashControlPath[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr char16_t kDefaultMinidumpDir[] = u"%SystemRoot%\\Minidump";
constexpr char16_t kDefaultDumpFile[] = u"%SystemRoot%\\MEMORY.DMP";
constexpr std::uint32_t kDefaultMinidumpsCount = 5;

/// The text as it stands where it cannot be expanded.
std::u16string ExpandedOrPlain(const std::u16string& text) {
  std::u16string expanded;
  return HresultOf(ExpandEnvironmentPath(text.c_str(), &expanded)) >= 0 ? expanded : text;
}

}  // namespace

CrashDumpConfigManager::CrashDumpConfigManager() noexcept {
  RegistryKey key;
  available_ = key.Open(platform::kHkeyLocalMachine, kCrashControlPath, platform::kKeyRead) == platform::kErrorSuccess;
}

std::int32_t CrashDumpConfigManager::ReadDwordValue(const char16_t* name, std::uint32_t* value) const {
  RegistryKey key;
  const std::uint32_t error = key.Open(platform::kHkeyLocalMachine, kCrashControlPath, platform::kKeyRead);
  return error != platform::kErrorSuccess ? HresultOf(error) : QueryDword(key.get(), name, value);
}

std::int32_t CrashDumpConfigManager::ReadStringValue(const char16_t* name, std::u16string* text) const {
  RegistryKey key;
  const std::uint32_t error = key.Open(platform::kHkeyLocalMachine, kCrashControlPath, platform::kKeyRead);
  return error != platform::kErrorSuccess ? HresultOf(error) : QueryText(key.get(), name, text);
}

std::int32_t CrashDumpConfigManager::WriteDwordValue(const char16_t* name, std::uint32_t value) {
  RegistryKey key;
  std::uint32_t error = key.Create(platform::kHkeyLocalMachine, kCrashControlPath, platform::kKeyWrite);
  if (error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"[Error] Cannot open/create registry key CrashControl: 0x%08X\n", error);
    return HresultOf(error);
  }
  error = SetDword(key.get(), name, value);
  if (error != platform::kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to write registry value %s: 0x%08X\n", name, error);
  }
  return HresultOf(error);
}

std::int32_t CrashDumpConfigManager::WriteExpandStringValue(const char16_t* name, const std::u16string& text) {
  RegistryKey key;
  const std::uint32_t error = key.Create(platform::kHkeyLocalMachine, kCrashControlPath, platform::kKeyWrite);
  return HresultOf(error != platform::kErrorSuccess ? error : SetExpandText(key.get(), name, text));
}

/// What depends on the type. A type that is not known tells of no place.
void CrashDumpConfigManager::ReadDumpPlace(CrashDumpConfig* config) const {
  if (config->dumpType == kDumpTypeSmall) {
    if (ReadStringValue(u"MinidumpDir", &config->minidumpDir) < 0) config->minidumpDir = kDefaultMinidumpDir;
    config->dumpPath = ExpandedOrPlain(config->minidumpDir) + u"\\*.dmp";
    if (ReadDwordValue(u"MinidumpsCount", &config->minidumpsCount) < 0) {
      config->minidumpsCount = kDefaultMinidumpsCount;
    }
  } else if (config->dumpType == kDumpTypeComplete || config->dumpType == kDumpTypeKernel ||
             config->dumpType == kDumpTypeAutomatic) {
    std::u16string file;
    if (ReadStringValue(u"DumpFile", &file) < 0) file = kDefaultDumpFile;
    config->dumpPath = ExpandedOrPlain(file);
  }
}

std::int32_t CrashDumpConfigManager::GetCurrentConfig(CrashDumpConfig* config) const noexcept {
  if (config == nullptr) return kHresultPointer;
  if (!available_) return kHresultFail;
  return WithinMemory([&] {
    *config = CrashDumpConfig{};
    if (ReadDwordValue(u"CrashDumpEnabled", &config->dumpType) < 0) return kHresultOk;
    config->enabled = config->dumpType != 0 ? 1 : 0;
    ReadDumpPlace(config);
    const auto read_switch = [this](const char16_t* name, std::uint32_t value) {
      ReadDwordValue(name, &value);
      return value != 0 ? 1u : 0u;
    };
    config->overwrite = read_switch(u"Overwrite", 1);
    config->autoReboot = read_switch(u"AutoReboot", 1);
    config->sendAlert = read_switch(u"SendAlert", 0);
    config->logEvent = read_switch(u"LogEvent", 1);
    return kHresultOk;
  });
}

std::int32_t CrashDumpConfigManager::MayWrite() const {
  if (!available_) return kHresultFail;
  return IsCurrentProcessElevated() ? kHresultOk : kHresultAccessDenied;
}

std::int32_t CrashDumpConfigManager::EnableMinidump(const std::u16string& dir, std::uint32_t count) noexcept {
  return WithinMemory([&] {
    std::int32_t result = MayWrite();
    if (result >= 0) result = SetCrashDumpEnabled(kDumpTypeSmall);
    if (result >= 0) result = WriteExpandStringValue(u"MinidumpDir", dir);
    if (result >= 0) result = WriteDwordValue(u"MinidumpsCount", count);
    if (result < 0) return result;
    std::u16string expanded;
    if (HresultOf(ExpandEnvironmentPath(dir.c_str(), &expanded)) < 0) return kHresultOk;
    return HresultOf(EnsureDirectoryExists(expanded.c_str()));
  });
}

std::int32_t CrashDumpConfigManager::WriteSwitch(const char16_t* name, std::uint32_t enable) noexcept {
  const std::int32_t result = MayWrite();
  return result < 0 ? result : WriteDwordValue(name, enable != 0 ? 1 : 0);
}

std::int32_t CrashDumpConfigManager::SetAutoReboot(std::uint32_t enable) noexcept {
  return WriteSwitch(u"AutoReboot", enable);
}

std::int32_t CrashDumpConfigManager::SetLogEvent(std::uint32_t enable) noexcept {
  return WriteSwitch(u"LogEvent", enable);
}

std::int32_t CrashDumpConfigManager::SetCrashDumpEnabled(std::uint32_t value) noexcept {
  return WriteDwordValue(u"CrashDumpEnabled", value);
}

}  // namespace varnel
