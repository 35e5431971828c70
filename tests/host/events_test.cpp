#include "host/events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>

#include "host/exit_code.h"
#include "tests/host/event_log_text.h"
#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class EventsTest : public testing::Test {
 protected:
  std::string Log() const {
    return folder_.Put("log.xml", BytesOf(EventText(1, "A", 12, "2024-03-01T10:00:00.1234567Z",
                                                    "<Data Name='x'>1</Data><Data Name='y'></Data>") +
                                          EventText(2, "B", 6008, "2024-03-01T10:00:01Z",
                                                    "<Data>one</Data><Data>two</Data><Binary>00FF</Binary>") +
                                          EventText(3, "A", 41, "2024-03-01T10:00:02Z", "")));
  }
  TemporaryFolder folder_;
};

TEST_F(EventsTest, EachRecordIsALineOfJsonTheOldestFirst) {
  const std::string path = Log();
  EventsOptions options;
  options.files = {path};
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitGood) << result.err;
  EXPECT_EQ(result.err, "");
  ASSERT_EQ(result.Lines().size(), 3u);
  EXPECT_EQ(result.Lines()[0],
            R"({"file":")" + path +
                R"(","record":1,"time":"2024-03-01T10:00:00.1234567Z","provider":"A","event":12,"level":4,)"
                R"("channel":"System","computer":"pc","data":{"x":"1","y":""}})");
  EXPECT_THAT(result.Lines()[1], HasSubstr(R"("values":["one","two"],"binary":"00FF"})"));
}

TEST_F(EventsTest, TheNewestComeFirstAndOnlySoMany) {
  EventsOptions options;
  options.files = {Log()};
  options.newest = 2;
  const auto lines = RunCommand(Events, options).Lines();
  EXPECT_THAT(lines, ElementsAre(HasSubstr(R"("record":3,)"), HasSubstr(R"("record":2,)")));
}

TEST_F(EventsTest, AQueryChoosesTheRecords) {
  EventsOptions options;
  options.files = {Log()};
  options.query = "*[System[EventID=41 or EventID=12]]";
  const auto lines = RunCommand(Events, options).Lines();
  EXPECT_THAT(lines, ElementsAre(HasSubstr(R"("record":1,)"), HasSubstr(R"("record":3,)")));
}

TEST_F(EventsTest, AQueryOutsideTheLanguageIsWrongUseAndNamesThePlace) {
  EventsOptions options;
  options.files = {Log()};
  options.query = "*[System[not(EventID=41)]]";
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitWrongUse);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, HasSubstr("wardlet events: --query: "));
}

TEST_F(EventsTest, ATableHasARowForEachRecord) {
  EventsOptions options;
  options.files = {Log()};
  options.table = true;
  const auto lines = RunCommand(Events, options).Lines();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0], options.files[0]);
  EXPECT_THAT(lines[2], HasSubstr("info"));
  EXPECT_THAT(lines[2], HasSubstr("x=1"));
}

TEST_F(EventsTest, AFileThatIsNotThereIsNamedAndTheOthersAreShown) {
  EventsOptions options;
  options.files = {folder_.PathOf("none.evtx"), Log()};
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, HasSubstr("none.evtx"));
  EXPECT_EQ(result.Lines().size(), 3u);
}

TEST_F(EventsTest, ADamagedRecordIsLeftOutAndCounted) {
  std::string text = EventText(1, "A", 12, "2024-03-01T10:00:00Z", "") + "<Event><System></Event>\n" +
                     EventText(2, "A", 13, "2024-03-01T10:00:01Z", "");
  EventsOptions options;
  options.files = {folder_.Put("log.xml", BytesOf(text))};
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.Lines().size(), 2u);
  EXPECT_THAT(result.err, HasSubstr("1 records can't be read and were left out"));
}

