// The analyzer's dumps on a real machine folder: found, recorded, and found again by the next process, also when one
// was killed or the disk was full meanwhile.
#include "tests/analyzer/dump_machine.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "tests/analyzer/analyzer_fixture.h"

extern char** environ;

namespace varnel::testing {
namespace {

bool Always(RunStep) {
  return true;
}

DumpRunOutcome RunHere() {
  return RunOverDumps(kProduct, Always);
}

struct ChildEnd {
  bool killed = false;
  unsigned changing_calls = 0;
};

/// Runs over the dumps in a process of its own, which dies before its n-th changing call.
ChildEnd RunInAChild(const std::string& root, unsigned nth) {
  std::string number = std::to_string(nth);
  std::string machine = root;
  std::string program = VARNEL_DUMP_RUN_CHILD;
  char* arguments[] = {program.data(), machine.data(), number.data(), nullptr};
  int from_child[2];
  EXPECT_EQ(::pipe2(from_child, O_CLOEXEC), 0);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, from_child[1], STDOUT_FILENO);
  pid_t child = 0;
  EXPECT_EQ(::posix_spawn(&child, program.c_str(), &actions, nullptr, arguments, environ), 0);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(from_child[1]);
  char told[32] = {};
  const ssize_t size = ::read(from_child[0], told, sizeof told - 1);
  ::close(from_child[0]);
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  EXPECT_TRUE(killed || (WIFEXITED(status) && WEXITSTATUS(status) == 0 && size > 0));
  return {killed, static_cast<unsigned>(std::atoi(told))};
}

/// For its scope no file of this process grows beyond so many bytes: the host then answers as on a full disk.
class SmallDisk {
 public:
  explicit SmallDisk(rlim_t bytes) : handler_(::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    rlimit small = before_;
    small.rlim_cur = bytes;
    ::setrlimit(RLIMIT_FSIZE, &small);
  }
  ~SmallDisk() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    ::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TextList Identities(unsigned count) {
  TextList list;
  for (unsigned i = 0; i < count; ++i) list.push_back(IdentityOf("dump " + std::to_string(i), 1));
  return list;
}

TEST(DumpMachineTest, ANewMachinesSettingsAreReadThroughItsRegistry) {
  DumpMachine machine;
  CrashDumpConfig config;
  EXPECT_EQ(CrashDumpConfigManager().GetCurrentConfig(&config), 0);
  EXPECT_EQ(config.enabled, 1u);
  EXPECT_EQ(config.dumpPath, u"C:\\Windows\\Minidump\\*.dmp");
}

TEST(DumpMachineTest, ADumpsIdentityIsThatOfItsBytesAndTimes) {
  DumpMachine machine;
  std::string bytes(300'000, 'x');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * i / 7);
  for (const std::size_t size : {1u, 65'536u, 131'072u, 131'073u, 300'000u}) {
    const std::u16string path = machine.AddDump("a.dmp", bytes.substr(0, size), 1);
    std::u16string identity;
    EXPECT_EQ(CalcDumpIdentity(path, &identity), 0);
    EXPECT_EQ(identity, machine.State().dumps.at(path).identity) << size;
  }
}

TEST(DumpMachineTest, ADumpWithoutAByteIsOfferedEachTime) {
  DumpMachine machine;
  const std::u16string path = machine.AddDump("empty.dmp", "", 1);
  RunHere();
  const DumpRunOutcome again = RunHere();
  EXPECT_EQ(again.told,
            (std::vector<ToldDump>{{DumpKind::kNoSymbol, path, true}, {DumpKind::kWithSymbol, path, true}}));
}

TEST(DumpMachineTest, AFirstRunIsToldWrittenDownAndNotToldAgainByTheNextProcess) {
  DumpMachine machine;
  for (unsigned i = 0; i < 8; ++i) machine.AddDump(std::to_string(i) + ".dmp", "dump " + std::to_string(i), i);
  DumpModel model = machine.State();
  const DumpRunOutcome outcome = RunHere();
  EXPECT_EQ(outcome.told, model.Run(Always).told);
  EXPECT_EQ(outcome.told.size(), 10u) << "the newest five, in both kinds";
  EXPECT_FALSE(outcome.told[0].important);
  EXPECT_EQ(machine.Marker(DumpKind::kNoSymbol), MarkerBytes(*model.no_symbol.marker));
  EXPECT_EQ(machine.Marker(DumpKind::kWithSymbol), MarkerBytes(*model.with_symbol.marker));
  machine.Close();
  machine.Open();
  EXPECT_TRUE(RunHere().told.empty());
  const std::u16string fresh = machine.AddDump("new.dmp", "new", 99);
  EXPECT_EQ(RunHere().told,
            (std::vector<ToldDump>{{DumpKind::kNoSymbol, fresh, true}, {DumpKind::kWithSymbol, fresh, true}}));
}

TEST(DumpMachineTest, AMarkersRewriteOnAFullDiskIsToldAndLeavesWholeLinesInFront) {
  DumpMachine machine;
  CrashDumpConfigManager manager;
  const TextList identities = Identities(1000);
  {
    const SmallDisk disk(40'000);
    EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, identities), HrOf(112));
  }
  const std::string bytes = machine.Marker(DumpKind::kNoSymbol);
  EXPECT_EQ(bytes, MarkerBytes(identities).substr(0, bytes.size()));
  EXPECT_GT(bytes.size(), 39'000u);
  EXPECT_LE(bytes.size(), 40'000u);
  TextList read;
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &read), 0);
  for (std::size_t i = 0; i + 1 < read.size(); ++i) ASSERT_EQ(read[i], identities[i]);
  EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, identities), 0) << "when there is room again";
  EXPECT_EQ(machine.Marker(DumpKind::kNoSymbol), MarkerBytes(identities));
}

