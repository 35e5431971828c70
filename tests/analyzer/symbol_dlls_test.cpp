#include "analyzer/symbol_dlls.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>

#include "base/log.h"
#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class SymbolDlls : public RunFixture {
 protected:
  SymbolDlls() {
    EXPECT_EQ(StaticInitialize(kProductData), 0);
    plan.Clear();
    LogOnly(LOG_ERROR);
  }
  void LogOnly(std::uint32_t levels) {
    WrapLogInit(levels, nullptr);
    machine.system.ClearDebug();
  }
  bool Has(const std::u16string& name) const { return machine.files.Exists(kHostFolder + u"\\" + name); }
  /// The files that the log names as not deleted for want of access, in its order.
  std::vector<std::string> NotDeleted() const {
    const std::string begin = "[Error] Failed to delete ";
    const std::string end = ": 0x00000005\n";
    std::vector<std::string> names;
    for (const std::string& line : machine.system.DebugLines()) {
      const std::size_t at = line.find(begin);
      EXPECT_TRUE(at != std::string::npos && line.ends_with(end)) << line;
      if (at == std::string::npos) continue;
      names.push_back(line.substr(at + begin.size(), line.size() - end.size() - at - begin.size()));
    }
    return names;
  }
};

TEST_F(SymbolDlls, StandInTheHostsFolderWhileTheyAreUsed) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\dbghelp.dll"), "helper");
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\dbgeng.dll"), "engine");
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\symsrv.dll"), "server");
  EXPECT_TRUE(Has(u"symsrv.yes"));
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\symsrv.yes"), "");
  ReleaseSymbolDlls();
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, OfASecondUserAreTheSameAndStayUntilTheLast) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  plan.Clear();
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_EQ(plan.CountOf("CopyFileW"), 0u);
  EXPECT_EQ(plan.CountOf("GetFileAttributesW"), 0u);
  ReleaseSymbolDlls();
  EXPECT_EQ(plan.CountOf("DeleteFileW"), 0u);
  EXPECT_TRUE(Has(u"dbgeng.dll"));
  ReleaseSymbolDlls();
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, AreDeletedByAReleaseThatNobodyAcquired) {
  machine.files.AddFile(kHostFolder + u"\\dbgeng.dll", "left");
  ReleaseSymbolDlls();
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(AcquireSymbolDlls(), 0);  // the count did not fall below 0
  EXPECT_TRUE(Has(u"dbgeng.dll"));
  ReleaseSymbolDlls();
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, LeftByADeadProcessGoAtTheStart) {
  for (const char16_t* name : {u"\\dbghelp.dll", u"\\dbgeng.dll", u"\\symsrv.dll", u"\\symsrv.yes"}) {
    machine.files.AddFile(kHostFolder + name, "left");
  }
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(SymbolDlls, ThatCannotBeDeletedAreNamedAndTheOthersGo) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  machine.files.SetInUse(kHostFolder + u"\\dbghelp.dll", true);
  ReleaseSymbolDlls();
  EXPECT_TRUE(Logged("[Error] Failed to delete dbghelp.dll: 0x00000020\n"));
  EXPECT_TRUE(Has(u"dbghelp.dll"));
  EXPECT_FALSE(Has(u"dbgeng.dll"));
  EXPECT_FALSE(Has(u"symsrv.yes"));
  machine.files.SetInUse(kHostFolder + u"\\dbghelp.dll", false);
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, NeedTheHostsPathAtTheStart) {
  plan.Fail("GetModuleFileNameW", 5);
  EXPECT_EQ(StaticInitialize(kProductData), HrOf(5));
}

TEST_F(SymbolDlls, NeedAHostWithAFolder) {
  machine.system.host_path = u"wardlet.exe";
  EXPECT_EQ(StaticInitialize(kProductData), HrOf(161));
  ReleaseSymbolDlls();
  EXPECT_TRUE(Logged("[Error] Cannot get current process directory\n"));
  EXPECT_EQ(plan.CountOf("DeleteFileW"), 0u);
}

