// What the tests of crash events share: a scripted machine whose calls can be made to fail, a host that records its
// texts, and the module's record with that host's callback.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "pipeline/consumer_table.h"
#include "tests/support/civil_time.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/log_event_xml.h"
#include "tests/support/scripted_platform.h"

struct cJSON;

namespace varnel::testing {

inline constexpr char16_t kMarkKey[] = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
inline constexpr char16_t kMarkValue[] = u"EventTimeStamp";

/// Times of the tests: whole seconds on one day.
inline std::uint64_t At(std::uint16_t hour, std::uint16_t minute = 0, std::uint16_t second = 0) {
  return FileTimeOf(2026, 2, 3, hour, minute, second);
}

class CrashTest : public ::testing::Test {
 protected:
  CrashTest();
  ~CrashTest() override;

  /// The log's events, the newest number first.
  void AddBoot(std::uint64_t time) { machine_.event_log.AddEvent(BootEventXml(time)); }
  void AddCrash(std::uint64_t time, std::uint32_t code = 159) {
    machine_.event_log.AddEvent(CrashEventXml(time, code));
  }
  void StoreMark(std::uint64_t mark);
  std::optional<std::uint64_t> StoredMark() const { return machine_.registry.GetQword(kMarkKey, kMarkValue); }

  /// A text in the n-th text's innermost object under "AdditionalMsgAnsi"; "(none)" when it isn't there.
  std::string Fact(std::size_t nth, const char* key) const;
  /// A text of the n-th text's own; "null" for a JSON null, "(object)" for an object.
  std::string Top(std::size_t nth, const char* key) const;
  std::vector<std::string> KeysOf(const std::string& text) const;

  bool Logged(const std::string& line) const { return machine_.system.Logged(line); }
  /// Nothing is open that a call has opened.
  void ExpectNothingOpen() const;

  ScriptedPlatform machine_;
  FaultPlan faults_;
  FaultyPlatform faulty_{machine_.ports, &faults_};
  std::vector<std::string> texts_;
  std::uint32_t host_answer_ = 0;

 private:
  static std::uint32_t OnText(void* context, const char* text);
};

/// "0x" and sixteen upper-case digits.
std::string Hex16(std::uint64_t value);

}  // namespace varnel::testing
