// Opening a dump with symbols; see debug_engine_session.h.
#include <gtest/gtest.h>

#include <memory>

#include "base/log.h"
#include "tests/analyzer/parted_engine.h"
#include "tests/analyzer/run_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

const std::u16string kDump = u"C:\\Windows\\Minidump\\a.dmp";
const std::u16string kCache = u"C:\\Program Files\\Varnel\\Host\\sym";
const std::u16string kServer = u"https://symbols.example/download";

class WithSymbols : public RunFixture {
 protected:
  WithSymbols() {
    WrapLogInit(LOG_ERROR, nullptr);  // all lines of a session are errors
    machine.system.ClearDebug();
    for (const char16_t* name : {u"\\dbghelp.dll", u"\\dbgeng.dll", u"\\symsrv.dll"}) {
      machine.files.AddFile(kHostFolder + name, "copy");
    }
    debugger.facts.modules = {{0xFFFFF80000000000, 0x1000, 0, 0, 3, "nt", "", ""}};
  }
  std::int32_t Open(std::uint32_t wait_seconds = 900) {
    return session.OpenDumpWithSymbols(kDump, kCache, kServer, wait_seconds);
  }

  DebugEngineSession session{kEngineFromSystemFolder};
};

TEST_F(WithSymbols, SetsPathAndOptionsMakesTheCacheAndCountsAsLoaded) {
  debugger.SetInitialOptions(0x80000440);
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(debugger.symbol_paths().back(),
            u"srv*C:\\Program Files\\Varnel\\Host\\sym*https://symbols.example/download");
  EXPECT_EQ(debugger.symbol_options().back(), 0xA0657u);
  EXPECT_TRUE(machine.files.IsFolder(kCache));
  EXPECT_EQ(debugger.opened(), TextList{kDump});
  EXPECT_TRUE(session.IsSymbolLoaded());  // although the kernel's are of another kind
}

TEST_F(WithSymbols, NamesEachMissingFileThenTheHeadline) {
  const char* const names[] = {"dbgeng.dll", "dbghelp.dll", "symsrv.dll"};
  for (const char16_t* name : {u"\\dbghelp.dll", u"\\dbgeng.dll", u"\\symsrv.dll"}) {
    machine.files.Remove(kHostFolder + name);
  }
  EXPECT_EQ(Open(), HrOf(2));
  const std::vector<std::string> lines = machine.system.DebugLines();
  ASSERT_EQ(lines.size(), 4u);
  for (int i = 0; i < 3; ++i) {
    const std::string told = std::string("[Error] Missing required DLL: C:\\Program Files\\Varnel\\Host\\") + names[i];
    EXPECT_TRUE(lines[i].ends_with(told + "\n")) << lines[i];
  }
  EXPECT_TRUE(lines[3].ends_with("[Error] Symbol download requires the following DLLs in exe directory:\n"));
  EXPECT_TRUE(debugger.opened().empty());
}

TEST_F(WithSymbols, NamesTheOneFileThatIsMissing) {
  machine.files.Remove(kHostFolder + u"\\dbghelp.dll");
  EXPECT_EQ(Open(), HrOf(2));
  EXPECT_EQ(machine.system.DebugLines().size(), 2u);
  EXPECT_TRUE(Logged("[Error] Missing required DLL: C:\\Program Files\\Varnel\\Host\\dbghelp.dll\n"));
}

TEST_F(WithSymbols, LeavesTheOpenDumpAloneWhenAFileIsMissing) {
  EXPECT_EQ(Open(), 0);
  machine.files.Remove(kHostFolder + u"\\symsrv.dll");
  EXPECT_EQ(Open(), HrOf(2));
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 0u);
  EXPECT_EQ(session.GetDumpQualifier(), 1024u);
}

TEST_F(WithSymbols, AreForgottenByADumpThatIsOpenedWithoutThem) {
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(session.OpenDumpNoSymbols(kDump), 0);
  EXPECT_FALSE(session.IsSymbolLoaded());
  EXPECT_EQ(debugger.symbol_paths().back(), u"");
}

TEST_F(WithSymbols, NeedsTheHostsFolder) {
  plan.Fail("GetModuleFileNameW", 5);
  DebugEngineSession lost(kEngineFromSystemFolder);
  EXPECT_EQ(lost.OpenDumpWithSymbols(kDump, kCache, kServer, 900), kEFail);
}

