// From a provider's event to the host's line, over a real machine folder with real processes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/loaded_module.h"
#include "host/text_counts.h"
#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

using host::ChildProcess;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

TEST(EndToEnd, EventsWrittenWhileNobodyRanAreDeliveredInOrder) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--count", "20", "--template", "mixed", "--size", "10:500"});
  const Numbers numbers = machine.RunModule();
  for (const std::string& provider : AllProviders()) EXPECT_EQ(numbers.at(provider), Range(1, 20)) << provider;
  EXPECT_THAT(numbers, SizeIs(7));
}

TEST(EndToEnd, EventsThatWaitInTheSessionsBuffersAreDeliveredToo) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--count", "1"});
  const Numbers numbers = NumbersOf(machine.Do({"run", "--idle-exit", "3", "--flags", "0"}));
  for (const std::string& provider : AllProviders()) EXPECT_EQ(numbers.at(provider), Range(1, 1)) << provider;
}

TEST(EndToEnd, EventsAreDeliveredWhileTheyAreWritten) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  auto run = machine.Start({"run", "-q", "-o", machine.File("texts")}, ChildProcess::Output::kInherited);
  // The module listens once its first event came; until then what is written waits in the session's file or ring.
  machine.Do({"machine", "emit", "--count", "1"});
  ASSERT_TRUE(WaitUntil([&] { return NumbersOf(ReadAll(machine.File("texts"))).size() == 7; }));
  machine.Do({"machine", "emit", "--count", "30", "--first", "2", "--rate", "400"});
  EXPECT_TRUE(WaitUntil([&] {
    const Numbers numbers = NumbersOf(ReadAll(machine.File("texts")));
    for (const auto& [provider, list] : numbers) {
      if (list.size() < 31) return false;
    }
    return true;
  }));
  run.Signal(SIGTERM);
  EXPECT_EQ(run.Wait(), 0);
  const Numbers numbers = NumbersOf(ReadAll(machine.File("texts")));
  for (const std::string& provider : AllProviders()) EXPECT_EQ(numbers.at(provider), Range(1, 31)) << provider;
}

TEST(EndToEnd, ManyThreadsOfOneProviderShareItsCounterAndLoseNothing) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--threads", "8", "--count", "400", "--rate", "2000"});
  auto numbers = machine.RunModule();
  std::sort(numbers["SourceUsb"].begin(), numbers["SourceUsb"].end());
  EXPECT_EQ(numbers["SourceUsb"], Range(1, 400));
}

TEST(EndToEnd, ModulesOfAProviderEachHaveTheirSequence) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do(
      {"machine", "emit", "--provider", "VirtualHid", "--count", "10", "--keyword", "0x80", "--keyword", "0x100"});
  machine.Flush();
  const std::string texts = machine.Do({"run", "--idle-exit", "3", "--flags", "0"});
  std::string of_first, of_second;
  std::istringstream in(texts);
  for (std::string line; std::getline(in, line);) {
    (line.find("\"Mod\":\"Module01\"") != std::string::npos ? of_first : of_second) += line + '\n';
  }
  EXPECT_THAT(NumbersOf(of_first)["VirtualHid"], ElementsAre(1, 3, 5, 7, 9));
  EXPECT_THAT(NumbersOf(of_second)["VirtualHid"], ElementsAre(2, 4, 6, 8, 10));
  EXPECT_THAT(of_second, HasSubstr("\"Mod\":\"Module02\""));
}

TEST(EndToEnd, WhatWasDeliveredDoesNotComeAgain) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--count", "5"});
  EXPECT_THAT(machine.RunModule(), SizeIs(7));
  EXPECT_THAT(machine.RunModule(), IsEmpty());
  EXPECT_THAT(machine.RunModule(), IsEmpty());
}

TEST(EndToEnd, WhatWasDeliveredDoesNotComeAgainAfterABoot) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--count", "5"});
  EXPECT_THAT(machine.RunModule(), SizeIs(7));
  machine.Do({"machine", "boot"});
  ASSERT_THAT(machine.TraceFiles(), testing::Contains(ScenarioMachine::AutoFile("001"))) << "to be read once more";
  EXPECT_THAT(machine.RunModule(), IsEmpty());
  EXPECT_THAT(machine.TraceFiles(), ElementsAre(ScenarioMachine::AutoFile("002"))) << "and it was";
}

TEST(EndToEnd, ARestartGoesOnWhereItWasButForTheEventBehindTheLastOne) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--count", "5"});
  machine.RunModule();
  machine.Do({"machine", "emit", "--count", "5", "--first", "6"});
  const Numbers numbers = machine.RunModule();
  for (const std::string& provider : AllProviders()) {
    // #5 is read again from the file; its repeat may take #6 along.
    EXPECT_THAT(numbers.at(provider), testing::AnyOf(Range(6, 10), Range(7, 10))) << provider;
  }
}

