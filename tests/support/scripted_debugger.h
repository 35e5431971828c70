// A debugger engine by script. While a ScriptedDebugger stands, the scripted system port's "dbgeng.dll" makes engines
// that answer from its facts; any call can be made to fail, to block for ever, or to answer late.
//
// Calls are named as the interfaces name them; asking for an interface is "QueryInterface(IDebugControl)", the making
// of an engine "DebugCreate". `calls` records them all; a fault's code is the call's result, and a hook runs within the
// call, before it answers.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/debugger/engine.h"
#include "tests/support/fake_system.h"
#include "tests/support/hooked_plan.h"

namespace varnel::testing {

struct ScriptedModule {
  std::uint64_t base = 0;
  std::uint32_t size = 0x1000;
  std::uint32_t timestamp = 0;
  std::uint32_t checksum = 0;
  std::uint32_t symbol_type = 0;
  std::string module_name;
  std::string image_name;
  std::string loaded_image_name;
  /// Blocks of the version resource by item.
  std::map<std::string, std::vector<std::uint8_t>> version_items = {};
};

struct ScriptedRegister {
  std::string name;
  std::uint64_t value = 0;
  std::uint32_t type = platform::kDebugValueInt64;
};

struct ScriptedName {
  std::string name;
  std::uint64_t displacement = 0;
};

/// What the dump holds. An empty optional: the engine cannot tell and fails with 0x80004005.
struct ScriptedFacts {
  std::uint32_t target_class = platform::kDebugClassKernel;
  std::uint32_t qualifier = platform::kDebugSmallDump;
  std::optional<std::uint32_t> machine = platform::kMachineX64;
  std::uint32_t major = 15;
  std::uint32_t minor = 19041;
  std::optional<std::uint32_t> uptime_s;
  std::optional<std::uint32_t> time_s;
  struct BugCheck {
    std::uint32_t code;
    std::array<std::uint64_t, 4> parameters;
  };
  std::optional<BugCheck> bug_check;
  std::vector<ScriptedRegister> registers;
  /// Memory by address.
  std::map<std::uint64_t, std::vector<std::uint8_t>> memory;
  /// Page protection by the exact address asked for.
  std::map<std::uint64_t, std::uint32_t> protection;
  std::vector<ScriptedModule> modules;
  std::uint32_t unloaded_modules = 0;
  std::map<std::uint64_t, ScriptedName> names;
  std::optional<std::vector<platform::DEBUG_STACK_FRAME>> frames;
  std::optional<std::uint64_t> instruction;  // of the thread's context
  std::uint64_t process = 0;
  /// Types by name, and offsets of fields by name.
  std::map<std::string, std::uint32_t> types;
  std::map<std::string, std::uint32_t> fields;

  /// Places 64-bit words at an address.
  void PutWords(std::uint64_t address, const std::vector<std::uint64_t>& words);
};

/// One at a time. Borrows the system port, in which it puts the system folder's engine.
class ScriptedDebugger {
 public:
  explicit ScriptedDebugger(FakeSystem* system);
  /// All engines must be gone.
  ~ScriptedDebugger();
  ScriptedDebugger(const ScriptedDebugger&) = delete;
  ScriptedDebugger& operator=(const ScriptedDebugger&) = delete;

  ScriptedFacts facts;
  HookedPlan calls;
  bool has_client4 = true;
  /// How long a dump takes to come up; WaitForEvent answers 1 when its limit comes first.
  std::uint32_t load_ms = 0;

  /// Every call of the operation from now on stays inside until Release, or until its thread is ended.
  void Block(const std::string& operation);
  void Release();
  /// Every call of the operation answers so much later.
  void Delay(const std::string& operation, std::uint32_t milliseconds);
  /// Lets the operation answer as before.
  void Forget(const std::string& operation);

  int live_engines() const { return live_engines_.load(); }
  /// What was set or opened, in order.
  std::vector<std::u16string> symbol_paths() const;
  std::vector<std::uint32_t> symbol_options() const;
  std::vector<std::u16string> opened() const;
  std::vector<std::string> opened_narrow() const;
  /// What GetSymbolOptions gives until the first SetSymbolOptions.
  void SetInitialOptions(std::uint32_t options);

 private:
  friend class ScriptedEngine;
  static platform::HRESULT DebugCreate(const GUID& id, void** object);

  /// Records the call and does what the script says. The result that the call must give at once, if any.
  std::optional<platform::HRESULT> Begin(const char* operation);

  platform::HANDLE released_;
  mutable std::mutex mutex_;
  std::map<std::string, std::uint32_t> delays_;  // milliseconds; all ones: blocked
  std::atomic<int> live_engines_{0};
  std::uint32_t options_ = 0;
  std::vector<std::u16string> symbol_paths_;
  std::vector<std::uint32_t> symbol_options_;
  std::vector<std::u16string> opened_;
  std::vector<std::string> opened_narrow_;
};

}  // namespace varnel::testing
