#include "session/temp_session.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "base/log.h"
#include "session/provider_table.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

constexpr char16_t kName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kFile[] = u"C:\\Windows\\System32\\LogFiles\\WMI\\mine.etl";
constexpr char16_t kPrefix[] =
    u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDTempTrace{4A234956-2B7D-4221-BADF-12593BD342A8}{";

class TempSession : public ::testing::Test {
 protected:
  TempSession() {
    WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
    platform_.system.ClearDebug();
    for (std::size_t i = 0; i < providers_.size(); ++i) providers_[i] = &kProviderTable[i].guid;
  }
  ~TempSession() override { EXPECT_EQ(platform_.system.heap_blocks(), blocks_before_); }

  std::uint32_t Start(platform::TRACEHANDLE* handle, std::uint32_t count) {
    return StartTraceSessionWithProviders(handle, providers_.data(), count, &GUID_WARDLET_TOOL, kName, kFile, 5, ~0ull);
  }
  /// The control calls as words: "enable ProviderSample", "stop".
  std::vector<std::string> Calls() const {
    std::vector<std::string> words;
    for (const auto& call : platform_.trace.ControlCalls()) {
      std::string word = call.what;
      for (std::size_t i = 0; i < kProviderTable.size(); ++i) {
        if (call.provider == kProviderTable[i].guid) word += " " + std::to_string(i + 1);
      }
      words.push_back(word);
    }
    return words;
  }

  testing::ScriptedPlatform platform_;
  const int blocks_before_ = platform_.system.heap_blocks();
  testing::FaultPlan plan_;
  std::array<const GUID*, 7> providers_{};
};

class TempSessionFaults : public TempSession {
 protected:
  testing::FaultyPlatform faulty_{platform_.ports, &plan_};
};

/// Keeps what the calls of a rollback were given.
class KeepsTheRollback : public testing::FaultyTrace {
 public:
  using FaultyTrace::FaultyTrace;

  struct Enabling {
    std::uint32_t control_code;
    std::uint8_t level;
    std::uint64_t match_any;
    std::uint64_t match_all;
    std::uint32_t timeout_ms;
    const void* parameters;
  };
  struct Stopping {
    platform::TRACEHANDLE session;
    const char16_t* name;
    const platform::EVENT_TRACE_PROPERTIES* properties;
    std::uint32_t control;
  };
  std::vector<Enabling> enablings;
  std::vector<Stopping> stoppings;

  std::uint32_t ControlTraceW(platform::TRACEHANDLE session, const char16_t* name,
                              platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) override {
    stoppings.push_back({session, name, properties, control});
    return FaultyTrace::ControlTraceW(session, name, properties, control);
  }
  std::uint32_t EnableTraceEx2(platform::TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                               std::uint8_t level, std::uint64_t match_any, std::uint64_t match_all,
                               std::uint32_t timeout_ms, const void* parameters) override {
    enablings.push_back({control_code, level, match_any, match_all, timeout_ms, parameters});
    return FaultyTrace::EnableTraceEx2(session, provider, control_code, level, match_any, match_all, timeout_ms,
                                       parameters);
  }
};

using Words = std::vector<std::string>;

TEST_F(TempSession, CreationStartsTheSessionWithItsPropertiesAndAllSevenProvidersInOrder) {
  platform::TRACEHANDLE handle = 0;
  ASSERT_EQ(CreateTempSession(&handle), 0u);
  const auto session = platform_.trace.FindSession(kName);
  ASSERT_TRUE(session.has_value());
  EXPECT_EQ(handle, session->handle);
  EXPECT_EQ(session->log_file.substr(0, std::size(kPrefix) - 1), kPrefix);
  EXPECT_EQ(session->log_file.size(), std::size(kPrefix) - 2 + 38 + 4) << "a second braced GUID and the ending";
  const auto& properties = session->properties;
  EXPECT_EQ(properties.Wnode.BufferSize, 120 + 2 * (56 + 1) + 2 * (session->log_file.size() + 1));
  EXPECT_EQ(properties.Wnode.Guid, GUID_WARDLET_TOOL);
  EXPECT_EQ(properties.Wnode.ClientContext, 1u);
  EXPECT_EQ(properties.Wnode.Flags, 0x20000u);
  EXPECT_EQ(properties.BufferSize, 64u);
  EXPECT_EQ(properties.MinimumBuffers, 20u);
  EXPECT_EQ(properties.MaximumBuffers, 50u);
  EXPECT_EQ(properties.MaximumFileSize, 100u);
  EXPECT_EQ(properties.LogFileMode, 0x18000102u);
  EXPECT_EQ(properties.FlushTimer, 1u);
  EXPECT_EQ(properties.LoggerNameOffset, 120u);
  EXPECT_EQ(properties.LogFileNameOffset, 120u + 2 * (56 + 1));
  EXPECT_EQ(properties.EnableFlags, 0u);
  ASSERT_EQ(session->providers.size(), 7u);
  for (std::size_t i = 0; i < 7; ++i) {
    EXPECT_EQ(session->providers[i].provider, kProviderTable[i].guid);
    EXPECT_EQ(session->providers[i].level, 5);
    EXPECT_EQ(session->providers[i].match_any, ~std::uint64_t{0});
    EXPECT_EQ(session->providers[i].match_all, 0u);
  }
}

TEST_F(TempSession, TwoStartsInOneBootWriteTwoFilesWithOnePrefix) {
  platform::TRACEHANDLE handle = 0;
  ASSERT_EQ(CreateTempSession(&handle), 0u);
  const std::u16string first = platform_.trace.FindSession(kName)->log_file;
  platform_.trace.RemoveSession(kName);
  ASSERT_EQ(CreateTempSession(&handle), 0u);
  const std::u16string second = platform_.trace.FindSession(kName)->log_file;
  EXPECT_NE(first, second);
  EXPECT_EQ(first.substr(0, std::size(kPrefix) - 1), second.substr(0, std::size(kPrefix) - 1));
}

TEST_F(TempSession, CreationNeedsAPlaceForTheHandle) {
  EXPECT_EQ(CreateTempSession(nullptr), 0x90000000u);
  EXPECT_TRUE(platform_.trace.ControlCalls().empty());
}

TEST_F(TempSessionFaults, WithoutASystemFolderCreationGivesTheGeneralFailureAfterItsLine) {
  plan_.Fail("GetSystemDirectoryW", 5);
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(CreateTempSession(&handle), 0x90000000u);
  EXPECT_TRUE(platform_.system.Logged("CreateTempSession func call GenericUniqueTempSessionLogFile failed!\r\n"));
  EXPECT_TRUE(platform_.trace.Sessions().empty());
}

TEST_F(TempSession, AFailedAllocationOfTheBlockGives14) {
  platform_.system.FailAllocation(1);
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(&handle, 7), 14u);
  EXPECT_TRUE(platform_.trace.ControlCalls().empty());
}