TEST(EndToEnd, EachBootWritesItsOwnFileAndBothAreReadInOrder) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  machine.Do({"machine", "emit", "--provider", "DestUsb", "--count", "3"});
  EXPECT_THAT(machine.Do({"machine", "boot"}), HasSubstr(ScenarioMachine::AutoFile("002")));
  machine.Do({"machine", "emit", "--provider", "DestUsb", "--count", "3", "--first", "4"});
  EXPECT_THAT(machine.TraceFiles(),
              testing::IsSupersetOf({ScenarioMachine::AutoFile("001"), ScenarioMachine::AutoFile("002")}));
  EXPECT_EQ(machine.RunModule().at("DestUsb"), Range(1, 6));
  // What was read is cleaned up, but for the file that the running session writes.
  EXPECT_THAT(machine.TraceFiles(), ElementsAre(ScenarioMachine::AutoFile("002")));
}

TEST(EndToEnd, ALeftOverFileIsDeliveredAndDeleted) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string path =
      machine.Do({"machine", "emit", "--file", "temp", "--event", "+0,1", "--event", "+10,2", "--event", "+10,3"});
  EXPECT_EQ(machine.RunModule().at("ProviderSample"), Range(1, 3));
  EXPECT_FALSE(std::filesystem::exists(path.substr(0, path.size() - 1)));
}

TEST(EndToEnd, ATraceFileOfSomebodyElseIsLeftAlone) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string path = machine.LogFolder() + "/other.etl";
  machine.Do({"machine", "emit", "--file", path, "--event", "+0,1"});
  EXPECT_THAT(machine.RunModule(), IsEmpty());
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(EndToEnd, AnEventWithoutTheDeliveryFlagMovesThePositionUnseen) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--file", "temp", "--event", "+0,1", "--event", "+10,2,flags=0", "--event", "+10,3"});
  EXPECT_THAT(machine.RunModule().at("ProviderSample"), ElementsAre(1, 3));
}

TEST(EndToEnd, AnEventOlderThanThePositionIsDropped) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--file", "temp", "--event", "1000,1"});
  EXPECT_THAT(machine.RunModule().at("ProviderSample"), ElementsAre(1));
  machine.Do({"machine", "emit", "--file", "temp", "--event", "999,2", "--event", "1001,3"});
  EXPECT_THAT(machine.RunModule().at("ProviderSample"), ElementsAre(3));
}

TEST(EndToEnd, AGapAndARestartOfTheCounterAreDeliveredAllTheSame) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--provider", "KelvoIDD", "--count", "6", "--gap-every", "3", "--restart-every", "5"});
  EXPECT_EQ(machine.RunModule().at("KelvoIDD"), Range(1, 6));
  const auto files = machine.TraceFiles();
  ASSERT_THAT(files, SizeIs(1));
  const std::string script = std::string(VARNEL_WARDLET) + " trace gaps '" + machine.LogFolder() + '/' + files[0] + "'";
  EXPECT_EQ(WEXITSTATUS(std::system((script + " >/dev/null").c_str())), 3);
}

TEST(EndToEnd, AfterUninstallTheNextBootStartsNoSessionAndTheModuleATemporaryOne) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  EXPECT_THAT(machine.Do({"machine", "registry", "HKLM\\SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger"}),
              HasSubstr("KelvoVarnelWardlet"));
  machine.Do({"uninstall"});
  EXPECT_THAT(machine.Wardlet({"machine", "registry", "HKLM\\SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger"}).out,
              Not(HasSubstr("KelvoVarnelWardlet")));
  EXPECT_THAT(machine.Do({"machine", "boot"}), Not(HasSubstr("started")));
  EXPECT_EQ(machine.Do({"machine", "sessions"}), "no session runs\n");
  machine.RunModule();
  EXPECT_THAT(machine.Do({"machine", "sessions"}), HasSubstr("KWDTempTrace"));
}

TEST(EndToEnd, InstallingTwiceIsHarmless) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  const std::string sessions = machine.Do({"machine", "sessions", "--json"});
  machine.Do({"install"});
  EXPECT_EQ(machine.Do({"machine", "sessions", "--json"}), sessions);
}

TEST(EndToEnd, AnInstallationWithoutItsFilesFailsAndSaysSo) {
  const ScenarioMachine machine;
  std::filesystem::remove(machine.root() + "/C/Program Files/Varnel/Setup/symsrv.dll");
  const Outcome outcome = machine.Wardlet({"install"});
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("wardlet install: failed (0x80004005): at the end of "
                                     "C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt "
                                     "the module's log tells more\n"));
}

TEST(EndToEnd, AMachineDoesNotBootUnderTheModule) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  auto run = machine.Start({"run", "-q", "-o", machine.File("texts")}, ChildProcess::Output::kInherited);
  machine.Do({"machine", "emit", "--count", "1"});
  ASSERT_TRUE(WaitUntil([&] { return !ReadAll(machine.File("texts")).empty(); }));
  const Outcome boot = machine.Wardlet({"machine", "boot"});
  EXPECT_EQ(boot.exit_code, 1);
  EXPECT_THAT(boot.err, HasSubstr(machine.root()));
  EXPECT_THAT(machine.Do({"machine", "sessions"}), HasSubstr("KelvoVarnelWardlet"));
  run.Signal(SIGINT);
  EXPECT_EQ(run.Wait(), 0);
  machine.Do({"machine", "boot"});
}