TEST_F(SymbolDlls, AreNamedAlsoWhenTheirFolderIsGone) {
  plan.Fail("DeleteFileW", 3);  // only a file that is not there goes without a line
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_EQ(machine.system.DebugLines().size(), 1u);
  EXPECT_TRUE(Logged("[Error] Failed to delete dbghelp.dll: 0x00000003\n"));
}

TEST_F(SymbolDlls, TakeThePlaceOfWhatStandsThere) {
  for (const char16_t* name : {u"\\dbghelp.dll", u"\\dbgeng.dll", u"\\symsrv.dll", u"\\symsrv.yes"}) {
    machine.files.AddFile(kHostFolder + name, "old");
  }
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\dbghelp.dll"), "helper");
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\dbgeng.dll"), "engine");
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\symsrv.dll"), "server");
  EXPECT_EQ(machine.files.Contents(kHostFolder + u"\\symsrv.yes"), "");
  ReleaseSymbolDlls();
}

// The other one comes while the first of the three files has just been copied.
TEST_F(SymbolDlls, OfASecondUserAreWaitedForUntilAllOfThemStand) {
  std::future<bool> second;
  plan.After("CopyFileW", 1, [&] {
    second = std::async(std::launch::async, [&] { return AcquireSymbolDlls() == 0 && Has(u"symsrv.yes"); });
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  });
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  ASSERT_TRUE(second.valid());
  EXPECT_TRUE(second.get());
  EXPECT_EQ(plan.CountOf("CopyFileW"), 3u);
  ReleaseSymbolDlls();
  EXPECT_TRUE(HasCopies());
  ReleaseSymbolDlls();
}

class CopiesInUse : public SymbolDlls, public ::testing::WithParamInterface<std::uint32_t> {};
TEST_P(CopiesInUse, CountAsCopied) {
  plan.FailForEver("CopyFileW", GetParam());
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(Has(u"symsrv.yes"));
  ReleaseSymbolDlls();
}
INSTANTIATE_TEST_SUITE_P(SharingViolationAndAccessDenied, CopiesInUse, ::testing::Values(32u, 5u));

TEST_F(SymbolDlls, AreEnoughWithoutTheServersClient) {
  machine.files.Remove(kProductData + u"\\symsrv.dll");
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(Has(u"dbghelp.dll"));
  EXPECT_TRUE(Has(u"dbgeng.dll"));
  EXPECT_FALSE(Has(u"symsrv.dll"));
  EXPECT_TRUE(Has(u"symsrv.yes"));
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, AreEnoughWithOneOfTheSystemFolderAndTheServersClient) {
  machine.files.Remove(kSystemFolder + u"\\dbghelp.dll");
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_FALSE(Has(u"dbghelp.dll"));
  EXPECT_TRUE(Has(u"dbgeng.dll"));
  EXPECT_TRUE(Has(u"symsrv.dll"));
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, AreTooFewWithoutBothOfTheSystemFolder) {
  machine.files.Remove(kSystemFolder + u"\\dbghelp.dll");
  machine.files.Remove(kSystemFolder + u"\\dbgeng.dll");
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(2));
  EXPECT_TRUE(Has(u"symsrv.yes"));  // one copy was made
  machine.files.AddFile(kSystemFolder + u"\\dbghelp.dll", "helper");
  plan.Clear();
  EXPECT_EQ(AcquireSymbolDlls(), 0);  // the count is back where it was, so that copies are made
  EXPECT_EQ(plan.CountOf("CopyFileW"), 2u);
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, GiveTheLastFailureOfTooFewCopies) {
  plan.FailForEver("CopyFileW", 112);
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(112));
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, GiveTheFailureOfTheLaterFileOfTwo) {
  machine.files.Remove(kSystemFolder + u"\\dbghelp.dll");
  plan.Fail("CopyFileW", 112);  // dbgeng.dll, which comes second
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(112));
  machine.files.AddFile(kSystemFolder + u"\\dbghelp.dll", "helper");
  machine.files.Remove(kProductData + u"\\symsrv.dll");
  plan.Fail("CopyFileW", 112);  // dbghelp.dll, before the one that is missing
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(2));
}