TEST_F(TempSession, ASessionThatRunsAlreadyIsNoSpecialCase) {
  platform_.trace.AddSession(kName, kFile);
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(&handle, 7), 183u);
}

TEST_F(TempSession, NullArgumentsAndACountOfZeroStartNothing) {
  platform::TRACEHANDLE handle = 0;
  const GUID* const session = &GUID_WARDLET_TOOL;
  const auto* const list = providers_.data();
  EXPECT_EQ(Start(&handle, 0), 87u);
  EXPECT_EQ(Start(nullptr, 7), 87u);
  EXPECT_EQ(StartTraceSessionWithProviders(&handle, nullptr, 7, session, kName, kFile, 5, 0), 87u);
  EXPECT_EQ(StartTraceSessionWithProviders(&handle, list, 7, nullptr, kName, kFile, 5, 0), 87u);
  EXPECT_EQ(StartTraceSessionWithProviders(&handle, list, 7, session, nullptr, kFile, 5, 0), 87u);
  EXPECT_EQ(StartTraceSessionWithProviders(&handle, list, 7, session, kName, nullptr, 5, 0), 87u);
  EXPECT_TRUE(platform_.trace.ControlCalls().empty());
}

TEST_F(TempSession, NullEntriesAreSkippedWhenProvidersAreEnabled) {
  providers_[1] = nullptr;
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(&handle, 3), 0u);
  EXPECT_EQ(Calls(), (Words{"start", "enable 1", "enable 3"}));
}

