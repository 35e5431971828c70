#include "session/housekeeping.h"

#include <iterator>

#include "base/file_services.h"
#include "base/format.h"
#include "base/log.h"
#include "base/path_services.h"
#include "base/text.h"
#include "interfaces/wardlet_tool.h"
#include "platform/platform.h"
#include "session/provider_table.h"
#include "session/temp_session.h"

namespace varnel {
namespace {

using platform::kErrorGenFailure;
using platform::kErrorInvalidParameter;
using platform::kErrorSuccess;
using platform::SystemPort;

constexpr char16_t kLogFolder[] = u"X:\\Windows\\System32\\LogFiles\\WMI";
constexpr char16_t kAutoFileFormat[] = u"X:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace%s.etl.%03d";

bool StartsWith(const char16_t* path, const char16_t* prefix) {
  return CompareTextNoCase(path, prefix, TextLength(prefix)) == 0;
}

void FormatAutoFileName(char16_t (&out)[kMaxPath], const char16_t* guid_text, std::uint32_t rotation) {
  FormatTo(out, kMaxPath, kAutoFileFormat, guid_text, rotation);
}

void ModuleGuidText(char16_t (&out)[kMaxPath]) {
  SystemPort().StringFromGUID2(GUID_WARDLET_TOOL, out, kMaxPath);
}

/// A name of the kind, for its length.
std::uint32_t FormModelName(std::uint32_t is_temp_session, const char16_t* guid_text, char16_t (&model)[kMaxPath]) {
  if (is_temp_session == 0) {
    FormatAutoFileName(model, guid_text, 1);
    return kErrorSuccess;
  }
  const std::uint32_t result =
      GenericUniqueTempSessionLogFile(model, kMaxPath, kTempSessionLogFileFormat, &GUID_WARDLET_TOOL);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_INFO, u"CheckIsTargetSessionLogFile func call GenericUniqueTempSessionLogFile failed(0x%x)!\r\n",
                 result);
  }
  return result;
}

/// The lines of one kind's callback.
struct DeleteLines {
  const char16_t* check_failed;
  const char16_t* delete_failed;
  const char16_t* deleted;
};
constexpr DeleteLines kTempLines = {
    u"DeleteTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x%x) for file: %s\r\n",
    u"DeleteTempSessionLogFiles func DeleteFileW failed(0x%x) for file: %s\r\n",
    u"DeleteTempSessionLogFiles func successfully deleted file: %s\r\n"};
constexpr DeleteLines kAutoLines = {
    u"DeleteAutoSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x%x) for file: %s\r\n",
    u"DeleteAutoSessionLogFiles func DeleteFileW failed(0x%x) for file: %s\r\n",
    u"DeleteAutoSessionLogFiles func successfully deleted file: %s\r\n"};

std::uint32_t DeleteIfOurs(const char16_t* path, const char16_t* keep, std::uint32_t is_temp_session,
                           const DeleteLines& lines) {
  std::uint32_t is_ours = 0;
  const std::uint32_t result = CheckIsOurEtwLogFiles(path, is_temp_session, &is_ours);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_INFO, Unchecked(lines.check_failed), result, path);
    return result;
  }
  if (is_ours == 0 || (keep != nullptr && CompareTextNoCase(path, keep) == 0)) return kErrorSuccess;
  if (!platform::FilesPort().DeleteFileW(path)) {
    const std::uint32_t error = SystemPort().GetLastError();
    WrapLogPrint(LOG_INFO, Unchecked(lines.delete_failed), error, path);
    return error;
  }
  WrapLogPrint(LOG_DETAIL, Unchecked(lines.deleted), path);
  return kErrorSuccess;
}

/// Whether the module's session runs; its file's path goes to `path`, which is empty when it has none.
bool RunningSession(char16_t (&session_name)[kMaxPath], char16_t (&path)[kMaxPath]) {
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name, kMaxPath);
  path[0] = 0;
  return CheckTraceSessionExists(session_name, path, kMaxPath) != 0;
}

/// Reads the rotation number of the file that the AutoLogger's session writes. 0, or 31 after a line.
std::uint32_t ReadFileCounter(const char16_t* session_name, std::uint32_t* counter) {
  char16_t key_path[512] = {};
  FormatTo(key_path, std::size(key_path), u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\%s", session_name);
  platform::HKEY key = nullptr;
  std::uint32_t result =
      platform::RegistryPort().RegOpenKeyExW(platform::kHkeyLocalMachine, key_path, 0, platform::kKeyRead, &key);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_INFO, u"DeleteAllAutoSessionLogFiles func Failed to open session registry key: %s (0x%x)\r\n",
                 key_path, result);
    return kErrorGenFailure;
  }
  std::uint32_t type = 0, size = sizeof *counter;
  result = platform::RegistryPort().RegQueryValueExW(key, u"FileCounter", &type, counter, &size);
  platform::RegistryPort().RegCloseKey(key);
  if (result == kErrorSuccess && type == platform::kRegDword) return kErrorSuccess;
  WrapLogPrint(LOG_INFO,
               u"DeleteAllAutoSessionLogFiles func Failed to read FileCounter from registry (0x%x), may be just create "
               u"auto logger.\r\n",
               result);
  return kErrorGenFailure;
}

}  // namespace

