#include "analyzer/debug_engine_session.h"

#include <string_view>
#include <utility>

#include "analyzer/out_of_memory.h"
#include "base/log.h"
#include "base/text.h"

namespace varnel {
namespace {

// No dialog for a critical error (1), none for a fault (2), none for a file that cannot be opened (0x8000).
constexpr std::uint32_t kNoSystemDialogs = 0x8003;
constexpr std::int32_t kRpcChangedMode = static_cast<std::int32_t>(0x80010106);

/// Keeps system dialogs away for its scope.
class QuietErrorMode {
 public:
  QuietErrorMode() : previous_(platform::SystemPort().SetErrorMode(kNoSystemDialogs)) {}
  ~QuietErrorMode() { platform::SystemPort().SetErrorMode(previous_); }
  QuietErrorMode(const QuietErrorMode&) = delete;
  QuietErrorMode& operator=(const QuietErrorMode&) = delete;

 private:
  const std::uint32_t previous_;
};

std::u16string ReadProcessDir() {
  char16_t path[kMaxPath] = {};
  if (platform::SystemPort().GetModuleFileNameW(nullptr, path, kMaxPath) == 0) return {};
  path[kMaxPath - 1] = 0;
  const std::u16string_view text(path);
  const std::size_t last = text.rfind(u'\\');
  return last == std::u16string_view::npos ? std::u16string() : std::u16string(text.substr(0, last));
}

platform::HMODULE LoadSystemEngine() {
  platform::System& system = platform::SystemPort();
  char16_t folder[kMaxPath] = {};
  const std::uint32_t length = system.GetSystemDirectoryW(folder, kMaxPath);
  platform::HMODULE module = nullptr;
  if (length >= 1 && length < kMaxPath)
    module = system.LoadLibraryW((std::u16string(folder) + u"\\dbgeng.dll").c_str());
  return module != nullptr ? module : system.LoadLibraryW(u"dbgeng.dll");
}

template <typename Interface>
void ReleaseAndClear(Interface** held) {
  if (*held == nullptr) return;
  (*held)->Release();
  *held = nullptr;
}

/// One more interface of the engine; a failure leaves it null.
template <typename Interface>
std::int32_t Ask(platform::IDebugClient* client, const GUID& id, Interface** result) {
  void* object = nullptr;
  const std::int32_t answer = client->QueryInterface(id, &object);
  *result = Failed(answer) ? nullptr : static_cast<Interface*>(object);
  return answer;
}

}  // namespace

DebugEngineSession::DebugEngineSession(std::uint32_t source) : processDir(ReadProcessDir()), engineSource(source) {
  const std::int32_t com = platform::SystemPort().CoInitializeEx(0);
  if (!Failed(com)) {
    comInitialized = true;
  } else if (com != kRpcChangedMode) {  // that one: the thread has an apartment of another kind, which will do
    WrapLogPrint(LOG_ERROR, u"[Error] COM initialization failed: 0x%08X\n", Printed(com));
    return;
  }
  // An exception would pass over the destructor, and COM would stay started on this thread.
  const bool created = !Failed(WithinMemory([this] { return CreateEngine(); }));
  const CriticalSectionLock held(lock);
  engineReady = created;
}

DebugEngineSession::~DebugEngineSession() {
  platform::System& system = platform::SystemPort();
  std::uint32_t exitCode = 0;
  // A thread that is still alive keeps its handle.
  if (waitThread != nullptr && platform::ThreadsPort().GetExitCodeThread(waitThread, &exitCode) &&
      exitCode != platform::kStillActive) {
    system.CloseHandle(waitThread);
    waitThread = nullptr;
  }
  if (waitEvent != nullptr) system.CloseHandle(waitEvent);
  if (dumpOpen) {
    if (client != nullptr) client->EndSession(0);
    dumpPath.clear();
    dumpOpen = false;
  }
  ReleaseInterfaces();
  if (comInitialized) system.CoUninitialize();
  if (engineModule != nullptr) system.FreeLibrary(engineModule);
}

bool DebugEngineSession::IsEngineReady() {
  const CriticalSectionLock held(lock);
  return engineReady;
}

bool DebugEngineSession::IsSymbolLoaded() {
  const CriticalSectionLock held(lock);
  return symbolsLoaded;
}

std::int32_t DebugEngineSession::CreateEngine() {
  if (client != nullptr) return kHresultOk;
  const QuietErrorMode quiet;
  std::int32_t result = LoadEngineLibrary();
  if (Failed(result) || client == nullptr) return result;
  result = AskForInterfaces();
  if (Failed(result)) {
    ReleaseInterfaces();  // the library stays until the session's end
    return result;
  }
  if (symbols != nullptr) {
    symbols->SetSymbolPathWide(u"");
    ChangeSymbolOptions(platform::kSymoptNoPrompts | platform::kSymoptFailCriticalErrors,
                        platform::kSymoptDeferredLoads);
  }
  return kHresultOk;
}

std::int32_t DebugEngineSession::LoadEngineLibrary() {
  platform::System& system = platform::SystemPort();
  if (engineSource == kEngineFromProcessFolder) {
    engineModule = system.LoadLibraryW((processDir + u"\\dbgeng.dll").c_str());
    if (engineModule == nullptr) {
      const std::uint32_t error = system.GetLastError();
      WrapLogPrint(LOG_ERROR, u"[Error] Failed to load dbgeng.dll from local directory (error code: 0x%08X)\n", error);
      WrapLogPrint(
          LOG_ERROR,
          u"[Error] Symbol analysis must use local DLLs, ensure required DLLs are copied to the same directory\n");
      return HresultOf(error);
    }
  } else {
    engineModule = LoadSystemEngine();
    if (engineModule == nullptr) {
      const std::uint32_t error = system.GetLastError();
      WrapLogPrint(LOG_ERROR, u"[Error] Failed to load system dbgeng.dll\n");
      return HresultOf(error);
    }
  }
  const platform::Procedure procedure = system.GetProcAddress(engineModule, "DebugCreate");
  if (procedure == nullptr) {
    const std::uint32_t error = system.GetLastError();
    WrapLogPrint(LOG_ERROR, u"[Error] DebugCreate function not found (error code: 0x%08X)\n", error);
    system.FreeLibrary(std::exchange(engineModule, nullptr));
    return HresultOf(error);
  }
  void* object = nullptr;
  const auto create = reinterpret_cast<platform::DebugCreateFunction>(procedure);
  const std::int32_t created = create(platform::kIidDebugClient, &object);
  if (Failed(created)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to create IDebugClient: 0x%08X\n", Printed(created));
    system.FreeLibrary(std::exchange(engineModule, nullptr));
    return created;
  }
  client = static_cast<platform::IDebugClient*>(object);
  return kHresultOk;
}

std::int32_t DebugEngineSession::AskForInterfaces() {
  static_cast<void>(Ask(client, platform::kIidDebugClient4, &client4));
  std::int32_t result = Ask(client, platform::kIidDebugControl, &control);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get IDebugControl: 0x%08X\n", Printed(result));
    return result;
  }
  result = Ask(client, platform::kIidDebugSymbols3, &symbols);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get IDebugSymbols3: 0x%08X\n", Printed(result));
    return result;
  }
  result = Ask(client, platform::kIidDebugSystemObjects, &systemObjects);
  if (Failed(result)) return result;
  result = Ask(client, platform::kIidDebugDataSpaces, &dataSpaces);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get IDebugDataSpaces: 0x%08X\n", Printed(result));
    return result;
  }
  result = Ask(client, platform::kIidDebugDataSpaces2, &dataSpaces2);
  if (Failed(result)) return result;
  result = Ask(client, platform::kIidDebugRegisters, &registers);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Failed to get IDebugRegisters: 0x%08X\n", Printed(result));
    return result;
  }
  return Ask(client, platform::kIidDebugAdvanced, &advanced);
}

void DebugEngineSession::ReleaseInterfaces() {
  ReleaseAndClear(&advanced);
  ReleaseAndClear(&registers);
  ReleaseAndClear(&client4);
  ReleaseAndClear(&dataSpaces2);
  ReleaseAndClear(&dataSpaces);
  ReleaseAndClear(&systemObjects);
  ReleaseAndClear(&symbols);
  ReleaseAndClear(&control);
  ReleaseAndClear(&client);
}

void DebugEngineSession::ChangeSymbolOptions(std::uint32_t set, std::uint32_t cleared) {
  std::uint32_t options = 0;
  symbols->GetSymbolOptions(&options);
  symbols->SetSymbolOptions((options | set) & ~cleared);
}

}  // namespace varnel
