// DebugEngineSession: one instance of the platform's debugger engine, with the engine's library loaded for it, one
// crash dump open in it at a time, and the facts that are read out of that dump.
//
// A session belongs to the thread that made it. StopSymbolDownload alone may be called from another one, at any moment
// of the session's life; who calls it keeps the session alive meanwhile.
//
// The engine's wait for a dump can block for minutes, and nothing in the engine ends it. So it runs on a thread of its
// own (WaitForEventWorker), which sees nothing of the session and may be ended by force. After a stop, a session is
// good for nothing but its destruction.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "analyzer/dump_facts.h"
#include "analyzer/engine_results.h"
#include "base/lock.h"
#include "platform/debugger/engine.h"
#include "platform/platform.h"

namespace varnel {

/// Where a session takes its engine from.
inline constexpr std::uint32_t kEngineFromSystemFolder = 1;
inline constexpr std::uint32_t kEngineFromProcessFolder = 2;

class DebugEngineSession {
 public:
  /// Starts COM on the calling thread, loads the engine and asks for its interfaces. IsEngineReady tells the outcome.
  explicit DebugEngineSession(std::uint32_t engineSource);
  /// Closes the dump and releases the engine, then its library.
  ~DebugEngineSession();
  DebugEngineSession(const DebugEngineSession&) = delete;
  DebugEngineSession& operator=(const DebugEngineSession&) = delete;

  bool IsEngineReady();

  /// Opens a dump without symbols; one that is open is closed first. A dump that is not up within 600 ms counts as
  /// open.
  std::int32_t OpenDumpNoSymbols(const std::u16string& dumpPath);
  /// Opens a dump with the kernel's symbols, which the engine downloads from `symbolServer` through `symbolCacheDir`.
  /// It waits for them for at most `waitSeconds` (0: without a limit); the time over without them is a failure,
  /// 0x80070102. A stop gives 0x800704C7. Needs the engine's private copies beside the host's program.
  std::int32_t OpenDumpWithSymbols(const std::u16string& dumpPath, const std::u16string& symbolCacheDir,
                                   const std::u16string& symbolServer, std::uint32_t waitSeconds);
  /// Ends the engine's session with the dump. 0 also when no dump is open.
  std::int32_t CloseDump();
  /// Ends the wait for a dump that is under way, and all later ones before they begin.
  std::int32_t StopSymbolDownload();
  /// The kind of the open kernel dump, as kDebugSmallDump and the like; 0: unknown.
  std::uint32_t GetDumpQualifier();
  bool IsSymbolLoaded();

  // Facts of the open dump. A negative result leaves the outputs without meaning; the caller drops the one fact.

  /// 0 once a dump is open, whatever could be read. Null: 0x80004003.
  std::int32_t GetSystemInfo(SystemInfo* info);
  /// `parameters` has room for four.
  std::int32_t GetBugCheckInfo(std::uint32_t* code, std::uint64_t* parameters);
  /// The general registers that could be read.
  std::int32_t GetRegisters(RegisterMap* values);
  /// 0 with `valid` 1, or 1 with `valid` 0 when the dump does not have it.
  std::int32_t GetIrql(IrqlInfo* irql);
  /// Values on the stack that lie in modules, at most 20.
  std::int32_t ScanStackForCode(std::vector<StackFrameInfo>* frames);
  /// The engine's own call stack, at most 64 frames.
  std::int32_t GetSymbolStack(std::vector<StackFrameInfo>* frames);
  /// `offset` may be null.
  std::int32_t GetModuleAndOffset(std::uint64_t address, std::u16string* name, std::uint64_t* offset);
  /// 1 or 0; 1 when there is nobody to ask.
  std::uint32_t IsAddressInModule(std::uint64_t address);
  std::int32_t GetLoadedModules(std::vector<ModuleInfo>* modules);
  /// What cannot be read is "Unknown".
  std::int32_t GetCrashModuleAndProcess(std::u16string* moduleName, std::u16string* processName);
  /// The kernel's versions. 1 when neither could be read.
  std::int32_t GetNtVersion(std::u16string* fileVersion, std::u16string* productVersion);