TEST(DumpMachineTest, ADumpThatCannotBeRecordedOnAFullDiskIsToldAgain) {
  DumpMachine machine;
  CrashDumpConfigManager manager;
  ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, Identities(100)), 0);
  ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerWithSymbol, {}), 0);
  const std::u16string dump = machine.AddDump("a.dmp", "bytes", 1);
  {
    const SmallDisk disk(2 + 100 * 68);
    EXPECT_EQ(manager.AddAnalyzedDump(dump, kProduct, kMarkerNoSymbol), HrOf(112));
  }
  TextList read;
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &read), 0);
  EXPECT_EQ(read, Identities(100)) << "what was recorded before is still there";
  EXPECT_EQ(RunHere().told.front(), (ToldDump{DumpKind::kNoSymbol, dump, true}));
}

TEST(DumpMachineTest, AMarkerThatAnotherProcessHoldsOpenIsASharingViolation) {
  DumpMachine machine;
  CrashDumpConfigManager manager;
  ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {}), 0);
  const std::u16string path = manager.GetMarkerFilePath(kProduct, kMarkerNoSymbol);
  const auto writer =
      machine.ports().files->CreateFileW(path.c_str(), platform::kGenericWrite, 0, platform::kOpenExisting, 0);
  TextList read;
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &read), HrOf(32));
  EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {}), HrOf(32));
  machine.ports().system->CloseHandle(writer);
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &read), 0);
}

/// Kills a first run over eight dumps before its n-th changing call and takes the next run beside the model of what
/// was left. False when the run came to its end before.
bool KillAndGoOn(unsigned nth) {
  DumpMachine machine;
  for (unsigned i = 0; i < 8; ++i) machine.AddDump(std::to_string(i) + ".dmp", "dump " + std::to_string(i), i);
  machine.Close();
  const ChildEnd end = RunInAChild(machine.root(), nth);
  machine.Open();
  DumpModel model = machine.State();
  const DumpRunOutcome expected = model.Run(Always);
  const DumpRunOutcome outcome = RunHere();
  EXPECT_EQ(outcome.prepared, 0);
  EXPECT_EQ(outcome.firstRunNoSymbol, expected.firstRunNoSymbol);
  EXPECT_EQ(outcome.firstRunWithSymbol, expected.firstRunWithSymbol);
  EXPECT_EQ(outcome.told, expected.told);
  const DumpModel after = machine.State();
  for (const auto& [path, dump] : after.dumps) {
    for (const ModelKind* kind : {&after.no_symbol, &after.with_symbol}) {
      EXPECT_EQ(std::count(kind->marker->begin(), kind->marker->end(), dump.identity), 1) << "recorded, and once";
    }
  }
  EXPECT_TRUE(RunHere().told.empty()) << "and nothing is left to tell";
  return end.killed;
}

// The registry's values and the marker's lines are each written by one call: what a run finds after a kill is one of
// the states between them, whatever else the process did meanwhile.
TEST(DumpMachineTest, AfterAKillBeforeAnyChangeTheNextRunTellsWhatTheModelTells) {
  unsigned nth = 1;
  unsigned step = 1;
  for (; KillAndGoOn(nth) && !::testing::Test::HasFailure(); nth += step) {
    step = nth % 7 + 1;  // some are left out: the next is never far
  }
  EXPECT_GT(nth, 100u);
}

TEST(DumpMachineTest, AKillInsideARewriteLosesTheLinesBehindItAndTheirDumpsAreToldAgain) {
  DumpMachine machine;
  TextList identities;
  std::vector<std::u16string> dumps;
  for (unsigned i = 0; i < 4; ++i) {
    dumps.push_back(machine.AddDump(std::to_string(i) + ".dmp", "dump " + std::to_string(i), i));
    identities.push_back(machine.State().dumps.at(dumps[i]).identity);
  }
  CrashDumpConfigManager manager;
  ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {identities[0], identities[1], identities[2]}), 0);
  ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerWithSymbol, identities), 0);
  machine.Close();
  // The run adds the fourth dump; it opens the marker, writes the mark and so many lines.
  bool lost_two = false;
  for (unsigned nth = 1; !lost_two && RunInAChild(machine.root(), nth).killed; ++nth) {
    machine.Open();
    lost_two = machine.Marker(DumpKind::kNoSymbol) == MarkerBytes({identities[0]});
    if (!lost_two) {
      ASSERT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {identities[0], identities[1], identities[2]}), 0);
      machine.Close();
    }
  }
  ASSERT_TRUE(lost_two);
  const std::vector<ToldDump> again = RunHere().told;
  EXPECT_EQ(again, (std::vector<ToldDump>{{DumpKind::kNoSymbol, dumps[3], true},
                                          {DumpKind::kNoSymbol, dumps[2], true},
                                          {DumpKind::kNoSymbol, dumps[1], true}}));
}

}  // namespace
}  // namespace varnel::testing
