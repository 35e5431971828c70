// wardlet.exe as a user of Windows has it: each command, what it prints, its exit codes, and paths in any script.
#include "tests/platform_windows/wardlet_program.h"

#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "platform/platform.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char16_t kAutoLogger[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kServer[] = u"SOFTWARE\\KelvoCLSID\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\InprocServer32";
constexpr char kLog[] = "C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt";

std::string Product(const std::string& below) {
  return std::string(kProductFolder) + '\\' + below;
}

bool KeyExists(const char16_t* path) {
  platform::HKEY key = nullptr;
  if (platform::RegistryPort().RegOpenKeyExW(platform::kHkeyLocalMachine, path, 0, platform::kKeyRead, &key) != 0) {
    return false;
  }
  platform::RegistryPort().RegCloseKey(key);
  return true;
}

/// The machine writes small dumps, as it says.
void SetSmallDumps() {
  platform::HKEY key = nullptr;
  ASSERT_EQ(platform::RegistryPort().RegCreateKeyExW(
                platform::kHkeyLocalMachine, u"SYSTEM\\CurrentControlSet\\Control\\CrashControl",
                platform::kRegOptionNonVolatile, platform::kKeyWrite, &key, nullptr),
            0u);
  const std::uint32_t small = 3;
  const std::u16string folder = u"%SystemRoot%\\Minidump";
  EXPECT_EQ(platform::RegistryPort().RegSetValueExW(key, u"CrashDumpEnabled", platform::kRegDword, &small, 4), 0u);
  EXPECT_EQ(platform::RegistryPort().RegSetValueExW(key, u"MinidumpDir", platform::kRegExpandSz, folder.c_str(),
                                                    static_cast<std::uint32_t>((folder.size() + 1) * 2)),
            0u);
  platform::RegistryPort().RegCloseKey(key);
}

unsigned CountOf(const std::string& text, const std::string& part) {
  unsigned count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

/// Tells the machine where the module stands, as the framework does.
void RegisterModule() {
  const std::u16string path = u"C:\\Program Files\\V\u00E4rnel \u65E5\u672C\\Wardlet\\VarnelWardlet.dll";
  platform::HKEY key = nullptr;
  ASSERT_EQ(
      platform::RegistryPort().RegCreateKeyExW(platform::kHkeyLocalMachine, kServer, platform::kRegOptionNonVolatile,
                                               platform::kKeyWrite, &key, nullptr),
      0u);
  EXPECT_EQ(platform::RegistryPort().RegSetValueExW(key, u"", platform::kRegSz, path.c_str(),
                                                    static_cast<std::uint32_t>((path.size() + 1) * 2)),
            0u);
  platform::RegistryPort().RegCloseKey(key);
}

std::string TraceFile() {
  support::LogHeaderSpec header;
  support::EventSpec event;
  event.stamp = header.origin_stamp + 10;
  event.payload = support::CounterPayload(41);
  support::Blob file = support::HeaderBuffer(header);
  support::Append(&file, support::Buffer({}, {support::Event(event), support::Event(event)}));
  return {reinterpret_cast<const char*>(file.data()), file.size()};
}

class WardletProgram : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { ASSERT_TRUE(InstallPackage()); }
  WardletProgram() { RegisterModule(); }
  ~WardletProgram() override { SetVariable("VARNEL_MODULE", ""); }
};