 private:
  std::int32_t CreateEngine();
  std::int32_t LoadEngineLibrary();
  std::int32_t AskForInterfaces();
  void ReleaseInterfaces();
  void ChangeSymbolOptions(std::uint32_t set, std::uint32_t cleared);
  std::int32_t OpenDumpFileNarrow(const std::u16string& path, bool logs);
  std::int32_t CloseDumpLocked() VARNEL_REQUIRES(lock);
  std::int32_t OpenDumpAndWaitForSymbols(const std::u16string& path, std::uint32_t waitSeconds);
  bool KernelSymbolsArrived();
  std::int32_t CheckSymbolDllsPresent();
  std::int32_t SetSymbolServerPath(const std::u16string& symbolCacheDir, const std::u16string& symbolServer);
  std::int32_t PrepareSymbols(const std::u16string& symbolCacheDir, const std::u16string& symbolServer)
      VARNEL_REQUIRES(lock);

  std::int32_t RunWaitForEvent(std::uint32_t engineTimeoutMs, std::uint32_t hostWaitMs);
  void PublishWait(platform::HANDLE thread, platform::HANDLE event);
  /// Null event: it stays with a worker that is still alive, and the destructor closes it.
  void WithdrawWait(platform::HANDLE thread, platform::HANDLE doneEvent);

  void ReadVersionAndMachine(SystemInfo* info);
  void ReadTimes(SystemInfo* info);
  bool ReadStackPointer(std::uint64_t* pointer);
  StackFrameInfo DescribeStackWord(std::uint64_t value, std::uint64_t at, const std::u16string& module,
                                   std::uint64_t offset);
  std::u16string SymbolTextOf(std::uint64_t address);
  std::u16string ReadModuleName(std::uint32_t which, std::uint32_t index, std::uint64_t base);
  void ReadCrashModule(std::u16string* moduleName);
  void ReadProcessName(std::u16string* processName);
  bool ReadFixedVersion(std::uint64_t base, std::u16string* fileVersion, std::u16string* productVersion);
  std::u16string ReadVersionText(std::uint64_t base, const char* item);

  // The interfaces are written by the constructor and the destructor alone; calls through them are not locked.
  platform::IDebugClient* client = nullptr;    // present: the engine was created
  platform::IDebugClient4* client4 = nullptr;  // null when the engine lacks it
  platform::IDebugControl* control = nullptr;
  platform::IDebugSymbols3* symbols = nullptr;
  platform::IDebugSystemObjects* systemObjects = nullptr;
  platform::IDebugDataSpaces* dataSpaces = nullptr;
  platform::IDebugDataSpaces2* dataSpaces2 = nullptr;
  platform::IDebugRegisters* registers = nullptr;
  platform::IDebugAdvanced* advanced = nullptr;
  bool comInitialized = false;
  bool engineReady VARNEL_GUARDED_BY(lock) = false;
  bool dumpOpen VARNEL_GUARDED_BY(lock) = false;
  std::uint32_t openMode VARNEL_GUARDED_BY(lock) = 0;  // 0 without symbols, 2 with
  bool symbolsLoaded VARNEL_GUARDED_BY(lock) = false;
  std::u16string processDir;  // the host program's folder, without a last backslash
  std::u16string dumpPath VARNEL_GUARDED_BY(lock);
  platform::HMODULE engineModule = nullptr;
  const std::uint32_t engineSource;
  CriticalSection lock;
  platform::HANDLE waitEvent VARNEL_GUARDED_BY(lock) = nullptr;   // of the wait under way
  platform::HANDLE waitThread VARNEL_GUARDED_BY(lock) = nullptr;  // likewise
  bool stopRequested VARNEL_GUARDED_BY(lock) = false;             // for good
};

}  // namespace varnel