/// The files port, with how it was asked for a file.
class AskedFiles : public FaultyFiles {
 public:
  using FaultyFiles::FaultyFiles;

  platform::HANDLE CreateFileW(const char16_t* path, std::uint32_t access, std::uint32_t share,
                               std::uint32_t disposition, std::uint32_t attributes) override {
    asked.push_back({access, share, disposition, attributes});
    return FaultyFiles::CreateFileW(path, access, share, disposition, attributes);
  }
  std::vector<std::vector<std::uint32_t>> asked;
};

TEST_F(SymbolDlls, HaveASwitchFileThatIsMadeAnewAndSharedWithNobody) {
  FaultPlan no_faults;
  AskedFiles files(&machine.files, &no_faults);
  platform::Platform ports = platform::CurrentPlatform();
  ports.files = &files;
  {
    const platform::ScopedPlatform in_force(&ports);
    EXPECT_EQ(AcquireSymbolDlls(), 0);
  }
  EXPECT_EQ(files.asked, (std::vector<std::vector<std::uint32_t>>{{0x40000000, 0, 2, 128}}));
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, DoWithoutTheSwitchFile) {
  plan.FailForEver("CreateFileW", 5);
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_FALSE(Has(u"symsrv.yes"));
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, NeedASourceFolder) {
  EXPECT_EQ(StaticInitialize(u""), 0);
  EXPECT_EQ(AcquireSymbolDlls(), kEFail);
  EXPECT_TRUE(Logged("[Error] DLL source directory not set, please call StaticInitialize first\n"));
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(HasCopies());  // the failed acquire counted nothing
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, NeedTheHostsFolder) {
  machine.system.host_path = u"\\wardlet.exe";  // nothing stands before its backslash
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_EQ(AcquireSymbolDlls(), kEFail);
  EXPECT_TRUE(Logged("[Error] Process directory not set, please call StaticInitialize first\n"));
  EXPECT_EQ(plan.CountOf("CopyFileW"), 0u);
  machine.system.host_path = kHostFolder + u"\\wardlet.exe";
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(HasCopies());  // the failed acquire counted nothing
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, AreDeletedAtTheStartInTheirOrderEachWithItsLine) {
  plan.FailForEver("DeleteFileW", 5);
  EXPECT_EQ(StaticInitialize(kProductData), 0);
  EXPECT_EQ(NotDeleted(), (std::vector<std::string>{"dbghelp.dll", "dbgeng.dll", "symsrv.dll", "symsrv.yes"}));
}

TEST_F(SymbolDlls, AreDeletedAtTheReleaseInAnotherOrderEachWithItsLine) {
  const std::vector<std::string> order = {"dbghelp.dll", "symsrv.dll", "dbgeng.dll", "symsrv.yes"};
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  plan.FailForEver("DeleteFileW", 5);
  ReleaseSymbolDlls();
  EXPECT_EQ(NotDeleted(), order);
  machine.system.ClearDebug();
  DeleteSymbolDlls();
  EXPECT_EQ(NotDeleted(), order);
}

TEST_F(SymbolDlls, NeedTheSystemFolder) {
  plan.Fail("GetSystemDirectoryW", 5);
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(5));
  EXPECT_TRUE(Logged("[Error] Cannot get System32 directory\n"));
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(HasCopies());
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, NeedASystemFolderWhoseNameHasRoom) {
  machine.system.system_directory = std::u16string(260, u'a');
  AcquireSymbolDlls();
  EXPECT_TRUE(Logged("[Error] Cannot get System32 directory\n"));
  EXPECT_EQ(plan.CountOf("CopyFileW"), 0u);
  machine.system.ClearDebug();
  machine.system.system_directory.pop_back();
  EXPECT_EQ(AcquireSymbolDlls(), HrOf(2));  // the longest name; nothing of its files is there
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(SymbolDlls, MakeTheirLockOnceUntilTheCleanup) {
  CleanupSymbolFiles(nullptr);
  plan.Clear();
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  ReleaseSymbolDlls();
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 1u);
  CleanupSymbolFiles(nullptr);
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 1u);
  ReleaseSymbolDlls();
  EXPECT_EQ(plan.CountOf("InitializeCriticalSection"), 2u);
}

