#include "tests/support/scripted_debugger.h"

#include <cstdio>
#include <cstdlib>

#include "platform/platform.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_engine.h"

namespace varnel::testing {
namespace {

constexpr std::uint32_t kBlocked = ~0u;
std::atomic<ScriptedDebugger*> g_current{nullptr};

}  // namespace

void ScriptedFacts::PutWords(std::uint64_t address, const std::vector<std::uint64_t>& words) {
  std::vector<std::uint8_t> bytes;
  for (const std::uint64_t word : words) {
    for (unsigned shift = 0; shift < 64; shift += 8) bytes.push_back(static_cast<std::uint8_t>(word >> shift));
  }
  memory[address] = bytes;
}

ScriptedDebugger::ScriptedDebugger(FakeSystem* system) : released_(platform::ThreadsPort().CreateEventW(true, false)) {
  system->libraries.insert(system->system_directory + u"\\dbgeng.dll");
  system->procedures["DebugCreate"] = reinterpret_cast<platform::Procedure>(&ScriptedDebugger::DebugCreate);
  g_current = this;
}

ScriptedDebugger::~ScriptedDebugger() {
  g_current = nullptr;
  platform::SystemPort().CloseHandle(released_);
  if (live_engines_ != 0) {
    std::fprintf(stderr, "ScriptedDebugger: %d engines were not released\n", live_engines_.load());
    std::abort();
  }
}

void ScriptedDebugger::Block(const std::string& operation) {
  Delay(operation, kBlocked);
}

void ScriptedDebugger::Release() {
  platform::ThreadsPort().SetEvent(released_);
}

void ScriptedDebugger::Delay(const std::string& operation, std::uint32_t milliseconds) {
  const std::lock_guard lock(mutex_);
  delays_[operation] = milliseconds;
}

void ScriptedDebugger::Forget(const std::string& operation) {
  const std::lock_guard lock(mutex_);
  delays_.erase(operation);
}

std::optional<platform::HRESULT> ScriptedDebugger::Begin(const char* operation) {
  const PortCallScope under_way(&calls);
  if (const auto code = calls.Called(operation)) return static_cast<platform::HRESULT>(*code);
  std::uint32_t delay = 0;
  {
    const std::lock_guard lock(mutex_);
    if (const auto found = delays_.find(operation); found != delays_.end()) delay = found->second;
  }
  // From here a thread that is ended never comes back; nothing is held.
  if (delay == kBlocked) {
    platform::ThreadsPort().WaitForSingleObject(released_, platform::kInfinite);
  } else if (delay != 0) {
    platform::ThreadsPort().Sleep(delay);
  }
  return std::nullopt;
}

platform::HRESULT ScriptedDebugger::DebugCreate(const GUID& id, void** object) {
  ScriptedDebugger* const debugger = g_current;
  *object = nullptr;
  if (const auto result = debugger->Begin("DebugCreate")) return *result;
  auto* const engine = new ScriptedEngine(debugger);
  const platform::HRESULT result = engine->platform::DebugEngineStub::QueryInterface(id, object);
  engine->Release();
  return result;
}

std::vector<std::u16string> ScriptedDebugger::symbol_paths() const {
  const std::lock_guard lock(mutex_);
  return symbol_paths_;
}

std::vector<std::uint32_t> ScriptedDebugger::symbol_options() const {
  const std::lock_guard lock(mutex_);
  return symbol_options_;
}

std::vector<std::u16string> ScriptedDebugger::opened() const {
  const std::lock_guard lock(mutex_);
  return opened_;
}

std::vector<std::string> ScriptedDebugger::opened_narrow() const {
  const std::lock_guard lock(mutex_);
  return opened_narrow_;
}

void ScriptedDebugger::SetInitialOptions(std::uint32_t options) {
  const std::lock_guard lock(mutex_);
  options_ = options;
}

}  // namespace varnel::testing
