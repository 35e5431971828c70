// Private copies of the debugger engine beside the host's program, for as long as somebody uses them: only there, next
// to symsrv.dll, does the engine download symbols. The state is the process's own.
//
// Every session whose engine was loaded from a copy must be gone before the copies are released. Results are HRESULTs.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

struct AnalysisState;

/// Takes the folder that holds symsrv.dll, finds the program's folder, and deletes copies there that a process that
/// died has left. Once for each analyzer, on the thread that makes it.
std::int32_t StaticInitialize(const std::u16string& dllSourceDir);

/// Counts one more user and makes the copies for the first one. Two of the three files are enough. Any thread may call.
std::int32_t AcquireSymbolDlls() noexcept;
/// Once for each successful acquire. The last one deletes the copies. Any thread may call.
void ReleaseSymbolDlls() noexcept;
/// Gives one successful acquire back at the end of its scope.
class AcquiredSymbolDlls {
 public:
  AcquiredSymbolDlls() = default;
  ~AcquiredSymbolDlls() { ReleaseSymbolDlls(); }
  AcquiredSymbolDlls(const AcquiredSymbolDlls&) = delete;
  AcquiredSymbolDlls& operator=(const AcquiredSymbolDlls&) = delete;
};

/// Deletes the copies, whoever uses them.
void DeleteSymbolDlls();

/// 0, or a Win32 error number when it cannot be told whether the folder exists.
std::uint32_t FolderExists(const std::u16string& path, bool* exists);
/// Removes the folder of downloaded symbols. `state` may be null.
void DeleteSymbolCacheDir(const AnalysisState* state);
/// The end of an analyzer: the copies, their lock, and the downloaded symbols go.
void CleanupSymbolFiles(const AnalysisState* state) noexcept;

}  // namespace varnel
