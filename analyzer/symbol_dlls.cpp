#include "analyzer/symbol_dlls.h"

#include <string_view>

#include "analyzer/analysis_state.h"
#include "analyzer/engine_results.h"
#include "analyzer/out_of_memory.h"
#include "base/lock.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

constexpr char16_t kDbghelp[] = u"dbghelp.dll";
constexpr char16_t kDbgeng[] = u"dbgeng.dll";
constexpr char16_t kSymsrv[] = u"symsrv.dll";
constexpr char16_t kSwitchFile[] = u"symsrv.yes";
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kAttributeNormal = 128;
constexpr std::uint32_t kNoAttributes = ~0u;

struct SymbolDllSet {
  std::u16string sourceDir;
  std::u16string processDir;    // without a last backslash
  platform::InitOnce lockOnce;  // a reset makes the next use create the lock again
  CriticalSection lock;
  std::int32_t useCount VARNEL_GUARDED_BY(lock) = 0;
};

// Never destroyed: it is used until the process ends.
SymbolDllSet& Set() {
  static auto* const set = new SymbolDllSet;
  return *set;
}

bool CreateLock(void*, void**) {
  return platform::ThreadsPort().InitializeCriticalSection();
}

bool EnsureLock() {
  if (platform::ThreadsPort().InitOnceExecuteOnce(&Set().lockOnce, &CreateLock, nullptr, nullptr)) return true;
  WrapLogPrint(LOG_ERROR, u"[Error] Cannot initialize critical section lock\n");
  return false;
}

/// 0, or the system error when the program's path is not known.
std::uint32_t ReadProcessDir(std::u16string* dir) {
  char16_t path[kMaxPath] = {};
  if (platform::SystemPort().GetModuleFileNameW(nullptr, path, kMaxPath) == 0) {
    return platform::SystemPort().GetLastError();
  }
  path[kMaxPath - 1] = 0;
  const std::u16string_view text(path);
  const std::size_t last = text.rfind(u'\\');
  if (last == std::u16string_view::npos) return platform::kErrorBadPathname;
  *dir = text.substr(0, last);
  return 0;
}

std::u16string In(const std::u16string& dir, const char16_t* name) {
  return dir + u"\\" + name;
}

void DeleteCopies(const std::u16string& dir, std::initializer_list<const char16_t*> names) {
  for (const char16_t* name : names) {
    if (platform::FilesPort().DeleteFileW(In(dir, name).c_str())) continue;
    const std::uint32_t error = platform::SystemPort().GetLastError();
    if (error == platform::kErrorFileNotFound) continue;
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to delete %s: 0x%08X\n", name, error);
  }
}

/// What became of the three copies.
struct Copies {
  std::uint32_t copied = 0;
  std::uint32_t failed = 0;
  std::int32_t lastFailure = 0;

  void Fail(std::uint32_t error) {
    lastFailure = HresultOf(error);
    ++failed;
  }

  void CopyFrom(const std::u16string& source_dir, const std::u16string& target_dir, const char16_t* name) {
    platform::Files& files = platform::FilesPort();
    const std::u16string source = In(source_dir, name);
    if (files.GetFileAttributesW(source.c_str()) == kNoAttributes) {
      Fail(platform::kErrorFileNotFound);
      return;
    }
    if (!files.CopyFileW(source.c_str(), In(target_dir, name).c_str(), false)) {
      const std::uint32_t error = platform::SystemPort().GetLastError();
      // A file in use is a copy that stands there already.
      if (error != platform::kErrorSharingViolation && error != platform::kErrorAccessDenied) {
        Fail(error);
        return;
      }
    }
    ++copied;
  }
};

void MakeSwitchFile(const std::u16string& dir) {
  const platform::HANDLE file = platform::FilesPort().CreateFileW(In(dir, kSwitchFile).c_str(), kGenericWrite, 0,
                                                                  platform::kCreateAlways, kAttributeNormal);
  if (file != platform::kInvalidHandleValue) platform::SystemPort().CloseHandle(file);
}