TEST_F(WardletProgram, AsksTheModuleBesideItForTheVersion) {
  const Outcome outcome = RunWardlet({"version"});
  EXPECT_EQ(outcome.exit_code, 0);
  EXPECT_EQ(outcome.out, "VarnelWardlet 1.0.2.28\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(WardletProgram, TellsItsOwnVersionAndItsCommands) {
  EXPECT_EQ(RunWardlet({"--version"}).out, "wardlet 1.0.2.28\n");
  const Outcome help = RunWardlet({"--help"});
  EXPECT_EQ(help.exit_code, 0);
  for (const char* command : {"  run ", "  install ", "  uninstall ", "  version ", "  trace "}) {
    EXPECT_THAT(help.out, HasSubstr(command));
  }
  for (const char* command : {"  machine ", "  demo ", "  events "}) EXPECT_THAT(help.out, Not(HasSubstr(command)));
  EXPECT_THAT(help.out, Not(HasSubstr("\r")));
}

TEST_F(WardletProgram, AnswersWrongUseWithOneLineAndExitCodeTwo) {
  const std::vector<std::string> wrong[] = {
      {}, {"frob"}, {"run", "--frob"}, {"run", "--duration", "soon"}, {"trace", "info"}, {"version", "x"}};
  for (const auto& words : wrong) {
    const Outcome outcome = RunWardlet(words);
    EXPECT_EQ(outcome.exit_code, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("wardlet"));
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
  }
}

TEST_F(WardletProgram, TakesAnotherModuleByItsPath) {
  const std::string path =
      "C:\\M\xC3\xB6"
      "dule \xE2\x82\xAC\\VarnelWardlet.dll";  // Mödule and the sign of the euro
  WriteFile(path, ReadFile(Product("Wardlet\\VarnelWardlet.dll")));
  SetVariable("VARNEL_MODULE", path);
  EXPECT_EQ(RunWardlet({"version"}).out, "VarnelWardlet 1.0.2.28\n");
}

TEST_F(WardletProgram, TellsByNameThatItsModuleIsMissing) {
  const std::string path = "C:\\nowhere \xC3\xA4\\VarnelWardlet.dll";
  SetVariable("VARNEL_MODULE", path);
  for (const char* command : {"version", "run", "install", "uninstall"}) {
    const Outcome outcome = RunWardlet({command});
    EXPECT_EQ(outcome.exit_code, 1) << command;
    EXPECT_EQ(outcome.out, "") << command;
    EXPECT_THAT(outcome.err, HasSubstr("wardlet " + std::string(command) + ": the module can't be loaded: " + path));
    EXPECT_THAT(outcome.err, EndsWith(" (126)\n")) << command;
  }
}

TEST_F(WardletProgram, ReadsTraceFilesUnderAnyName) {
  const std::string path =
      "C:\\Tr\xC3\xA4"
      "ce \xE6\x97\xA5\\\xCE\xB1.etl";  // Träce, a sign of Japan; alpha
  WriteFile(path, TraceFile());
  const Outcome info = RunWardlet({"trace", "info", path});
  EXPECT_EQ(info.exit_code, 0);
  EXPECT_EQ(info.err, "");
  EXPECT_THAT(info.out, StartsWith(path + "\n"));
  EXPECT_THAT(info.out, HasSubstr("  events         3 read, 0 lost\n"));

  const Outcome cat = RunWardlet({"trace", "cat", path});
  EXPECT_EQ(cat.exit_code, 0);
  EXPECT_EQ(cat.err, "");
  std::istringstream lines(cat.out);
  unsigned count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    cJSON* const json = cJSON_Parse(line.c_str());
    EXPECT_NE(json, nullptr) << line;
    cJSON_Delete(json);
  }
  EXPECT_EQ(count, 3u);
  EXPECT_THAT(cat.out, HasSubstr("\"payload\":\"29000000"));
  EXPECT_THAT(cat.out, Not(HasSubstr("\r")));
}

TEST_F(WardletProgram, ReadsAndWritesFilesByTheLongFormOfTheirPaths) {
  WriteFile("C:\\long\\trace.etl", TraceFile());
  const Outcome info = RunWardlet({"trace", "info", "\\\\?\\C:\\long\\trace.etl"});
  EXPECT_EQ(info.exit_code, 0) << info.err;
  EXPECT_THAT(info.out, StartsWith("\\\\?\\C:\\long\\trace.etl\n"));
  const Outcome run =
      RunWardlet({"run", "--idle-exit", "1", "-q", "--flags", "0", "-o", "\\\\?\\C:\\long\\texts.ndjson"});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(FileExists("C:\\long\\texts.ndjson"));
}

TEST_F(WardletProgram, FailsWhereThereIsNoStandardOutput) {
  const std::string path = "C:\\trace.etl";
  WriteFile(path, TraceFile());
  const std::vector<std::string> lines[] = {
      {"version"}, {"--version"}, {"--help"}, {"trace", "info", path}, {"trace", "cat", path}};
  for (const auto& words : lines) {
    const Outcome outcome = WardletProcess(words, WardletProcess::Reader::kNone).Wait();
    EXPECT_EQ(outcome.exit_code, 1) << words.back();
    EXPECT_THAT(outcome.err, HasSubstr("output")) << words.back();
  }
}

