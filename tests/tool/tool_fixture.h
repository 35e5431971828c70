// What the tests of start, stop and install share: a scripted machine on which the module is installed, a recording
// host, and a module that is stopped again at the end.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "interfaces/wardlet_tool.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {

inline constexpr char16_t kSessionName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
inline constexpr char16_t kTraceFolder[] = u"C:\\Windows\\System32\\LogFiles\\WMI";
inline constexpr char16_t kMarker[] =
    u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\_THIS_TIME_EXEC_";
inline constexpr char16_t kModuleFolder[] = u"C:\\Program Files\\Varnel\\Wardlet";
inline constexpr char16_t kSetupFolder[] = u"C:\\Program Files\\Varnel\\Setup";
inline constexpr char16_t kAutologgerKey[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
/// A left-over file of an earlier temporary session.
inline constexpr char16_t kLeftOverFile[] =
    u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDTempTrace{4A234956-2B7D-4221-BADF-12593BD342A8}"
    u"{11111111-2222-3333-4444-555555555555}.etl";

/// Takes the texts of the callback, on any thread: those of trace events, and apart from them the module's own about
/// crashes.
class HostRecord {
 public:
  static std::uint32_t OnText(void* context, const char* text);
  std::vector<std::string> Texts() const;
  std::vector<std::string> CrashTexts() const;
  /// What stands under "AdditionalMsgAnsi" in each text.
  std::vector<std::string> Messages() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
  std::vector<std::string> crash_texts_;
};

/// An event of the first kind of the first provider. `time` is a FILETIME.
ScriptedEvent TextEvent(std::uint64_t time, std::uint32_t counter, std::string_view text, std::uint64_t keyword = 0x81,
                        std::uint32_t flags = 8);

/// A scripted machine with the module's files and registration in place.
class ScriptedMachine : public ScriptedPlatform {
 public:
  ScriptedMachine();
};

class ToolTest : public ::testing::Test {
 protected:
  ToolTest();
  ~ToolTest() override;

  std::uint32_t Start(std::uint32_t flags = 3);
  std::uint32_t Stop();
  /// Lets the module's threads work until nothing is left to do but to wait.
  void Settle() { platform_.time.Settle(); }
  /// Until the host has so many texts. False if they never come.
  bool WaitForTexts(std::size_t count);
  /// Waits until so many of the module's threads are left: one is counted for a moment longer than it runs.
  bool WaitForThreads(std::size_t count) const;
  bool Logged(const std::string& line) const { return platform_.system.Logged(line); }
  unsigned TimesLogged(const std::string& line) const;

  ScriptedMachine platform_;
  FaultPlan faults_;
  FaultyPlatform faulty_{platform_.ports, &faults_};
  HostRecord host_;
};

}  // namespace varnel::testing
