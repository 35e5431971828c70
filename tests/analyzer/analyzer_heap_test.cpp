// The analyzer without memory of the C++ heap: what it answers then, and that nothing it had taken stays taken.
#include <gtest/gtest.h>

#include "analyzer/bsod_analyzer.h"
#include "analyzer/bsod_analyzer_object.h"
#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/symbol_dlls.h"
#include "base/log.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/heap_faults.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::HeapFaults;

const std::u16string kProduct = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kSource = u"C:\\ProgramData\\KelvoVarnels\\{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kHost = u"C:\\Program Files\\Varnel\\Host";
constexpr auto kNoMemory = static_cast<std::int32_t>(0x8007000E);
constexpr auto kFail = static_cast<std::int32_t>(0x80004005);

/// A line of a marker file.
std::string WideLine(const std::string& text) {
  std::string bytes;
  for (const char c : text + "\r\n") bytes += {c, '\0'};
  return bytes;
}

class WithoutHeap : public ::testing::Test {
 protected:
  WithoutHeap() {
    machine.system.environment[u"ProgramData"] = u"C:\\ProgramData";
    machine.files.AddFolder(kHost);
    machine.files.AddFile(u"C:\\Windows\\System32\\dbghelp.dll", "helper");
    machine.files.AddFile(u"C:\\Windows\\System32\\dbgeng.dll", "engine");
    machine.files.AddFile(kSource + u"\\symsrv.dll", "server");
    WrapLogInit(LOG_ERROR, nullptr);
  }
  ~WithoutHeap() override { WrapLogClose(); }
  void SetUp() override {
    if (!HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  }

  testing::ScriptedPlatform machine;
  testing::HeapFaultPlan plan;
  testing::FaultyPlatform watched{machine.ports, &plan};
};

TEST_F(WithoutHeap, TheStateTellsThatItCouldNotBeMade) {
  machine.registry.SetDword(u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"CrashDumpEnabled", 0);
  BsodAnalyzer analyzer(kProduct);
  {
    const HeapFaults faults(1);
    EXPECT_EQ(analyzer.Initialize(), kNoMemory);
  }
  EXPECT_TRUE(machine.system.Logged("[Error] Out of memory when creating AnalysisState\n"));
  EXPECT_EQ(machine.system.heap_blocks(), 0);
  EXPECT_EQ(machine.handles.open_count(), 0u);
  EXPECT_EQ(analyzer.Initialize(), 0);
  EXPECT_EQ(analyzer.Uninitialize(), 0);
}

TEST_F(WithoutHeap, AnAnalyzerThatCouldNotBeMadeLeavesNothingAndTheNextOneIsMade) {
  machine.registry.SetDword(u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"CrashDumpEnabled", 3);
  bool failed = true;
  for (unsigned nth = 1; failed; ++nth) {
    std::int32_t result = 0;
    {
      const HeapFaults faults(nth);
      result = InitBsodAnalyzer(kProduct.c_str());
      failed = faults.failed();
    }
    // What fails inside a step that knows one answer only gives that one.
    EXPECT_TRUE(result == 0 || result == kNoMemory || result == kFail) << nth << ' ' << std::hex << result;
    if (result == 0) {
      EXPECT_EQ(UninitBsodAnalyzer(), 0) << nth;
    }
    EXPECT_EQ(machine.system.heap_blocks(), 0) << nth;
    EXPECT_EQ(InitBsodAnalyzer(kProduct.c_str()), 0) << nth;
    EXPECT_EQ(UninitBsodAnalyzer(), 0) << nth;
  }
  EXPECT_FALSE(machine.system.Logged("[Critical Error] Waiting for completion event"));
  EXPECT_EQ(machine.handles.open_count(), 0u);
}

/// What an analyzer that could not initialize tells of its first run's state, for every allocation that can fail.
class FirstRunWithoutHeap : public WithoutHeap {
 protected:
  bool SomeFailureTells(const std::string& line) {
    bool told = false;
    bool failed = true;
    for (unsigned nth = 1; failed && !told; ++nth) {
      BsodAnalyzer analyzer(kProduct);
      machine.system.ClearDebug();
      std::int32_t result = 0;
      {
        const HeapFaults faults(nth);
        result = analyzer.Initialize();
        failed = faults.failed();
      }
      told = machine.system.Logged(line);
      EXPECT_TRUE(!told || result == kNoMemory || result == kFail) << nth;
      EXPECT_EQ(analyzer.Uninitialize(), 0) << nth;
    }
    return told;
  }
  void PutMarkers() {
    for (const char16_t* name : {u"\\analyzed_dumps_nosym.dat", u"\\analyzed_dumps_sym.dat"}) {
      machine.files.AddFile(u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\" + kProduct + name, "\xFF\xFE");
    }
    machine.registry.MakeKey(u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\" + kProduct);
  }
};

TEST_F(FirstRunWithoutHeap, CannotBeAskedForOneKindOrTheOther) {
  EXPECT_TRUE(SomeFailureTells("[Error] Failed to check first run status (no symbol): 0x8"));
  machine.files.Remove(u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg");
  EXPECT_TRUE(SomeFailureTells("[Error] Failed to check first run status (with symbol): 0x8"));
}

TEST_F(FirstRunWithoutHeap, CannotBeTakenUpForOneKindOrTheOther) {
  PutMarkers();
  EXPECT_TRUE(SomeFailureTells("[Error] Failed to query first run status (no symbol): 0x8007000E\n"));
  EXPECT_TRUE(SomeFailureTells("[Error] Failed to query first run status (with symbol): 0x8007000E\n"));
}

TEST_F(WithoutHeap, AMarkerLosesNoLineWhenADumpCannotBeAdded) {
  const std::u16string name = u"analyzed_dumps_nosym.dat";
  const std::u16string path = u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\" + kProduct + u'\\' + name;
  const std::u16string dump = u"C:\\Windows\\Minidump\\new.dmp";
  machine.files.AddFile(dump, "new");
  const std::string told = "\xFF\xFE" + WideLine("told before") + WideLine("and this one");
  CrashDumpConfigManager manager;
  unsigned refused = 0;
  bool failed = true;
  for (unsigned nth = 1; failed; ++nth) {
    machine.files.AddFile(path, told);
    std::int32_t result = 0;
    {
      const HeapFaults faults(nth);
      result = manager.AddAnalyzedDump(dump, kProduct, name);
      failed = faults.failed();
    }
    EXPECT_EQ(result, failed ? kNoMemory : 0) << nth;
    EXPECT_EQ(machine.files.Contents(path).substr(0, told.size()), told) << nth;
    EXPECT_EQ(machine.files.Contents(path).size(), told.size() + (failed ? 0 : 68)) << nth;
    EXPECT_EQ(machine.handles.open_count(), 0u) << nth;
    refused += failed ? 1 : 0;
  }
  EXPECT_GT(refused, 5u);
}

TEST_F(WithoutHeap, CopiesThatCouldNotBeMadeCountForNobody) {
  ASSERT_EQ(StaticInitialize(kSource), 0);
  bool failed = true;
  for (unsigned nth = 1; failed; ++nth) {
    std::int32_t result = 0;
    {
      const HeapFaults faults(nth);
      result = AcquireSymbolDlls();
      failed = faults.failed();
    }
    EXPECT_EQ(result, failed ? kNoMemory : 0) << nth;
    if (failed) {
      EXPECT_EQ(AcquireSymbolDlls(), 0);  // makes them: nobody else is counted
    }
    EXPECT_TRUE(machine.files.Exists(kHost + u"\\symsrv.dll")) << nth;
    ReleaseSymbolDlls();
    EXPECT_FALSE(machine.files.Exists(kHost + u"\\symsrv.dll")) << nth;
  }
}

TEST_F(WithoutHeap, AReleaseCountsEvenWhenItCanDeleteNothing) {
  ASSERT_EQ(StaticInitialize(kSource), 0);
  ASSERT_EQ(AcquireSymbolDlls(), 0);
  {
    const HeapFaults faults(1, true);
    ReleaseSymbolDlls();
    CleanupSymbolFiles(nullptr);
  }
  EXPECT_TRUE(machine.files.Exists(kHost + u"\\dbgeng.dll"));
  ASSERT_EQ(StaticInitialize(kSource), 0);  // the next analyzer's start
  EXPECT_FALSE(machine.files.Exists(kHost + u"\\dbgeng.dll"));
  EXPECT_EQ(AcquireSymbolDlls(), 0);
  EXPECT_TRUE(machine.files.Exists(kHost + u"\\dbgeng.dll"));
  ReleaseSymbolDlls();
}

}  // namespace
}  // namespace varnel
