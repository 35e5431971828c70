#include "session/autologger.h"

#include <array>
#include <iterator>

#include "base/format.h"
#include "base/log.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/platform.h"
#include "session/provider_table.h"

namespace varnel {
namespace {

using platform::HKEY;
using platform::kErrorFileNotFound;
using platform::kErrorPathNotFound;
using platform::kErrorSuccess;
using platform::kHkeyLocalMachine;
using platform::kKeyRead;
using platform::kKeyWrite;
using platform::RegistryPort;

constexpr std::uint8_t kLevelVerbose = 5;
constexpr std::uint64_t kAllKeywords = ~std::uint64_t{0};
constexpr std::uint32_t kDeleteAccess = 0x2000E;  // write, and enumerate sub-keys
// Circular, real time, independent session, no buffering by processor.
constexpr std::uint32_t kAutoLoggerFileMode = 0x18000102;

bool IsNotFound(std::uint32_t code) {
  return code == kErrorFileNotFound || code == kErrorPathNotFound;
}

/// Closes a registry key at the end of its scope, if it was opened.
class ScopedKey {
 public:
  ScopedKey() = default;
  ~ScopedKey() { Close(); }
  ScopedKey(const ScopedKey&) = delete;
  ScopedKey& operator=(const ScopedKey&) = delete;

  HKEY get() const { return key_; }
  HKEY* out() { return &key_; }
  void Close() {
    if (key_ != nullptr) RegistryPort().RegCloseKey(key_);
    key_ = nullptr;
  }

