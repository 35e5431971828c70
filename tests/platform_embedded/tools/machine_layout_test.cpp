#include "platform/embedded/tools/machine_layout.h"

#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

class MachineLayoutTest : public MachineFixture {};

TEST_F(MachineLayoutTest, TheDriveHasTheFoldersAndStandInsThatTheModuleLooksFor) {
  MakeMachine();
  const std::string drive = machine_->DrivePath('C') + '/';
  for (const char* folder :
       {"Windows/System32/LogFiles/WMI", "Windows/Temp", "ProgramData", "Program Files/Varnel/Wardlet"}) {
    EXPECT_TRUE(fs::is_directory(drive + folder)) << folder;
  }
  for (const char* file :
       {"Windows/System32/kernel32.dll", "Windows/System32/dbgeng.dll", "Windows/System32/dbghelp.dll",
        "ProgramData/KelvoVarnels/{4A234956-2B7D-4221-BADF-12593BD342A8}/symsrv.dll",
        "Program Files/Varnel/Wardlet/VarnelWardlet.dll", "Program Files/Varnel/Host/wardlet.exe",
        "Program Files/Varnel/Setup/symsrv.dll", "Program Files/Varnel/Setup/symsrv.yes"}) {
    EXPECT_TRUE(fs::is_regular_file(drive + file)) << file;
  }
}

TEST_F(MachineLayoutTest, InstallationHasBothFilesToCopyAndTheModulesFolderHasNeither) {
  MakeMachine();
  const std::string varnel = machine_->DrivePath('C') + "/Program Files/Varnel";
  EXPECT_TRUE(fs::exists(varnel + "/Setup/symsrv.yes"));
  EXPECT_FALSE(fs::exists(varnel + "/Wardlet/symsrv.dll"));
  EXPECT_FALSE(fs::exists(varnel + "/Wardlet/symsrv.yes"));
  EXPECT_FALSE(fs::exists(varnel + "/Host/VarnelWardlet.dll"));
}

TEST_F(MachineLayoutTest, TheModuleIsRegisteredWithItsPath) {
  MakeMachine();
  const OpenKey key = Key(u"SOFTWARE\\KelvoCLSID\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\InprocServer32");
  ASSERT_TRUE(key.is_open());
  EXPECT_EQ(key.Text(nullptr), kModulePath);
}

TEST_F(MachineLayoutTest, NoAutoLoggerIsRegisteredYet) {
  MakeMachine();
  const OpenKey key = Key(u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger");
  ASSERT_TRUE(key.is_open());
  EXPECT_TRUE(key.SubKeys().empty());
}

TEST_F(MachineLayoutTest, CrashDumpsAreConfiguredAsOnAFreshSystem) {
  MakeMachine();
  const OpenKey key = Key(u"SYSTEM\\CurrentControlSet\\Control\\CrashControl");
  EXPECT_EQ(key.Number(u"CrashDumpEnabled"), 7u);
  EXPECT_EQ(key.Text(u"MinidumpDir"), u"%SystemRoot%\\Minidump");
}

TEST_F(MachineLayoutTest, ItsRegistryIsOnTheDiskWhenItIsMade) {
  MakeMachine();
  EXPECT_TRUE(fs::exists(machine_->RegistryPath() + "/copy"));
  registry_.reset();
  StoreOptions options;
  options.host_boot_id = "another boot";
  registry_ = std::make_unique<LmdbRegistry>(machine_->RegistryPath(), options);
  EXPECT_TRUE(Key(u"SOFTWARE\\KelvoCLSID").is_open());
}

TEST_F(MachineLayoutTest, AFolderThatHoldsSomethingIsLeftAsItWas) {
  fs::create_directory(folder_ + "/m");
  std::ofstream(folder_ + "/m/mine") << "x";
  const auto made = NewMachine(folder_ + "/m");
  ASSERT_FALSE(made.ok());
  EXPECT_NE(made.error().message.find(folder_ + "/m"), std::string::npos);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ + "/m"), fs::directory_iterator()), 1);
}

TEST_F(MachineLayoutTest, AMachineThatCannotBeFinishedIsRemovedAgain) {
  const std::string small = folder_ + "/small";
  fs::create_directory(small);
  if (::mount("none", small.c_str(), "tmpfs", 0, "size=64k,nr_inodes=20") != 0) {
    GTEST_SKIP() << "no small disk can be mounted here";
  }
  const auto made = NewMachine(small + "/m");
  EXPECT_FALSE(made.ok());
  EXPECT_FALSE(fs::exists(small + "/m"));
  EXPECT_EQ(::umount2(small.c_str(), MNT_DETACH), 0);
}

TEST_F(MachineLayoutTest, AMachineWhoseMakingIsKilledIsNone) {
  const std::string root = folder_ + "/m";
  const pid_t child = ::fork();
  if (child == 0) {
    // The registry's store grows beyond what a file may have, and the signal ends the process there.
    const rlimit largest = {4096, 4096};
    ::setrlimit(RLIMIT_FSIZE, &largest);
    ::signal(SIGXFSZ, SIG_DFL);
    static_cast<void>(NewMachine(root));
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  EXPECT_TRUE(fs::exists(root + "/C/Windows/System32/kernel32.dll"));
  EXPECT_FALSE(Machine::Open(root).ok());
}

TEST_F(MachineLayoutTest, AnEmptyFolderBecomesAMachine) {
  fs::create_directory(folder_ + "/m");
  EXPECT_TRUE(NewMachine(folder_ + "/m").ok());
  EXPECT_TRUE(Machine::Open(folder_ + "/m").ok());
}

}  // namespace
}  // namespace varnel::embedded
