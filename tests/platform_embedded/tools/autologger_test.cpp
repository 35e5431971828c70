#include "platform/embedded/tools/autologger.h"

#include "formats/guid_text.h"
#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

const std::u16string kAll = u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\";
const std::u16string kName = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kSession = kAll + kName;

class AutoLoggerTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
  }
  void Register() {
    SetText(kSession, u"Guid", u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
    SetNumber(kSession, u"Start", 1);
    SetText(kSession, u"FileName", u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace.etl");
    SetNumber(kSession, u"BufferSize", 80);
    SetNumber(kSession, u"MinimumBuffers", 2);
    SetNumber(kSession, u"MaximumBuffers", 16);
    SetNumber(kSession, u"LogFileMode", 0x18000102);
    SetNumber(kSession, u"ClockType", 1);
    SetNumber(kSession, u"MaxFileSize", 8);
    SetNumber(kSession, u"FlushTimer", 1);
    SetNumber(kSession, u"FileMax", 22);
  }
  std::vector<AutoLogger> Start(std::uint32_t result = 0) {
    std::vector<AutoLogger> started;
    results_ = StartAutoLoggers(*registry_, [&](const AutoLogger& session) {
      started.push_back(session);
      return result;
    });
    return started;
  }

  std::vector<AutoLoggerResult> results_;
};

TEST_F(AutoLoggerTest, ASessionIsStartedAsItsKeyDescribesIt) {
  Register();
  const auto started = Start();
  ASSERT_EQ(started.size(), 1u);
  const AutoLogger& session = started[0];
  EXPECT_EQ(session.name, kName);
  EXPECT_EQ(formats::FormatGuid(session.guid), "{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(session.log_file, u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace.etl.001");
  EXPECT_EQ(session.buffer_size_kb, 80u);
  EXPECT_EQ(session.minimum_buffers, 2u);
  EXPECT_EQ(session.maximum_buffers, 16u);
  EXPECT_EQ(session.log_file_mode, 0x18000102u);
  EXPECT_EQ(session.clock_type, 1u);
  EXPECT_EQ(session.maximum_file_size_mb, 8u);
  EXPECT_EQ(session.flush_timer_s, 1u);
}

TEST_F(AutoLoggerTest, EachBootTakesTheNextFileNumberAndBehindTheLastTheFirst) {
  Register();
  for (std::uint32_t boot = 1; boot <= 45; ++boot) {
    const std::uint32_t expected = (boot - 1) % 22 + 1;
    const auto started = Start();
    ASSERT_EQ(started.size(), 1u);
    char16_t ending[5] = {u'.', char16_t(u'0' + expected / 100), char16_t(u'0' + expected / 10 % 10),
                          char16_t(u'0' + expected % 10), 0};
    EXPECT_TRUE(started[0].log_file.ends_with(ending)) << boot;
    EXPECT_EQ(Key(kSession).Number(u"FileCounter"), expected);
  }
}

TEST_F(AutoLoggerTest, ACounterBeyondTheLastFileStartsAgainAtTheFirst) {
  Register();
  SetNumber(kSession, u"FileCounter", 4000);
  EXPECT_TRUE(Start()[0].log_file.ends_with(u".001"));
}

TEST_F(AutoLoggerTest, WithoutAFileMaxTheNameStaysAndNothingIsCounted) {
  Register();
  SetNumber(kSession, u"FileMax", 0);
  EXPECT_EQ(Start()[0].log_file, u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace.etl");
  EXPECT_FALSE(Key(kSession).Number(u"FileCounter").has_value());
}

TEST_F(AutoLoggerTest, OnlyAKeyWithStart1IsStarted) {
  Register();
  SetNumber(kSession, u"Start", 0);
  EXPECT_TRUE(Start().empty());
  EXPECT_TRUE(results_.empty());
  EXPECT_FALSE(Key(kSession).Number(u"FileCounter").has_value());
}

TEST_F(AutoLoggerTest, ASessionWithoutAReadableGuidIsNotStartedAndSaysSo) {
  Register();
  SetText(kSession, u"Guid", u"{no guid}");
  EXPECT_TRUE(Start().empty());
  ASSERT_EQ(results_.size(), 1u);
  EXPECT_EQ(results_[0].result, platform::kErrorInvalidParameter);
  EXPECT_EQ(Key(kSession).Number(u"Status"), platform::kErrorInvalidParameter);
}

TEST_F(AutoLoggerTest, EnabledProvidersComeWithTheirLevelAndKeywords) {
  Register();
  const std::u16string enabled = kSession + u"\\{4A234950-2B7D-4221-BADF-12593BD342A8}";
  SetNumber(enabled, u"Enabled", 1);
  SetNumber(enabled, u"EnableLevel", 5);
  SetLongNumber(enabled, u"MatchAnyKeyword", ~std::uint64_t{0});
  SetLongNumber(enabled, u"MatchAllKeyword", 6);
  SetNumber(enabled, u"EnableProperty", 4);
  SetNumber(kSession + u"\\{4A234951-2B7D-4221-BADF-12593BD342A8}", u"Enabled", 0);
  SetNumber(kSession + u"\\no provider", u"Enabled", 1);
  const auto providers = Start()[0].providers;
  ASSERT_EQ(providers.size(), 1u);
  EXPECT_EQ(formats::FormatGuid(providers[0].guid), "{4A234950-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(providers[0].level, 5);
  EXPECT_EQ(providers[0].match_any_keyword, ~std::uint64_t{0});
  EXPECT_EQ(providers[0].match_all_keyword, 6u);
  EXPECT_EQ(providers[0].enable_property, 4u);
}

TEST_F(AutoLoggerTest, AFailedStartIsTakenDownAndTheNextSessionStartsAllTheSame) {
  Register();
  SetText(kAll + u"Another", u"Guid", u"{00000000-0000-0000-0000-000000000001}");
  SetNumber(kAll + u"Another", u"Start", 1);
  EXPECT_EQ(Start(183).size(), 2u);
  ASSERT_EQ(results_.size(), 2u);
  EXPECT_EQ(results_[0].name, u"Another");
  EXPECT_EQ(results_[1].result, 183u);
  EXPECT_EQ(Key(kSession).Number(u"Status"), 183u);
  EXPECT_EQ(Key(kSession).Number(u"FileCounter"), 1u);
}

TEST_F(AutoLoggerTest, AFileNameThatIsMissingIsThatOfTheSession) {
  SetText(kAll + u"Plain", u"Guid", u"{00000000-0000-0000-0000-000000000001}");
  SetNumber(kAll + u"Plain", u"Start", 1);
  const auto started = Start();
  ASSERT_EQ(started.size(), 1u);
  EXPECT_EQ(started[0].log_file, u"C:\\Windows\\System32\\LogFiles\\WMI\\Plain.etl");
  EXPECT_EQ(started[0].log_file_mode, 1u);
  EXPECT_EQ(started[0].maximum_file_size_mb, 100u);
  SetNumber(kAll + u"Plain", u"LogFileMode", 0x100);
  EXPECT_EQ(Start()[0].log_file, u"");
}

TEST_F(AutoLoggerTest, VariablesInAFileNameAreTheMachines) {
  Register();
  SetText(kSession, u"FileName", u"%SystemRoot%\\a.etl");
  EXPECT_EQ(Start()[0].log_file, u"C:\\Windows\\a.etl.001");
}

TEST_F(AutoLoggerTest, AValueOfAnotherTypeCountsAsMissing) {
  Register();
  SetText(kSession, u"BufferSize", u"80");
  SetLongNumber(kSession, u"FileMax", 22);
  const auto started = Start();
  EXPECT_EQ(started[0].buffer_size_kb, 0u);
  EXPECT_TRUE(started[0].log_file.ends_with(u".etl"));
}

TEST_F(AutoLoggerTest, AMachineWithoutTheKeyHasNoSessionsToStart) {
  ASSERT_EQ(registry_->RegDeleteTreeW(platform::kHkeyLocalMachine, u"SYSTEM\\CurrentControlSet\\Control\\WMI"), 0u);
  EXPECT_TRUE(Start().empty());
}

}  // namespace
}  // namespace varnel::embedded
