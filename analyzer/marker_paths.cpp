#include "analyzer/marker_paths.h"

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/out_of_memory.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint32_t kCapacity = kMaxPath;  // characters

/// The variable's text with one backslash at its end and the module's folder behind it.
std::u16string BelowProgramData(const char16_t* program_data) {
  std::u16string path = program_data;
  if (path.empty() || path.back() != u'\\') path += u'\\';
  return path + u"KelvoVarnels\\GlobalCfg\\";
}

std::u16string ReadMarkerBasePath() {
  char16_t text[kCapacity] = {};
  const std::uint32_t length = SystemPort().GetEnvironmentVariableW(u"ProgramData", text, kCapacity);
  if (length == 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get ProgramData in GetMarkerBasePath: 0x%08X\n",
                 SystemPort().GetLastError());
    return {};
  }
  if (length >= kCapacity) {
    WrapLogPrint(LOG_ERROR,
                 u"[Error] ProgramData path too long in GetMarkerBasePath: requires %lu characters, buffer size is "
                 u"%d\n",
                 length + 1, kCapacity);
    return {};
  }
  return BelowProgramData(text);
}

std::int32_t IsFirstRun(const std::u16string& productGuid, const std::u16string& markerFileName, bool* isFirstRun,
                        WideFormat<> failure_line) noexcept {
  if (isFirstRun == nullptr) return kHresultPointer;
  *isFirstRun = false;
  return WithinMemory([&] {
    const std::u16string base = GetMarkerBasePath();
    if (base.empty()) {
      WrapLogPrint(LOG_ERROR, failure_line);
      return kHresultFail;
    }
    *isFirstRun = !MarkerStandsBelow(base, productGuid, markerFileName);
    return kHresultOk;
  });
}

}  // namespace

std::u16string GetMarkerBasePath() noexcept {
  static std::u16string kept;
  static bool known = false;
  try {
    if (known) return kept;
    std::u16string path = ReadMarkerBasePath();
    if (path.empty()) return {};
    kept = path;
    known = true;
    return path;
  } catch (const std::exception&) {
    return {};
  }
}

bool MarkerStandsBelow(const std::u16string& base, const std::u16string& productGuid,
                       const std::u16string& markerFileName) {
  const std::u16string path = base + productGuid + u'\\' + markerFileName;
  const std::uint32_t attributes = FilesPort().GetFileAttributesW(path.c_str());
  return attributes != platform::kInvalidFileAttributes && (attributes & platform::kFileAttributeDirectory) == 0;
}

std::int32_t IsFirstRunNoSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                bool* isFirstRun) noexcept {
  return IsFirstRun(productGuid, markerFileName, isFirstRun,
                    u"[Error] Failed to get marker base path in IsFirstRunNoSymbol\n");
}

std::int32_t IsFirstRunWithSymbol(const std::u16string& productGuid, const std::u16string& markerFileName,
                                  bool* isFirstRun) noexcept {
  return IsFirstRun(productGuid, markerFileName, isFirstRun,
                    u"[Error] Failed to get marker base path in IsFirstRunWithSymbol\n");
}

std::u16string MarkerFolderOf(const std::u16string& productGuid) {
  if (productGuid.empty()) {
    WrapLogPrint(LOG_ERROR, u"[Error] GetAnalysisMarkerDirectory: Product GUID is empty\n");
    return {};
  }
  char16_t text[kCapacity] = {};
  const std::uint32_t length = SystemPort().GetEnvironmentVariableW(u"ProgramData", text, kCapacity);
  if (length == 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get ProgramData environment variable: 0x%08X\n",
                 SystemPort().GetLastError());
    return {};
  }
  if (length >= kCapacity) {
    WrapLogPrint(LOG_ERROR, u"[Error] ProgramData path too long: requires %lu characters, buffer size is %d\n",
                 length + 1, kCapacity);
    return {};
  }
  return BelowProgramData(text) + productGuid;
}

std::u16string MarkerFileOf(const std::u16string& productGuid, const std::u16string& markerFileName) {
  const std::u16string folder = MarkerFolderOf(productGuid);
  return folder.empty() ? folder : folder + u'\\' + markerFileName;
}

std::u16string CrashDumpConfigManager::GetAnalysisMarkerDirectory(const std::u16string& productGuid) const noexcept {
  try {
    return MarkerFolderOf(productGuid);
  } catch (const std::exception&) {
    return {};
  }
}

std::u16string CrashDumpConfigManager::GetMarkerFilePath(const std::u16string& productGuid,
                                                         const std::u16string& markerFileName) const noexcept {
  try {
    return MarkerFileOf(productGuid, markerFileName);
  } catch (const std::exception&) {
    return {};
  }
}

}  // namespace varnel