TEST_F(TempSessionFaults, WithTheThirdProviderFailingTwoAreDisabledAndTheSessionIsStopped) {
  plan_.Fail({"EnableTraceEx2", 3, false, 1450});
  platform::TRACEHANDLE handle = 77;
  EXPECT_EQ(Start(&handle, 7), 1450u);
  EXPECT_EQ(handle, 0u);
  EXPECT_EQ(Calls(), (Words{"start", "enable 1", "enable 2", "disable 1", "disable 2", "stop"}));
  EXPECT_TRUE(platform_.trace.Sessions().empty());
}

TEST_F(TempSession, ARollbackDisablesWithoutLevelAndKeywordsAndStopsByTheHandleAlone) {
  KeepsTheRollback trace(&platform_.trace, &plan_);
  platform::Platform ports = platform_.ports;
  ports.trace = &trace;
  const platform::ScopedPlatform in_force(&ports);
  plan_.Fail({"EnableTraceEx2", 2, false, 5});
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(&handle, 7), 5u);
  ASSERT_EQ(trace.enablings.size(), 3u) << "two to enable, and one to disable";
  for (std::size_t i = 0; i < 3; ++i) {
    const bool enables = i < 2;
    EXPECT_EQ(trace.enablings[i].control_code, enables ? 1u : 0u);
    EXPECT_EQ(trace.enablings[i].level, enables ? 5 : 0);
    EXPECT_EQ(trace.enablings[i].match_any, enables ? ~std::uint64_t{0} : 0u);
    EXPECT_EQ(trace.enablings[i].match_all, 0u);
    EXPECT_EQ(trace.enablings[i].timeout_ms, 0u);
    EXPECT_EQ(trace.enablings[i].parameters, nullptr);
  }
  ASSERT_EQ(trace.stoppings.size(), 1u);
  EXPECT_NE(trace.stoppings[0].session, 0u);
  EXPECT_EQ(trace.stoppings[0].name, nullptr);
  EXPECT_EQ(trace.stoppings[0].properties, nullptr);
  EXPECT_EQ(trace.stoppings[0].control, 1u);
}

TEST_F(TempSessionFaults, TheRollbackCountsFromTheFrontOfTheListNullEntriesAmongThem) {
  providers_[0] = nullptr;
  plan_.Fail({"EnableTraceEx2", 3, false, 5});
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(Start(&handle, 4), 5u);
  // Two were enabled (the second and third entry); the first two entries of the list are disabled: one is null.
  EXPECT_EQ(plan_.CountOf("EnableTraceEx2"), 5u);
  EXPECT_TRUE(platform_.trace.Sessions().empty());
}

TEST_F(TempSessionFaults, AFailedStopInTheRollbackIsNotLookedAt) {
  plan_.Fail({"EnableTraceEx2", 1, false, 5});
  plan_.FailForEver("ControlTraceW", 31);
  platform::TRACEHANDLE handle = 77;
  EXPECT_EQ(Start(&handle, 7), 5u);
  EXPECT_EQ(handle, 0u);
}

TEST_F(TempSessionFaults, AFailedStartIsReturnedAndEnablesNothing) {
  plan_.Fail("StartTraceW", 5);
  platform::TRACEHANDLE handle = 0;
  EXPECT_EQ(CreateTempSession(&handle), 5u);
  EXPECT_EQ(plan_.CountOf("EnableTraceEx2"), 0u);
}

TEST_F(TempSession, ARunningSessionIsFoundWithItsFile) {
  platform_.trace.AddSession(kName, kFile);
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 1u);
  EXPECT_EQ(std::u16string(path), kFile);
  EXPECT_TRUE(
      platform_.system.Logged("CheckTraceSessionExists func Session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-"
                              "12593BD342A8}) logpath(C:\\Windows\\System32\\LogFiles\\WMI\\mine.etl) exists\n"));
}

TEST_F(TempSession, ARunningSessionWithoutAFileLeavesTheCallersPath) {
  platform_.trace.AddSession(kName, u"");
  char16_t path[260] = u"as it was";
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 1u);
  EXPECT_EQ(std::u16string(path), u"as it was");
}

