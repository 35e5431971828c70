// The backup of the machine's crash-dump settings, under a key that the first run's values share.
#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/out_of_memory.h"
#include "analyzer/registry_key.h"

namespace varnel {
namespace {

constexpr char16_t kDumpType[] = u"DumpType";
constexpr char16_t kDumpFile[] = u"DumpFile";
constexpr char16_t kMinidumpDir[] = u"MinidumpDir";
constexpr char16_t kMinidumpsCount[] = u"MinidumpsCount";
constexpr char16_t kAutoReboot[] = u"AutoReboot";
constexpr char16_t kSendAlert[] = u"SendAlert";
constexpr char16_t kLogEvent[] = u"LogEvent";
constexpr char16_t kBackupTime[] = u"BackupTime";
constexpr const char16_t* kAllValues[] = {kDumpType,   kDumpFile,  kMinidumpDir, kMinidumpsCount,
                                          kAutoReboot, kSendAlert, kLogEvent,    kBackupTime};

// Not the five that stands for a missing count in the live settings; backups of both kinds are out there.
constexpr std::uint32_t kMissingMinidumpsCount = 50;

/// A date without a time of day.
std::uint32_t PackedToday() {
  platform::SYSTEMTIME now{};
  platform::SystemPort().GetLocalTime(&now);
  return (std::uint32_t{now.wYear} << 16) | (std::uint32_t{now.wMonth} << 8) | now.wDay;
}

platform::SYSTEMTIME Unpacked(std::uint32_t date) {
  platform::SYSTEMTIME time{};
  time.wYear = static_cast<std::uint16_t>(date >> 16);
  time.wMonth = static_cast<std::uint16_t>((date >> 8) & 0xFF);
  time.wDay = static_cast<std::uint16_t>(date & 0xFF);
  return time;
}

std::uint32_t WriteDumpPlace(platform::HKEY key, const CrashDumpConfig& config) {
  if (config.dumpType != kDumpTypeSmall) return SetExpandText(key, kDumpFile, config.dumpPath);
  const std::uint32_t error = SetExpandText(key, kMinidumpDir, config.minidumpDir);
  return error != platform::kErrorSuccess ? error : SetDword(key, kMinidumpsCount, config.minidumpsCount);
}

void ReadBackedUpPlace(platform::HKEY key, CrashDumpBackup* backup) {
  if (backup->dumpType != kDumpTypeSmall) {
    QueryText(key, kDumpFile, &backup->dumpFile);
    return;
  }
  QueryText(key, kMinidumpDir, &backup->minidumpDir);
  if (QueryDword(key, kMinidumpsCount, &backup->minidumpsCount) < 0) backup->minidumpsCount = kMissingMinidumpsCount;
}

/// Whether the value is there.
bool ReadSwitch(platform::HKEY key, const char16_t* name, std::uint32_t* value) {
  std::uint32_t stored = 0;
  if (QueryDword(key, name, &stored) < 0) return false;
  *value = stored != 0 ? 1 : 0;
  return true;
}

}  // namespace

std::int32_t CrashDumpConfigManager::BackupCurrentConfig(platform::HKEY root,
                                                         const std::u16string& subKey) const noexcept {
  if (!available_) return kHresultFail;
  CrashDumpConfig config;
  if (const std::int32_t result = GetCurrentConfig(&config); result < 0) return result;
  RegistryKey key;
  std::uint32_t error = key.Create(root, subKey.c_str(), platform::kKeyWrite);
  if (error == platform::kErrorSuccess) error = SetDword(key.get(), kDumpType, config.dumpType);
  if (error == platform::kErrorSuccess) error = WriteDumpPlace(key.get(), config);
  if (error == platform::kErrorSuccess) error = SetDword(key.get(), kAutoReboot, config.autoReboot);
  if (error == platform::kErrorSuccess) error = SetDword(key.get(), kSendAlert, config.sendAlert);
  if (error == platform::kErrorSuccess) error = SetDword(key.get(), kLogEvent, config.logEvent);
  if (error == platform::kErrorSuccess) error = SetDword(key.get(), kBackupTime, PackedToday());
  return HresultOf(error);
}

std::int32_t CrashDumpConfigManager::ReadBackupConfig(platform::HKEY root, const std::u16string& subKey,
                                                      CrashDumpBackup* backup) const noexcept {
  if (backup == nullptr) return kHresultPointer;
  return WithinMemory([&] {
    *backup = CrashDumpBackup{};
    RegistryKey key;
    const std::uint32_t error = key.Open(root, subKey.c_str(), platform::kKeyRead);
    if (error != platform::kErrorSuccess) return HresultOf(error);
    if (QueryDword(key.get(), kDumpType, &backup->dumpType) < 0) return kHresultFail;
    ReadBackedUpPlace(key.get(), backup);
    std::uint32_t date = 0;
    if (QueryDword(key.get(), kBackupTime, &date) >= 0) backup->backupDate = Unpacked(date);
    const bool reboot = ReadSwitch(key.get(), kAutoReboot, &backup->autoReboot);
    const bool alert = ReadSwitch(key.get(), kSendAlert, &backup->sendAlert);
    const bool log = ReadSwitch(key.get(), kLogEvent, &backup->logEvent);
    backup->valid = reboot && alert && log ? 1 : 0;
    return backup->valid != 0 ? kHresultOk : kHresultFail;
  });
}

std::int32_t CrashDumpConfigManager::RestoreConfig(platform::HKEY root, const std::u16string& subKey) noexcept {
  std::int32_t result = MayWrite();
  if (result < 0) return result;
  CrashDumpBackup backup;
  result = ReadBackupConfig(root, subKey, &backup);
  if (result < 0) return result;
  if (backup.dumpType == kDumpTypeNone) result = SetCrashDumpEnabled(kDumpTypeNone);
  if (result >= 0) result = WriteDwordValue(kAutoReboot, backup.autoReboot);
  if (result >= 0) result = WriteDwordValue(kSendAlert, backup.sendAlert);
  if (result >= 0) result = WriteDwordValue(kLogEvent, backup.logEvent);
  if (result < 0) return result;
  DeleteBackupConfig(root, subKey);
  return kHresultOk;
}

std::int32_t CrashDumpConfigManager::DeleteBackupConfig(platform::HKEY root, const std::u16string& subKey) noexcept {
  RegistryKey key;
  const std::uint32_t opened = key.Open(root, subKey.c_str(), platform::kKeyWrite);
  if (opened == platform::kErrorFileNotFound) return kHresultOk;
  if (opened != platform::kErrorSuccess) return HresultOf(opened);
  std::uint32_t first = platform::kErrorSuccess;
  for (const char16_t* const name : kAllValues) {
    const std::uint32_t error = platform::RegistryPort().RegDeleteValueW(key.get(), name);
    if (error != platform::kErrorFileNotFound && first == platform::kErrorSuccess) first = error;
  }
  return HresultOf(first);
}

}  // namespace varnel