TEST_F(WardletProgram, WritesNoFileWhereThereIsNoFolder) {
  const Outcome outcome = RunWardlet({"run", "--idle-exit", "1", "-o", "C:\\no folder\\texts.ndjson"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("wardlet run: C:\\no folder\\texts.ndjson: "));
}

TEST_F(WardletProgram, PassesOverATraceFileThatIsNotThere) {
  const std::string path =
      "C:\\Tr\xC3\xA4"
      "ce\\good.etl";
  WriteFile(path, TraceFile());
  const std::string missing =
      "C:\\Tr\xC3\xA4"
      "ce\\missing \xE6\x97\xA5.etl";
  const Outcome info = RunWardlet({"trace", "info", missing, path});
  EXPECT_EQ(info.exit_code, 1);
  EXPECT_THAT(info.out, StartsWith(path + "\n"));
  EXPECT_THAT(info.err, StartsWith("wardlet trace info: " + missing + ": "));
  EXPECT_EQ(info.err.find('\n'), info.err.size() - 1) << info.err;
  const Outcome folder = RunWardlet({"trace", "info", "C:\\Windows"});
  EXPECT_EQ(folder.exit_code, 1);
  EXPECT_EQ(folder.err, "wardlet trace info: C:\\Windows: is a folder\n");
}

TEST_F(WardletProgram, InstallsFromAFolderOfAnyNameAndUninstalls) {
  const Outcome installed = RunWardlet({"install", Product("Setup")});
  EXPECT_EQ(installed.exit_code, 0) << installed.err << ReadFile(kLog);
  EXPECT_EQ(installed.out, "");
  EXPECT_TRUE(KeyExists(kAutoLogger));
  EXPECT_EQ(ReadFile(Product("Wardlet\\symsrv.dll")), "library");
  EXPECT_EQ(ReadFile(Product("Wardlet\\symsrv.yes")), "yes");
  const Outcome again = RunWardlet({"install", Product("Setup")});
  EXPECT_EQ(again.exit_code, 0) << again.err;
  const Outcome uninstalled = RunWardlet({"uninstall"});
  EXPECT_EQ(uninstalled.exit_code, 0) << uninstalled.err;
  EXPECT_FALSE(KeyExists(kAutoLogger));
  EXPECT_TRUE(FileExists(Product("Wardlet\\symsrv.dll")));  // the registration goes and nothing else
}

TEST_F(WardletProgram, TellsAnInstallationThatFailsWithTheModulesNumber) {
  const Outcome outcome = RunWardlet({"install", "C:\\nothing here"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, HasSubstr("wardlet install: failed (0x"));
  EXPECT_THAT(outcome.err, EndsWith("the module's log tells more\n"));
  EXPECT_EQ(RunWardlet({"uninstall"}).exit_code, 0);
}

TEST_F(WardletProgram, RunsForItsTimeAndTellsItsCounts) {
  const std::string texts = "C:\\T\xC3\xA4xte \xE6\x97\xA5\\texts.ndjson";
  WriteFile(texts, "{\"cut\":");
  const Outcome outcome = RunWardlet({"run", "--duration", "1", "-o", texts});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err << ReadFile(kLog);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.err, StartsWith("wardlet run: "));
  EXPECT_THAT(outcome.err, HasSubstr(" texts"));
  EXPECT_THAT(ReadFile(texts), StartsWith("{\"cut\":\n"));  // the line that was cut is ended first
  EXPECT_THAT(ReadFile(kLog), HasSubstr("EtwConsumerStop func Out.\r\n"));
}

TEST_F(WardletProgram, RunsInSilenceUntilItIsIdle) {
  const Outcome outcome = RunWardlet({"run", "--idle-exit", "1", "-q", "--flags", "0"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.err, "");
}

// Wine's debugger engine opens no dump: each one fails in each pass.
TEST_F(WardletProgram, ComesToItsEndOverAFolderOfDumpsWhoseEngineKnowsLittle) {
  SetSmallDumps();
  WriteFile("C:\\Windows\\Minidump\\one.dmp", support::AsText(support::MakeDumpHeader(3)));
  WriteFile("C:\\Windows\\Minidump\\two.dmp", "no dump at all");
  const std::size_t before = ReadFile(kLog).size();
  const Outcome outcome = RunWardlet({"run", "--idle-exit", "3"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  const std::string log = ReadFile(kLog).substr(before);
  EXPECT_EQ(CountOf(log, "BsodDumpCallBack func check success is zero(failed.)"), 4u) << "each dump in each pass";
  EXPECT_THAT(log, HasSubstr("EtwConsumerStop func Out.\r\n"));
  EXPECT_FALSE(FileExists(Product("Host\\dbgeng.dll"))) << "the private copies are gone";
}

TEST_F(WardletProgram, FailsWhenItsTextsHaveNoPlace) {
  const std::string nowhere = "C:\\no such folder \xC3\xA4\\texts";
  const Outcome outcome = RunWardlet({"run", "--duration", "1", "-o", nowhere});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("wardlet run: " + nowhere + ": "));
}

}  // namespace
}  // namespace varnel::host