 private:
  HKEY key_ = nullptr;
};

/// The texts that name one session in the registry.
struct SessionTexts {
  SessionTexts(const GUID& guid, const char16_t* session_name) {
    FormatTo(guid_text, std::size(guid_text), u"{%08X-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X}", guid.Data1,
             guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4],
             guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    const bool named = session_name != nullptr && session_name[0] != 0;
    CopyText(name, std::size(name), named ? session_name : guid_text);
    FormatTo(key_path, std::size(key_path), u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\%s", name);
  }

  char16_t guid_text[64];
  char16_t name[256];
  char16_t key_path[512];
};

/// One value to write, and the line that tells of its failure.
struct ValueToWrite {
  const char16_t* name;
  std::uint32_t type;
  const void* data;
  std::uint32_t size;
  const char16_t* failure_line;
};

ValueToWrite TextValue(const char16_t* name, const char16_t* text, const char16_t* failure_line) {
  const auto size = static_cast<std::uint32_t>((TextLength(text) + 1) * sizeof(char16_t));
  return {name, platform::kRegSz, text, size, failure_line};
}

ValueToWrite NumberValue(const char16_t* name, const std::uint32_t& number, const char16_t* failure_line) {
  return {name, platform::kRegDword, &number, sizeof number, failure_line};
}

ValueToWrite NumberValue(const char16_t* name, const std::uint64_t& number, const char16_t* failure_line) {
  return {name, platform::kRegQword, &number, sizeof number, failure_line};
}

/// Writes the values in order and stops at the first failure, which is logged with the name of what they belong to.
template <std::size_t N>
std::uint32_t WriteValues(HKEY key, const std::array<ValueToWrite, N>& values, const char16_t* owner) {
  for (const ValueToWrite& value : values) {
    const std::uint32_t result = RegistryPort().RegSetValueExW(key, value.name, value.type, value.data, value.size);
    if (result == kErrorSuccess) continue;
    WrapLogPrint(LOG_ERROR, Unchecked(value.failure_line), owner, result);
    return result;
  }
  return kErrorSuccess;
}

std::uint32_t WriteSessionValues(HKEY key, const SessionTexts& texts, const char16_t* log_file_name) {
  static constexpr std::uint32_t kStart = 1, kBufferSizeKb = 80, kMinimumBuffers = 2, kMaximumBuffers = 16;
  static constexpr std::uint32_t kClockPerformanceCounter = 1, kMaxFileSizeMb = 8, kFlushSeconds = 1, kFileMax = 22;
  static constexpr std::uint32_t kMode = kAutoLoggerFileMode;
  const std::array<ValueToWrite, 11> values = {{
      TextValue(u"Guid", texts.guid_text, u"CreateAutoLoggerSession func Failed to set Session(%s) Guid: 0x%08X\n"),
      NumberValue(u"Start", kStart, u"CreateAutoLoggerSession func Failed to set Session(%s) Start: 0x%08X\n"),
      TextValue(u"FileName", log_file_name,
                u"CreateAutoLoggerSession func Failed to set Session(%s) FileName: 0x%08X\n"),
      NumberValue(u"BufferSize", kBufferSizeKb,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) BufferSize: 0x%08X\n"),
      NumberValue(u"MinimumBuffers", kMinimumBuffers,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) MinimumBuffers: 0x%08X\n"),
      NumberValue(u"MaximumBuffers", kMaximumBuffers,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) MaximumBuffers: 0x%08X\n"),
      NumberValue(u"LogFileMode", kMode,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) LogFileMode: 0x%08X\n"),
      NumberValue(u"ClockType", kClockPerformanceCounter,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) ClockType: 0x%08X\n"),
      NumberValue(u"MaxFileSize", kMaxFileSizeMb,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) MaxFileSize: 0x%08X\n"),
      NumberValue(u"FlushTimer", kFlushSeconds,
                  u"CreateAutoLoggerSession func Failed to set Session(%s) FlushTimer: 0x%08X\n"),
      NumberValue(u"FileMax", kFileMax, u"CreateAutoLoggerSession func Failed to set Session(%s) FileMax: 0x%08X\n"),
  }};
  return WriteValues(key, values, texts.name);
}

std::uint32_t WriteProviderValues(HKEY key, const char16_t* provider_text, std::uint8_t level) {
  static constexpr std::uint32_t kEnabled = 1;
  static constexpr std::uint64_t kMatchAll = 0, kMatchAny = kAllKeywords;
  const std::uint32_t enable_level = level;
  const std::array<ValueToWrite, 4> values = {{
      NumberValue(u"Enabled", kEnabled, u"CreateAutoLoggerProvider func Failed to set Provider(%s) Enabled: 0x%08X\n"),
      NumberValue(u"EnableLevel", enable_level,
                  u"CreateAutoLoggerProvider func Failed to set Provider(%s) EnableLevel: 0x%08X\n"),
      NumberValue(u"MatchAllKeyword", kMatchAll,
                  u"CreateAutoLoggerProvider func Failed to set Provider(%s) MatchAllKeyword: 0x%08X\n"),
      NumberValue(u"MatchAnyKeyword", kMatchAny,
                  u"CreateAutoLoggerProvider func Failed to set Provider(%s) MatchAnyKeyword: 0x%08X\n"),
  }};
  return WriteValues(key, values, provider_text);
}

/// Tells whether the session's key can be opened or is absent; any other outcome is logged and returned.
std::uint32_t CheckSessionKey(const SessionTexts& texts) {
  ScopedKey key;
  const std::uint32_t result = RegistryPort().RegOpenKeyExW(kHkeyLocalMachine, texts.key_path, 0, kKeyRead, key.out());
  if (result == kErrorSuccess) return kErrorSuccess;
  if (IsNotFound(result)) {
    WrapLogPrint(LOG_INFO, u"CreateAutoLoggerSession func RegOpenKeyExW (%s) Session not found, will create: %s\n",
                 texts.key_path, texts.name);
    return kErrorSuccess;
  }
  WrapLogPrint(LOG_ERROR, u"CreateAutoLoggerSession func Failed to check session: 0x%08X\n", result);
  return result;
}

std::uint32_t WriteSessionKey(const SessionTexts& texts, const char16_t* log_file_name) {
  ScopedKey key;
  std::uint32_t result = RegistryPort().RegCreateKeyExW(kHkeyLocalMachine, texts.key_path,
                                                        platform::kRegOptionNonVolatile, kKeyWrite, key.out(), nullptr);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"CreateAutoLoggerSession func Failed to create session key: 0x%08X\n", result);
    return result;
  }
  result = WriteSessionValues(key.get(), texts, log_file_name);
  if (result != kErrorSuccess) return result;
  WrapLogPrint(LOG_DETAIL, u"CreateAutoLoggerSession func Successfully created AutoLogger session: %s\n", texts.name);
  return kErrorSuccess;
}

void FormatGuid(const GUID& guid, char16_t (&out)[64]) {
  GuidToText(guid, out);
}

/// Deletes the provider's sub-key; absence counts as success.
std::uint32_t DeleteProviderKey(const SessionTexts& texts, const char16_t* provider_text, bool* session_missing) {
  ScopedKey session;
  std::uint32_t result =
      RegistryPort().RegOpenKeyExW(kHkeyLocalMachine, texts.key_path, 0, kDeleteAccess, session.out());
  if (IsNotFound(result)) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Session(%s) not found\n", texts.name);
    *session_missing = true;
    return kErrorSuccess;
  }
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"DeleteAutoLoggerProvider func Failed to open session key: 0x%08X\n", result);
    return result;
  }
  result = RegistryPort().RegDeleteTreeW(session.get(), provider_text);
  if (result == kErrorSuccess) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Successfully deleted provider(%s) from Session(%s)\n",
                 provider_text, texts.name);
    return kErrorSuccess;
  }
  if (IsNotFound(result)) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Provider(%s) not found in Session(%s)\n", provider_text,
                 texts.name);
    return kErrorSuccess;
  }
  WrapLogPrint(LOG_ERROR, u"DeleteAutoLoggerProvider func Failed to delete provider(%s): 0x%08X\n", provider_text,
               result);
  return result;
}