TEST_F(SymbolDlls, AreCleanedUpWithoutTheirUsersBeingForgotten) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  CleanupSymbolFiles(nullptr);
  EXPECT_FALSE(HasCopies());
  EXPECT_EQ(AcquireSymbolDlls(), 0);  // counts as the second
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, GoBeforeTheirCacheAtTheCleanup) {
  const AnalysisState state(kProduct);
  machine.files.AddFolder(kHostFolder + u"\\sym");
  LogOnly(LOG_ERROR | LOG_DETAIL);
  plan.FailForEver("DeleteFileW", 5);
  CleanupSymbolFiles(&state);
  const std::vector<std::string> lines = machine.system.DebugLines();
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_NE(lines[3].find("Failed to delete symsrv.yes"), std::string::npos);
  EXPECT_NE(lines[4].find("[Info] Symbol cache directory deleted successfully"), std::string::npos);
}

TEST_F(SymbolDlls, NeedTheirLock) {
  plan.FailForEver("InitializeCriticalSection", 8);
  CleanupSymbolFiles(nullptr);  // the next use creates the lock again
  EXPECT_EQ(AcquireSymbolDlls(), kEFail);
  EXPECT_TRUE(Logged("[Error] Cannot initialize critical section lock\n"));
  machine.system.ClearDebug();
  ReleaseSymbolDlls();
  EXPECT_TRUE(Logged("[Error] Cannot initialize critical section lock\n"));
  EXPECT_FALSE(HasCopies());
}

TEST_F(SymbolDlls, AreNotReleasedWithoutTheHostsPath) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  plan.Fail("GetModuleFileNameW", 5);
  ReleaseSymbolDlls();
  EXPECT_TRUE(Logged("[Error] Cannot get current process directory\n"));
  EXPECT_TRUE(HasCopies());
}

TEST_F(SymbolDlls, AreDeletedWhoeverUsesThem) {
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  DeleteSymbolDlls();
  EXPECT_FALSE(HasCopies());
  plan.Fail("GetModuleFileNameW", 5);
  machine.system.ClearDebug();
  DeleteSymbolDlls();
  EXPECT_EQ(machine.system.DebugText(), "");
  ReleaseSymbolDlls();
  ReleaseSymbolDlls();
}

TEST_F(SymbolDlls, TheirCacheGoesWithAllThatItHolds) {
  const AnalysisState state(kProduct);
  machine.files.AddFile(kHostFolder + u"\\sym\\ntkrnlmp.pdb\\1\\ntkrnlmp.pdb", "pdb");
  LogOnly(LOG_DETAIL);
  DeleteSymbolCacheDir(&state);
  EXPECT_FALSE(machine.files.Exists(kHostFolder + u"\\sym"));
  EXPECT_TRUE(Logged("[Info] Symbol cache directory deleted successfully\n"));
  machine.system.ClearDebug();
  DeleteSymbolCacheDir(&state);
  DeleteSymbolCacheDir(nullptr);
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(SymbolDlls, TheirCacheIsNotLookedForWithoutAPath) {
  AnalysisState state(kProduct);
  state.symbolCachePath.clear();
  plan.Clear();
  DeleteSymbolCacheDir(&state);
  EXPECT_EQ(plan.CountOf("GetFileAttributesW"), 0u);
}

TEST_F(SymbolDlls, TheirCacheIsLeftWhenItCannotBeAskedForOrRemoved) {
  const AnalysisState state(kProduct);
  machine.files.AddFolder(kHostFolder + u"\\sym");
  plan.Fail("GetFileAttributesW", 5);
  DeleteSymbolCacheDir(&state);
  EXPECT_TRUE(Logged("[Error] Failed to check symbol cache directory: error code 5\n"));
  plan.Fail("RemoveFolders", 32);
  DeleteSymbolCacheDir(&state);
  EXPECT_TRUE(Logged("[Error] Failed to delete symbol cache directory error code: 32\n"));
  EXPECT_TRUE(machine.files.Exists(kHostFolder + u"\\sym"));
}

}  // namespace
}  // namespace varnel