TEST_F(WithSymbols, NeedsAnEngine) {
  debugger.calls.FailForEver("DebugCreate", 0x80004005);
  DebugEngineSession dead(kEngineFromSystemFolder);
  machine.system.ClearDebug();
  plan.Clear();
  EXPECT_EQ(dead.OpenDumpWithSymbols(kDump, kCache, kServer, 900), kEFail);
  EXPECT_EQ(plan.CountOf("GetFileAttributesW"), 0u);
  EXPECT_EQ(machine.system.DebugText(), "");
}

TEST_F(WithSymbols, NeedsSymbolsOfTheEngine) {
  PartedEngine engine(&machine.system);
  engine.hollow = "IDebugSymbols3";
  DebugEngineSession poor(kEngineFromSystemFolder);
  EXPECT_EQ(poor.OpenDumpWithSymbols(kDump, kCache, kServer, 900), kEFail);
  EXPECT_TRUE(Logged("[Error] Symbol path setup failed: 0x80004005\n"));
}

/// A second thread's stop, so much later.
struct Stop {
  DebugEngineSession* session;
  std::uint32_t after_ms;
  std::int32_t result = -1;

  static std::uint32_t Main(void* parameter) {
    auto* const self = static_cast<Stop*>(parameter);
    platform::ThreadsPort().Sleep(self->after_ms);
    self->result = self->session->StopSymbolDownload();
    return 0;
  }
};