/// Counts the session's sub-keys; `*already_deleted` when the key has gone in between.
std::uint32_t CountProviders(const SessionTexts& texts, std::uint32_t* count, bool* already_deleted) {
  ScopedKey session;
  std::uint32_t result = RegistryPort().RegOpenKeyExW(kHkeyLocalMachine, texts.key_path, 0, kKeyRead, session.out());
  if (IsNotFound(result)) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Session(%s) already deleted\n", texts.name);
    *already_deleted = true;
    return kErrorSuccess;
  }
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"DeleteAutoLoggerProvider func Failed to reopen session key for enumeration: 0x%08X\n",
                 result);
    return result;
  }
  result = RegistryPort().RegQueryInfoKeyW(session.get(), count, nullptr);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"DeleteAutoLoggerProvider func Failed to query session key info: 0x%08X\n", result);
  }
  return result;
}

std::uint32_t DeleteEmptySession(const SessionTexts& texts) {
  const std::uint32_t result = RegistryPort().RegDeleteTreeW(kHkeyLocalMachine, texts.key_path);
  if (result == kErrorSuccess) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Successfully deleted empty Session(%s)\n", texts.name);
    return kErrorSuccess;
  }
  if (IsNotFound(result)) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Session(%s) already deleted\n", texts.name);
    return kErrorSuccess;
  }
  WrapLogPrint(LOG_ERROR, u"DeleteAutoLoggerProvider func Failed to delete empty Session(%s): 0x%08X\n", texts.name,
               result);
  return result;
}

/// The lines that name each provider's constant, in the order of kProviderTable.
struct ProviderLines {
  const char16_t* create_failed;
  const char16_t* delete_failed;
};
constexpr std::array<ProviderLines, kProviderTable.size()> kProviderLines = {{
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with g_ProviderSampleGUID failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with g_ProviderSampleGUID failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_SOURCE_USB_REDIRECT_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_SOURCE_USB_REDIRECT_TOOL failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_DESTINATION_USB_REDIRECT_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_DESTINATION_USB_REDIRECT_TOOL failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_VIRTUAL_HID_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_VIRTUAL_HID_TOOL failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_KVIRTUAL_AUDIO_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_KVIRTUAL_AUDIO_TOOL failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_KELVO_GAMEPAD_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_KELVO_GAMEPAD_TOOL failed(0x%x)"},
    {u"EtwConsumerInstall func call CreateAutoLoggerProvider with GUID_KELVO_IDD_TOOL failed(0x%x)",
     u"EtwAutoLoggerUninstall func call DeleteAutoLoggerProvider with GUID_KELVO_IDD_TOOL failed(0x%x)"},
}};

std::uint32_t CreateAllProviders(const char16_t* session_name) {
  for (std::size_t i = 0; i < kProviderTable.size(); ++i) {
    const std::uint32_t result = CreateAutoLoggerProvider(&GUID_WARDLET_TOOL, &kProviderTable[i].guid, kLevelVerbose,
                                                          kAllKeywords, session_name);
    if (result == kErrorSuccess) continue;
    WrapLogPrint(LOG_ERROR, Unchecked(kProviderLines[i].create_failed), result);
    return result;
  }
  return kErrorSuccess;
}

/// Writes the session and its providers, without rolling back.
std::uint32_t RegisterAll() {
  char16_t directory[kMaxPath] = {};
  if (platform::SystemPort().GetSystemDirectoryW(directory, kMaxPath) == 0) {
    WrapLogPrint(LOG_ERROR, u"EtwConsumerInstall func call GetSystemDirectoryW failed(0x%x)",
                 platform::SystemPort().GetLastError());
    return kStatusUnsuccessful;
  }
  char16_t session_name[256] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name, std::size(session_name));
  char16_t guid_text[64] = {};
  platform::SystemPort().StringFromGUID2(GUID_WARDLET_TOOL, guid_text, std::size(guid_text));
  char16_t log_file_name[kMaxPath] = {};
  FormatTo(log_file_name, kMaxPath, u"X:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace%s.etl", guid_text);
  log_file_name[0] = directory[0];

  const std::uint32_t result =
      CreateAutoLoggerSession(&GUID_WARDLET_TOOL, nullptr, log_file_name, kLevelVerbose, kAllKeywords, session_name);
  if (result != kErrorSuccess) {
    // The line has room for a code that it is not given.
    WrapLogPrint(LOG_ERROR, Unchecked(u"EtwConsumerInstall func call CreateAutoLoggerSession(%s) failed(0x%x)"),
                 session_name);
    return result;
  }
  return CreateAllProviders(session_name);
}

}  // namespace