TEST(EndToEnd, ATextThatCannotBeWrittenComesAgain) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "1"});
  const Outcome full = machine.Wardlet({"run", "-o", "/dev/full", "--idle-exit", "3"});
  EXPECT_EQ(full.exit_code, 1);
  EXPECT_THAT(full.err, HasSubstr("wardlet run: /dev/full: No space left on device"));
  EXPECT_EQ(machine.RunModule().at("SourceUsb"), Range(1, 1));
}

TEST(EndToEnd, ARunTellsWhatItCounted) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--count", "2", "--provider", "SourceUsb", "--provider", "KelvoIDD"});
  machine.Flush();
  const Outcome run = machine.Wardlet({"run", "--idle-exit", "3", "--flags", "0"});
  EXPECT_THAT(run.err, HasSubstr("wardlet run: 5 texts: 4 events (SourceUsb 2, KelvoIDD 2), 1 crash event; lost by "
                                 "the sessions: 0 events, 0 buffers; "));
  const Outcome quiet = machine.Wardlet({"run", "--duration", "0.1", "-q"});
  EXPECT_EQ(quiet.err, "");
}

TEST(EndToEnd, BytesThatAreNoUtf8AreShownReplacedAndCounted) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--file", "temp", "--event", "-"}, "+0,1,text=#1 \xFF\xFE!\n");
  const Outcome run = machine.Wardlet({"run", "--idle-exit", "3", "--flags", "0"});
  EXPECT_THAT(run.out, HasSubstr("#1 \xEF\xBF\xBD\xEF\xBF\xBD!"));
  EXPECT_THAT(run.err, HasSubstr("; 2 bytes were no UTF-8 and are shown as U+FFFD; "));
}

TEST(EndToEnd, ARestartOfTheHostEndsTheSessionAndItsFileIsReadAsFarAsItGoes) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "boot"});
  // #1 is in the file, since #2 closed its buffer, which was older than the flush timer by then; #2 was in memory.
  machine.Do({"machine", "emit", "--provider", "KelvoIDD", "--count", "2", "--rate", "0.8"});
  ::setenv("VARNEL_HOST_BOOT_ID", "another-boot-of-the-host", 1);
  EXPECT_EQ(machine.Do({"machine", "sessions"}), "no session runs\n");
  EXPECT_EQ(machine.RunModule().at("KelvoIDD"), Range(1, 1));
  EXPECT_THAT(machine.Do({"machine", "sessions"}), HasSubstr("KWDTempTrace"));
  // With a temporary session running the boot's file stays, and is read again; nothing of it comes twice.
  EXPECT_THAT(machine.TraceFiles(), testing::Contains(ScenarioMachine::AutoFile("001")));
  EXPECT_THAT(machine.RunModule(), IsEmpty());
  ::unsetenv("VARNEL_HOST_BOOT_ID");
}

std::uint32_t CountText(void* context, const char* json_text) {
  auto* numbers = static_cast<std::atomic<int>*>(context);
  std::string provider;
  if (host::Classify(json_text, &provider) == host::TextKind::kEvent) ++*numbers;
  return 0;
}

TEST(EndToEnd, AHostMayUnloadTheModuleAndLoadItAgain) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  ::setenv("VARNEL_MACHINE", machine.root().c_str(), 1);
  for (int round = 1; round <= 2; ++round) {
    machine.Do({"machine", "emit", "--file", "temp", "--event", "+0,1", "--event", "+10,2"});
    std::atomic<int> texts{0};
    const auto module = host::LoadedModule::Load(VARNEL_MODULE_FILE);
    ASSERT_TRUE(module.ok()) << module.error().message;
    ASSERT_EQ(module.value()->tool()->Start(0, &CountText, &texts), VNSTAT_SUCCESS);
    EXPECT_TRUE(WaitUntil([&] { return texts >= 2; })) << round;
    EXPECT_EQ(module.value()->tool()->Stop(), VNSTAT_SUCCESS);
    EXPECT_EQ(texts, 2) << round;
  }
  ::unsetenv("VARNEL_MACHINE");
}

TEST(EndToEnd, AnOutputThatWasCutIsEndedBeforeTheNextText) {
  const ScenarioMachine machine;
  machine.Do({"install"});
  machine.Do({"machine", "emit", "--provider", "SourceUsb", "--count", "1"});
  std::ofstream(machine.File("texts")) << "{\"cut";
  machine.Do({"run", "--idle-exit", "3", "--flags", "0", "-o", machine.File("texts")});
  const std::string texts = ReadAll(machine.File("texts"));
  EXPECT_THAT(texts, testing::StartsWith("{\"cut\n{\"WardletVersion\""));
  EXPECT_THAT(texts, EndsWith("}\n"));
}

}  // namespace
}  // namespace varnel::scenario