std::uint32_t CheckIsOurEtwLogFiles(const char16_t* filePath, std::uint32_t isTempSession, std::uint32_t* outIsOurs) {
  *outIsOurs = 0;
  char16_t directory[kMaxPath] = {};
  SystemPort().GetSystemDirectoryW(directory, kMaxPath);
  char16_t expected[kMaxPath] = {};
  CopyText(expected, kMaxPath, kLogFolder);
  expected[0] = directory[0];
  if (!StartsWith(filePath, expected)) return kErrorSuccess;

  char16_t guid_text[kMaxPath] = {};
  ModuleGuidText(guid_text);
  PathAppendW(expected, isTempSession != 0 ? u"KWDTempTrace" : u"KWDAutoTrace");
  const std::size_t used = TextLength(expected);
  CopyText(expected + used, kMaxPath - used, guid_text);
  if (!StartsWith(filePath, expected)) return kErrorSuccess;

  char16_t model[kMaxPath] = {};
  const std::uint32_t result = FormModelName(isTempSession, guid_text, model);
  if (result != kErrorSuccess) return result;
  if (TextLength(filePath) == TextLength(model)) *outIsOurs = 1;
  return kErrorSuccess;
}

std::uint32_t DeleteTempSessionLogFiles(const char16_t* filePath, void* keepPath) {
  if (filePath == nullptr) return kErrorInvalidParameter;
  return DeleteIfOurs(filePath, static_cast<const char16_t*>(keepPath), 1, kTempLines);
}

std::uint32_t DeleteAutoSessionLogFiles(const char16_t* filePath, void* keepPath) {
  if (filePath == nullptr || keepPath == nullptr) return kErrorInvalidParameter;
  return DeleteIfOurs(filePath, static_cast<const char16_t*>(keepPath), 0, kAutoLines);
}

std::uint32_t DeleteAllTempSessionLogFiles(const char16_t* folder) {
  char16_t session_name[kMaxPath] = {}, running_path[kMaxPath] = {};
  if (!RunningSession(session_name, running_path)) {
    WrapLogPrint(LOG_INFO, u"DeleteAllTempSessionLogFiles func call bSessionExist is false.\r\n");
    return kErrorSuccess;
  }
  std::uint32_t is_ours = 0;
  const std::uint32_t result = CheckIsOurEtwLogFiles(running_path, 1, &is_ours);
  if (result != kErrorSuccess) {
    WrapLogPrint(LOG_INFO,
                 u"DeleteAllTempSessionLogFiles func call CheckIsOurEtwLogFiles failed(0x%x) for file: %s\r\n", result,
                 running_path);
    return result;
  }
  if (is_ours == 0) running_path[0] = 0;
  // A file that can't be deleted stays until the next run and is no failure of this one.
  EnumTargetDirFile(folder, DeleteTempSessionLogFiles, running_path);
  return kErrorSuccess;
}

std::uint32_t DeleteAllAutoSessionLogFiles(const char16_t* folder) {
  if (folder == nullptr) return kErrorInvalidParameter;
  char16_t session_name[kMaxPath] = {}, running_path[kMaxPath] = {};
  if (!RunningSession(session_name, running_path)) {
    WrapLogPrint(LOG_INFO, u"DeleteAllAutoSessionLogFiles func call bSessionExist is false.\r\n");
    return kErrorGenFailure;
  }
  char16_t directory[kMaxPath] = {};
  if (SystemPort().GetSystemDirectoryW(directory, kMaxPath) == 0) {
    const std::uint32_t error = SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"DeleteAllAutoSessionLogFiles func call GetSystemDirectoryW failed(0x%x)\r\n", error);
    return error;
  }
  std::uint32_t counter = 0;
  if (ReadFileCounter(session_name, &counter) != kErrorSuccess) return kErrorGenFailure;
  char16_t guid_text[kMaxPath] = {}, current[kMaxPath] = {};
  ModuleGuidText(guid_text);
  FormatAutoFileName(current, guid_text, counter);
  current[0] = directory[0];
  if (CompareTextNoCase(running_path, current) != 0) {
    WrapLogPrint(LOG_INFO,
                 u"DeleteAllAutoSessionLogFiles func Current session log file (%s) does not match autolog session log "
                 u"file (%s), skip deletion\r\n",
                 running_path, current);
    return kErrorGenFailure;
  }
  return EnumTargetDirFile(folder, DeleteAutoSessionLogFiles, current);
}

}  // namespace varnel