TEST_F(TempSession, AnAbsentSessionIsToldAtTheSecondLevel) {
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 0u);
  EXPECT_TRUE(
      platform_.system.Logged("CheckTraceSessionExists func Session(KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-"
                              "12593BD342A8}) not found\n"));
}

TEST_F(TempSession, ANullOrEmptyNameAsksNothing) {
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(nullptr, path, 260), 0u);
  EXPECT_EQ(CheckTraceSessionExists(u"", path, 260), 0u);
  EXPECT_TRUE(platform_.trace.ControlCalls().empty());
}

TEST_F(TempSession, AnAnswerLargerThanTheFirstBufferIsReadOnDoubledOnes) {
  const std::u16string long_file = u"C:\\" + std::u16string(1800, u'x') + u".etl";
  platform_.trace.AddSession(kName, long_file);
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 1u);
  EXPECT_EQ(Calls(), (Words{"query", "query", "query"})) << "1162, 2324 and 4648 bytes";
  EXPECT_EQ(std::u16string(path), long_file.substr(0, 259)) << "cut to the caller's room";
}

TEST_F(TempSession, TheBuffersHave1162BytesAndThenTwiceAsMany) {
  // An answer has 236 bytes beside the characters of its file: the fixed part, the session's name and both ends.
  struct Row {
    std::size_t characters;
    std::size_t queries;
  };
  for (const Row row : {Row{463, 1}, Row{464, 2}, Row{1044, 2}, Row{1045, 3}, Row{2206, 3}, Row{2207, 4}}) {
    const std::u16string file = u"C:\\" + std::u16string(row.characters - 3, u'x');
    platform_.trace.AddSession(kName, file);
    std::vector<char16_t> path(row.characters + 1);
    const std::size_t before = Calls().size();
    EXPECT_EQ(CheckTraceSessionExists(kName, path.data(), static_cast<std::uint32_t>(path.size())), 1u);
    EXPECT_EQ(Calls().size() - before, row.queries) << row.characters;
    EXPECT_EQ(std::u16string(path.data()), file) << row.characters;
    platform_.trace.RemoveSession(kName);
  }
}

TEST_F(TempSession, ABufferThatCanNotBeHadReadsAsAnAbsentSession) {
  platform_.trace.AddSession(kName, kFile);
  platform_.system.FailAllocation(1);
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 0u);
}

TEST_F(TempSession, TheDoublingEndsWithAFailedAllocation) {
  platform_.trace.AddSession(kName, u"C:\\" + std::u16string(1800, u'x'));
  platform_.system.FailAllocation(2);
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 0u);
  EXPECT_EQ(Calls(), Words{"query"});
}

TEST_F(TempSessionFaults, OnlyACreationWithoutAFileNameIsAnErrorAndARunningSessionADetail) {
  char16_t path[260] = {};
  platform::TRACEHANDLE handle = 0;
  WrapLogInit(LOG_ERROR, nullptr);
  CheckTraceSessionExists(kName, path, 260);
  EXPECT_TRUE(platform_.system.DebugLines().empty());
  plan_.Fail("GetSystemDirectoryW", 5);
  CreateTempSession(&handle);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  WrapLogInit(LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  CheckTraceSessionExists(kName, path, 260);
  plan_.Fail("ControlTraceW", 5);
  CheckTraceSessionExists(kName, path, 260);
  EXPECT_EQ(platform_.system.DebugLines().size(), 2u) << "absent, and not known";
  platform_.trace.AddSession(kName, kFile);
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 1u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 2u);
}

TEST_F(TempSessionFaults, AFailedQueryReadsAsAnAbsentSessionAfterItsLine) {
  platform_.trace.AddSession(kName, kFile);
  plan_.Fail("ControlTraceW", 5);
  char16_t path[260] = {};
  EXPECT_EQ(CheckTraceSessionExists(kName, path, 260), 0u);
  EXPECT_TRUE(
      platform_.system.Logged("CheckTraceSessionExists func Failed to query Session(KelvoVarnelWardlet{4A234956-"
                              "2B7D-4221-BADF-12593BD342A8}): 0x00000005\n"));
}

}  // namespace
}  // namespace varnel