std::uint32_t CreateAutoLoggerSession(const GUID* sessionGuid, const GUID* providerGuid, const char16_t* logFileName,
                                      std::uint8_t level, std::uint64_t keywords, const char16_t* sessionName) {
  if (sessionGuid == nullptr || logFileName == nullptr) return platform::kErrorInvalidParameter;
  const SessionTexts texts(*sessionGuid, sessionName);
  std::uint32_t result = CheckSessionKey(texts);
  if (result != kErrorSuccess) return result;
  result = WriteSessionKey(texts, logFileName);
  if (result != kErrorSuccess || providerGuid == nullptr) return result;
  return CreateAutoLoggerProvider(sessionGuid, providerGuid, level, keywords, sessionName);
}

std::uint32_t CreateAutoLoggerProvider(const GUID* sessionGuid, const GUID* providerGuid, std::uint8_t level,
                                       std::uint64_t /*keywords*/, const char16_t* sessionName) {
  if (sessionGuid == nullptr || providerGuid == nullptr) return platform::kErrorInvalidParameter;
  const SessionTexts texts(*sessionGuid, sessionName);
  char16_t provider_text[64];
  FormatGuid(*providerGuid, provider_text);

  ScopedKey session;
  std::uint32_t result = RegistryPort().RegOpenKeyExW(kHkeyLocalMachine, texts.key_path, 0, kKeyWrite, session.out());
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"CreateAutoLoggerProvider func Failed to open session key: 0x%08X\n", result);
    return result;
  }
  ScopedKey provider;
  result = RegistryPort().RegCreateKeyExW(session.get(), provider_text, platform::kRegOptionNonVolatile, kKeyWrite,
                                          provider.out(), nullptr);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"CreateAutoLoggerProvider func Failed to create provider(%s) subkey: 0x%08X\n",
                 provider_text, result);
    return result;
  }
  result = WriteProviderValues(provider.get(), provider_text, level);
  if (result != kErrorSuccess) return result;
  WrapLogPrint(LOG_DETAIL, u"CreateAutoLoggerProvider func Successfully created AutoLogger provider: %s\n",
               provider_text);
  return kErrorSuccess;
}

std::uint32_t DeleteAutoLoggerProvider(const GUID* sessionGuid, const GUID* providerGuid, const char16_t* sessionName) {
  if (sessionGuid == nullptr || providerGuid == nullptr) return platform::kErrorInvalidParameter;
  const SessionTexts texts(*sessionGuid, sessionName);
  char16_t provider_text[64];
  FormatGuid(*providerGuid, provider_text);

  bool gone = false;
  std::uint32_t result = DeleteProviderKey(texts, provider_text, &gone);
  if (result != kErrorSuccess || gone) return result;
  std::uint32_t providers = 0;
  result = CountProviders(texts, &providers, &gone);
  if (result != kErrorSuccess || gone) return result;
  if (providers > 0) {
    WrapLogPrint(LOG_INFO, u"DeleteAutoLoggerProvider func Session(%s) still has %u provider(s), keeping session\n",
                 texts.name, providers);
    return kErrorSuccess;
  }
  return DeleteEmptySession(texts);
}

std::uint32_t EtwConsumerInstall() {
  const std::uint32_t result = RegisterAll();
  if (result != kErrorSuccess) EtwAutoLoggerUninstall();
  return result;
}

std::uint32_t EtwAutoLoggerUninstall() {
  char16_t session_name[256] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name, std::size(session_name));
  std::uint32_t last_failure = kErrorSuccess;
  for (std::size_t i = 0; i < kProviderTable.size(); ++i) {
    const std::uint32_t result = DeleteAutoLoggerProvider(&GUID_WARDLET_TOOL, &kProviderTable[i].guid, session_name);
    if (result == kErrorSuccess) continue;
    WrapLogPrint(LOG_ERROR, Unchecked(kProviderLines[i].delete_failed), result);
    last_failure = result;
  }
  return last_failure;
}

}  // namespace varnel
