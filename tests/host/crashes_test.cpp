#include "host/crashes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/exit_code.h"
#include "tests/host/event_log_text.h"
#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char kGeneral[] = "Microsoft-Windows-Kernel-General";
constexpr char kPower[] = "Microsoft-Windows-Kernel-Power";

std::string CrashLog() {
  return EventText(1, kGeneral, 12, "2024-03-01T10:00:00Z", "<Data Name='StartTime'>2024-03-01T10:00:00Z</Data>") +
         EventText(2, "X", 7, "2024-03-01T11:00:00Z", "") +
         EventText(3, kGeneral, 12, "2024-03-01T11:00:10Z", "<Data Name='StartTime'>2024-03-01T11:00:10Z</Data>") +
         EventText(4, kPower, 41, "2024-03-01T11:00:12Z",
                   "<Data Name='BugcheckCode'>10</Data><Data Name='BugcheckParameter1'>0xff</Data>");
}

TEST(Crashes, EachIsALineOfJson) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.xml", BytesOf(CrashLog()));
  CrashesOptions options;
  options.files = {path};
  const CommandResult result = RunCommand(Crashes, options);
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            R"({"file":")" + path +
                R"(","record":4,"time":"2024-03-01T11:00:12.000000Z","computer":"pc","kind":"stop_error","code":10,)"
                R"("name":"IRQL_NOT_LESS_OR_EQUAL","parameters":["0xff","0x0","0x0","0x0"],)"
                R"("boot_before":{"record":1,"start":"2024-03-01T10:00:00.000000Z"},)"
                R"("last_seen":"2024-03-01T11:00:00.000000Z",)"
                R"("boot_after":{"record":3,"start":"2024-03-01T11:00:10.000000Z"},)"
                R"("uptime_seconds":3600,"downtime_seconds":10,"dump":null})"
                "\n");
}

TEST(Crashes, ATableSaysWhatHappenedInWords) {
  TemporaryFolder folder;
  CrashesOptions options;
  options.machine_files = {
      folder.Put("a.xml", BytesOf(CrashLog() + EventText(5, kPower, 41, "2024-03-01T11:00:13Z", "")))};
  options.table = true;
  const auto lines = RunCommand(Crashes, options).Lines();
  EXPECT_THAT(lines,
              ElementsAre(HasSubstr("ran for"), HasSubstr("1:00:00     0:00:10  0xa IRQL_NOT_LESS_OR_EQUAL (0xff"),
                          HasSubstr("power lost, or no stop code written")));
}

TEST(Crashes, ALogWithoutOnePrintsNothing) {
  TemporaryFolder folder;
  CrashesOptions options;
  options.files = {folder.Put("a.xml", BytesOf(EventText(1, kGeneral, 12, "2024-03-01T10:00:00Z", "")))};
  const CommandResult result = RunCommand(Crashes, options);
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.out, "");
}

TEST(Crashes, AFileThatIsNotThereIsNamedAndTheOthersAreShown) {
  TemporaryFolder folder;
  CrashesOptions options;
  options.files = {folder.PathOf("none.xml"), folder.Put("a.xml", BytesOf(CrashLog()))};
  const CommandResult result = RunCommand(Crashes, options);
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, HasSubstr("none.xml"));
  EXPECT_EQ(result.Lines().size(), 1u);
}

// Codes and dumps by the measure of two other readers.
TEST(Crashes, ARealLogWithThreeStopErrorsTellsThemAndTheirDumps) {
  const std::filesystem::path log =
      std::filesystem::path(VARNEL_SAMPLES_DIR) / "evtx" / "w10_dell_system_eventlog.evtx";
  if (!std::filesystem::exists(log)) GTEST_SKIP() << "the samples are not here";
  CrashesOptions options;
  options.files = {log.string()};
  const auto lines = RunCommand(Crashes, options).Lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[0], HasSubstr(R"("code":307,"name":"DPC_WATCHDOG_VIOLATION")"));
  EXPECT_THAT(lines[0], HasSubstr(R"("dump":"C:\\Windows\\MEMORY.DMP")"));
  // Of the first, the log began again before the boot's event 12; record 574 is the last one of the boot before.
  EXPECT_THAT(lines[0], HasSubstr(R"("last_seen":"2024-03-31T12:10:31.)"));
  EXPECT_THAT(lines[0], HasSubstr(R"("downtime_seconds":15)"));
  EXPECT_THAT(lines[1], HasSubstr(R"("code":455,)"));
  EXPECT_THAT(lines[1], HasSubstr(R"("dump":"C:\\Windows\\Minidump\\040124-5515-01.dmp")"));
  EXPECT_THAT(lines[2], HasSubstr(R"("code":26,"name":"MEMORY_MANAGEMENT")"));
}

TEST(Crashes, AFileThatIsNoEventLogIsNamedWithThePlaceAndFailsTheCommand) {
  const TemporaryFolder folder;
  for (const std::string text : {"", "hello", "<?xml version='1.0'?>\n<assembly/>"}) {
    CrashesOptions options;
    options.files = {folder.Put("x", BytesOf(text))};
    const CommandResult result = RunCommand(Crashes, options);
    EXPECT_EQ(result.code, kExitFailed) << text;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "wardlet crashes: " + options.files[0] +
                              ": byte 0: begins neither as a binary event log nor as an exported one\n");
  }
}

TEST(Crashes, AnExportWithoutAnEventIsAGoodLogThatHasNothing) {
  const TemporaryFolder folder;
  CrashesOptions options;
  options.files = {folder.Put("x", BytesOf("<?xml version='1.0'?>\n<!-- none -->\n<Events></Events>"))};
  const CommandResult result = RunCommand(Crashes, options);
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace varnel::host