/// The first user's copying. Whether enough of it was done; `result` says what failed else.
bool MakeCopies(const SymbolDllSet& set, std::int32_t* result) {
  *result = kHresultFail;
  if (set.sourceDir.empty()) {
    WrapLogPrint(LOG_ERROR, u"[Error] DLL source directory not set, please call StaticInitialize first\n");
    return false;
  }
  if (set.processDir.empty()) {
    WrapLogPrint(LOG_ERROR, u"[Error] Process directory not set, please call StaticInitialize first\n");
    return false;
  }
  char16_t system[kMaxPath] = {};
  const std::uint32_t length = platform::SystemPort().GetSystemDirectoryW(system, kMaxPath);
  if (length == 0 || length >= kMaxPath) {
    const std::uint32_t error = platform::SystemPort().GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] Cannot get System32 directory\n");
    *result = HresultOf(error);
    return false;
  }
  Copies copies;
  copies.CopyFrom(system, set.processDir, kDbghelp);
  copies.CopyFrom(system, set.processDir, kDbgeng);
  copies.CopyFrom(set.sourceDir, set.processDir, kSymsrv);
  if (copies.copied > 0) MakeSwitchFile(set.processDir);
  // Two out of three will do: a missing symsrv.dll is told for each dump, where the pass can go on.
  const bool enough = copies.copied >= 2;
  *result = enough ? kHresultOk : copies.lastFailure;
  return enough;
}

}  // namespace

std::int32_t StaticInitialize(const std::u16string& dllSourceDir) {
  SymbolDllSet& set = Set();
  set.sourceDir = dllSourceDir;
  const std::uint32_t error = ReadProcessDir(&set.processDir);
  if (error != 0) return HresultOf(error);
  DeleteCopies(set.processDir, {kDbghelp, kDbgeng, kSymsrv, kSwitchFile});
  return kHresultOk;
}

std::int32_t AcquireSymbolDlls() noexcept {
  if (!EnsureLock()) return kHresultFail;
  SymbolDllSet& set = Set();
  const CriticalSectionLock held(set.lock);
  if (++set.useCount >= 2) return kHresultOk;
  bool made = false;
  const std::int32_t result = WithinMemory([&] {
    std::int32_t failure = kHresultOk;
    made = MakeCopies(set, &failure);
    return failure;
  });
  if (!made) --set.useCount;
  return result;
}

void ReleaseSymbolDlls() noexcept {
  if (!EnsureLock()) return;
  SymbolDllSet& set = Set();
  const CriticalSectionLock held(set.lock);
  if (set.useCount >= 1 && --set.useCount > 0) return;
  WithinMemory([] {
    std::u16string dir;
    if (ReadProcessDir(&dir) == 0) {
      DeleteCopies(dir, {kDbghelp, kSymsrv, kDbgeng, kSwitchFile});
    } else {
      WrapLogPrint(LOG_ERROR, u"[Error] Cannot get current process directory\n");
    }
    return kHresultOk;
  });
}

void DeleteSymbolDlls() {
  std::u16string dir;
  if (ReadProcessDir(&dir) == 0) DeleteCopies(dir, {kDbghelp, kSymsrv, kDbgeng, kSwitchFile});
}

std::uint32_t FolderExists(const std::u16string& path, bool* exists) {
  *exists = platform::FilesPort().GetFileAttributesW(path.c_str()) != kNoAttributes;
  if (*exists) return 0;
  const std::uint32_t error = platform::SystemPort().GetLastError();
  return error == platform::kErrorFileNotFound || error == platform::kErrorPathNotFound ? 0 : error;
}

void DeleteSymbolCacheDir(const AnalysisState* state) {
  if (state == nullptr || state->symbolCachePath.empty()) return;
  bool exists = false;
  std::uint32_t error = FolderExists(state->symbolCachePath, &exists);
  if (error != 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to check symbol cache directory: error code %d\n",
                 static_cast<std::int32_t>(error));
    return;
  }
  if (!exists) return;
  error = platform::FilesPort().RemoveFolders(state->symbolCachePath.c_str());
  if (error != 0) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to delete symbol cache directory error code: %d\n",
                 static_cast<std::int32_t>(error));
    return;
  }
  WrapLogPrint(LOG_DETAIL, u"[Info] Symbol cache directory deleted successfully\n");
}

void CleanupSymbolFiles(const AnalysisState* state) noexcept {
  WithinMemory([] {
    DeleteSymbolDlls();
    return kHresultOk;
  });
  Set().lockOnce = platform::InitOnce{};
  WithinMemory([&] {
    DeleteSymbolCacheDir(state);
    return kHresultOk;
  });
}

}  // namespace varnel