TEST_F(EventsTest, AnExportInAnotherEncodingIsReadInTheOneThatIsNamed) {
  const std::string text = EventText(1, "A", 12, "2024-03-01T10:00:00Z", "<Data>\xe9</Data>");  // an e with an acute
  EventsOptions options;
  options.files = {folder_.Put("log.xml", BytesOf(text))};
  options.encoding = "CP1252";
  EXPECT_THAT(RunCommand(Events, options).out, HasSubstr("[\"\xc3\xa9\"]"));
  options.encoding = "";
  const CommandResult unnamed = RunCommand(Events, options);
  EXPECT_THAT(unnamed.out, HasSubstr("[\"\xef\xbf\xbd\"]"));
}

TEST_F(EventsTest, ALogWhoseReadingProgramIsNotThereIsAFailureAndNoDamage) {
  const std::filesystem::path log = std::filesystem::path(VARNEL_SAMPLES_DIR) / "evtx" / "w2016tp_airsil_System.evtx";
  if (!std::filesystem::exists(log)) GTEST_SKIP() << "the samples are not here";
  ASSERT_EQ(setenv("VARNEL_EVTX_HELPER", "/nonexistent/helper", 1), 0);
  EventsOptions options;
  options.files = {log.string()};
  const CommandResult result = RunCommand(Events, options);
  unsetenv("VARNEL_EVTX_HELPER");
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, HasSubstr("the program that reads it can't be started"));
  EXPECT_THAT(result.err, testing::Not(HasSubstr("left out")));
}

// Records by the measure of another reader; those that it recovered from free space are not among them.
TEST_F(EventsTest, TheSampleLogsGiveTheRecordsThatAnotherReaderFound) {
  const std::map<std::string, std::size_t> records = {
      {"w10_1507_dikimevi_System.evtx", 121},   {"w10_1709_system.evtx", 1881},
      {"w10_dell_System_livecopy.evtx", 978},   {"w10_dell_system_eventlog.evtx", 978},
      {"w11_EIS938N_System.evtx", 320},         {"w11_unknowndevicex_SystemLog.evtx", 587},
      {"w2008r2_greendale_System.evtx", 5009},  {"w2016tp_airsil_System.evtx", 483},
      {"win7x64_shieldbase_system.evtx", 1601},
  };
  const std::filesystem::path samples = std::filesystem::path(VARNEL_SAMPLES_DIR) / "evtx";
  if (!std::filesystem::exists(samples)) GTEST_SKIP() << "the samples are not here";
  for (const auto& [name, count] : records) {
    EventsOptions options;
    options.files = {(samples / name).string()};
    const CommandResult result = RunCommand(Events, options);
    EXPECT_EQ(result.code, kExitGood) << name << ' ' << result.err;
    EXPECT_EQ(result.Lines().size(), count) << name;
  }
}

TEST_F(EventsTest, AFileThatIsNoEventLogIsNamedWithThePlaceAndFailsTheCommand) {
  for (const std::string text : {"", "hello", "<?xml version='1.0'?>\n<assembly/>"}) {
    EventsOptions options;
    options.files = {folder_.Put("x", BytesOf(text))};
    const CommandResult result = RunCommand(Events, options);
    EXPECT_EQ(result.code, kExitFailed) << text;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "wardlet events: " + options.files[0] +
                              ": byte 0: begins neither as a binary event log nor as an exported one\n");
  }
}

TEST_F(EventsTest, AFileThatIsNoEventLogIsNoneAtAnyLengthAndUnderTheNameOfOne) {
  EventsOptions options;
  options.files = {folder_.Put("x.evtx", BytesOf(std::string(70'000, 'x')))};
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "wardlet events: " + options.files[0] +
                            ": byte 0: begins neither as a binary event log nor as an exported one\n");
}

TEST_F(EventsTest, AnExportWithoutAnEventIsAGoodLogThatHasNothing) {
  EventsOptions options;
  options.files = {folder_.Put("x", BytesOf("<?xml version='1.0'?>\n<!-- none -->\n<Events></Events>"))};
  const CommandResult result = RunCommand(Events, options);
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace varnel::host