TEST_F(WithSymbols, IsStoppedInTheMiddleOfTheDownload) {
  debugger.Block("WaitForEvent");
  Stop stop{&session, 12'000};
  const platform::HANDLE thread = machine.threads.CreateThread(&Stop::Main, &stop);
  EXPECT_EQ(Open(), kCancelled);
  EXPECT_EQ(machine.time.now_ms(), 12'000u);
  machine.threads.WaitForSingleObject(thread, platform::kInfinite);
  machine.system.CloseHandle(thread);
  EXPECT_EQ(stop.result, 0);
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x800704C7\n"));
  EXPECT_TRUE(Logged("[Error] Symbol loading failed: 0x800704C7\n"));
  EXPECT_FALSE(session.IsSymbolLoaded());
  EXPECT_EQ(session.GetDumpQualifier(), 0u);
  EXPECT_EQ(debugger.calls.CountOf("GetModuleByModuleName"), 0u);
}

TEST_F(WithSymbols, MakesNoThreadAfterAStop) {
  EXPECT_EQ(session.StopSymbolDownload(), 0);
  EXPECT_EQ(Open(), kCancelled);
  EXPECT_EQ(machine.threads.created_count(), 0u);
}

TEST_F(WithSymbols, SucceedsWhenTheEngineItselfTimesOutWithTheKernelsSymbols) {
  debugger.calls.FailForEver("WaitForEvent", 0x80070102);
  EXPECT_EQ(Open(), HrOf(258));
  debugger.facts.modules[0].symbol_type = 7;
  EXPECT_EQ(Open(), 0);
}

TEST_F(WithSymbols, FailsWithoutTheCache) {
  plan.Fail("CreateFolders", 5);
  EXPECT_EQ(Open(), HrOf(5));
  EXPECT_TRUE(Logged("[Error] Failed to create symbol cache directory: error code 5\n"));
}

TEST_F(WithSymbols, TakesAnEmptyCacheFolderForNone) {
  EXPECT_EQ(session.OpenDumpWithSymbols(kDump, u"", kServer, 900), 0);
  EXPECT_EQ(plan.CountOf("CreateFolders"), 0u);
  EXPECT_EQ(debugger.symbol_paths().back(), u"srv**https://symbols.example/download");
}

TEST_F(WithSymbols, MakesTheCacheAgainThatWasDeleted) {
  EXPECT_EQ(Open(), 0);
  machine.files.Remove(kCache);
  EXPECT_EQ(Open(), 0);
  EXPECT_TRUE(machine.files.IsFolder(kCache));
}

TEST_F(WithSymbols, FailsWhenThePathCannotBeSet) {
  debugger.calls.Fail("SetSymbolPathWide", 0x80070057);
  EXPECT_EQ(Open(), Hr(0x80070057));
  EXPECT_TRUE(Logged("[Error] Symbol path setup failed: 0x80070057\n"));
  EXPECT_TRUE(debugger.opened().empty());
  EXPECT_EQ(session.GetDumpQualifier(), 0u);
}

TEST_F(WithSymbols, ClosesTheOpenDumpFirst) {
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(Open(), 0);
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 1u);
}

TEST_F(WithSymbols, GivesTheFailureToOpen) {
  debugger.calls.Fail("OpenDumpFileWide", 0x80070002);
  EXPECT_EQ(Open(), HrOf(2));
  EXPECT_TRUE(Logged("[Error] Failed to open dump file: 0x80070002\n"));
  EXPECT_TRUE(Logged("[Error] Symbol loading failed: 0x80070002\n"));
  EXPECT_FALSE(session.IsSymbolLoaded());
}

TEST_F(WithSymbols, GivesTheFailureOfTheWait) {
  debugger.calls.Fail("WaitForEvent", 0x8000FFFF);
  EXPECT_EQ(Open(), Hr(0x8000FFFF));
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x8000FFFF\n"));
  EXPECT_TRUE(Logged("[Error] Symbol loading failed: 0x8000FFFF\n"));
  EXPECT_EQ(debugger.calls.CountOf("EndSession"), 0u);
}

TEST_F(WithSymbols, TimesOutWithoutTheKernelsSymbols) {
  debugger.Block("WaitForEvent");
  EXPECT_EQ(Open(20), HrOf(258));
  EXPECT_EQ(machine.time.now_ms(), 20'000u);
  EXPECT_TRUE(Logged("[Error] Symbol loading failed: 0x80070102\n"));
  EXPECT_FALSE(session.IsSymbolLoaded());
}

TEST_F(WithSymbols, SucceedsAtTheLimitWhenTheKernelsSymbolsArrived) {
  debugger.Block("WaitForEvent");
  debugger.facts.modules[0].symbol_type = 7;
  EXPECT_EQ(Open(20), 0);
  EXPECT_TRUE(session.IsSymbolLoaded());
}

TEST_F(WithSymbols, TimesOutWhenTheKernelsModuleCannotBeLookedAt) {
  debugger.Block("WaitForEvent");
  debugger.facts.modules[0].symbol_type = 7;
  debugger.calls.Fail("GetModuleParameters", 0x80070057);
  EXPECT_EQ(Open(20), HrOf(258));
  debugger.facts.modules.clear();
  EXPECT_EQ(Open(20), HrOf(258));
}

TEST_F(WithSymbols, WaitsWithoutALimitFor0Seconds) {
  debugger.load_ms = 5'000'000;
  EXPECT_EQ(Open(0), 0);
  EXPECT_EQ(machine.time.now_ms(), 5'000'000u);
}

TEST_F(WithSymbols, WaitsWithoutALimitWhenTheSecondsComeTo0Milliseconds) {
  debugger.load_ms = 5'000'000;
  EXPECT_EQ(Open(1u << 29), 0);  // 2^29 * 1000 is a multiple of 2^32
  EXPECT_EQ(machine.time.now_ms(), 5'000'000u);
}

TEST_F(WithSymbols, GoesByTheNarrowPathWithoutTheNewerClientInSilence) {
  debugger.has_client4 = false;
  DebugEngineSession old(kEngineFromSystemFolder);
  EXPECT_EQ(old.OpenDumpWithSymbols(kDump, kCache, kServer, 900), 0);
  EXPECT_EQ(debugger.opened_narrow(), std::vector<std::string>{"C:\\Windows\\Minidump\\a.dmp"});
  plan.Fail("WideCharToMultiByte", 87);
  EXPECT_EQ(old.OpenDumpWithSymbols(kDump, kCache, kServer, 900), Hr(0x80070057));
  plan.Fail({"WideCharToMultiByte", 2, false, 1113});
  EXPECT_EQ(old.OpenDumpWithSymbols(kDump, kCache, kServer, 900), HrOf(1113));
  EXPECT_FALSE(Logged("Path conversion failed"));
}

}  // namespace
}  // namespace varnel
