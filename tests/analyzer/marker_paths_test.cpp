#include "analyzer/marker_paths.h"

#include "analyzer/crash_dump_config_manager.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class MarkerPaths : public AnalyzerTest {};

/// The base path is kept for the life of a process, so that these cases run in processes of their own, each from its
/// start.
class MarkerBasePath : public AnalyzerTest {
 protected:
  MarkerBasePath() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  template <typename Case>
  void InAProcessOfItsOwn(const Case& run) {
    EXPECT_EXIT(
        {
          run();
          std::exit(HasFailure() ? 1 : 0);
        },
        ::testing::ExitedWithCode(0), "");
  }
};

TEST_F(MarkerPaths, TheFolderHoldsTheProductWithItsBraces) {
  const CrashDumpConfigManager manager;
  EXPECT_EQ(manager.GetAnalysisMarkerDirectory(kProduct), kMarkerFolder);
  EXPECT_EQ(manager.GetMarkerFilePath(kProduct, kMarkerNoSymbol), kMarkerFolder + u"\\analyzed_dumps_nosym.dat");
}

TEST_F(MarkerPaths, ABackslashAtTheEndOfProgramDataIsNotDoubled) {
  machine.system.environment[u"ProgramData"] = u"D:\\";
  EXPECT_EQ(CrashDumpConfigManager().GetAnalysisMarkerDirectory(u"{X}"), u"D:\\KelvoVarnels\\GlobalCfg\\{X}");
}

TEST_F(MarkerPaths, WithoutAProductThereIsNoFolder) {
  EXPECT_EQ(CrashDumpConfigManager().GetAnalysisMarkerDirectory(u""), u"");
  EXPECT_TRUE(Logged("[Error] GetAnalysisMarkerDirectory: Product GUID is empty\n"));
  EXPECT_EQ(CrashDumpConfigManager().GetMarkerFilePath(u"", kMarkerNoSymbol), u"");
}

TEST_F(MarkerPaths, WithoutProgramDataThereIsNoFolder) {
  machine.system.environment.erase(u"ProgramData");
  EXPECT_EQ(CrashDumpConfigManager().GetAnalysisMarkerDirectory(kProduct), u"");
  EXPECT_TRUE(Logged("[Error] Failed to get ProgramData environment variable: 0x000000CB\n"));
  EXPECT_EQ(CrashDumpConfigManager().GetMarkerFilePath(kProduct, kMarkerNoSymbol), u"");
}

TEST_F(MarkerPaths, AProgramDataOf259CharactersFitsAndOneMoreDoesNot) {
  const std::u16string longest = u"C:\\" + std::u16string(256, u'x');
  machine.system.environment[u"ProgramData"] = longest;
  EXPECT_EQ(CrashDumpConfigManager().GetAnalysisMarkerDirectory(u"{X}"), longest + u"\\KelvoVarnels\\GlobalCfg\\{X}");
  machine.system.environment[u"ProgramData"] = longest + u"x";
  EXPECT_EQ(CrashDumpConfigManager().GetAnalysisMarkerDirectory(u"{X}"), u"");
  // What the variable needs, its zero included, and one more.
  EXPECT_TRUE(Logged("[Error] ProgramData path too long: requires 262 characters, buffer size is 260\n"));
}

TEST_F(MarkerPaths, TheFolderIsAskedForAnewEachTime) {
  const CrashDumpConfigManager manager;
  EXPECT_EQ(manager.GetAnalysisMarkerDirectory(u"{X}"), u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\{X}");
  machine.system.environment[u"ProgramData"] = u"E:\\Other";
  EXPECT_EQ(manager.GetAnalysisMarkerDirectory(u"{X}"), u"E:\\Other\\KelvoVarnels\\GlobalCfg\\{X}");
}

TEST_F(MarkerPaths, AFirstRunIsOneWithoutItsMarkerFile) {
  bool first = false;
  EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, &first), 0);
  EXPECT_TRUE(first);
  PutMarker(kMarkerNoSymbol, {});
  EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, &first), 0);
  EXPECT_FALSE(first) << "an empty marker is one";
  EXPECT_EQ(IsFirstRunWithSymbol(kProduct, kMarkerWithSymbol, &first), 0);
  EXPECT_TRUE(first) << "of the other kind";
}

TEST_F(MarkerPaths, AFolderInTheMarkersPlaceIsNoMarker) {
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));
  machine.files.AddFolder(MarkerPath(kMarkerWithSymbol));
  bool first = false;
  EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, &first), 0);
  EXPECT_TRUE(first);
  first = false;
  EXPECT_EQ(IsFirstRunWithSymbol(kProduct, kMarkerWithSymbol, &first), 0);
  EXPECT_TRUE(first);
}

TEST_F(MarkerPaths, AMarkerWhoseAttributesCannotBeReadCountsAsAbsent) {
  PutMarker(kMarkerNoSymbol, {});
  plan.Fail("GetFileAttributesW", 5);
  bool first = false;
  EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, &first), 0);
  EXPECT_TRUE(first);
}

TEST_F(MarkerPaths, ANullAnswerIsAPointerError) {
  EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, nullptr), kEPointer);
  EXPECT_EQ(IsFirstRunWithSymbol(kProduct, kMarkerWithSymbol, nullptr), kEPointer);
}

TEST_F(MarkerBasePath, EndsInABackslashAndIsKept) {
  InAProcessOfItsOwn([this] {
    EXPECT_EQ(GetMarkerBasePath(), u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\");
    machine.system.environment[u"ProgramData"] = u"E:\\Other";
    plan.Clear();
    EXPECT_EQ(GetMarkerBasePath(), u"C:\\ProgramData\\KelvoVarnels\\GlobalCfg\\");
    EXPECT_TRUE(plan.Calls().empty());
  });
}

TEST_F(MarkerBasePath, DoesNotDoubleABackslash) {
  InAProcessOfItsOwn([this] {
    machine.system.environment[u"ProgramData"] = u"D:\\";
    EXPECT_EQ(GetMarkerBasePath(), u"D:\\KelvoVarnels\\GlobalCfg\\");
  });
}

TEST_F(MarkerBasePath, ThatFailsIsAskedForAgain) {
  InAProcessOfItsOwn([this] {
    machine.system.environment.erase(u"ProgramData");
    EXPECT_EQ(GetMarkerBasePath(), u"");
    EXPECT_TRUE(Logged("[Error] Failed to get ProgramData in GetMarkerBasePath: 0x000000CB\n"));
    machine.system.environment[u"ProgramData"] = u"D:\\Data";
    EXPECT_EQ(GetMarkerBasePath(), u"D:\\Data\\KelvoVarnels\\GlobalCfg\\");
  });
}

TEST_F(MarkerBasePath, ThatIsTooLongIsToldWithWhatItNeeds) {
  InAProcessOfItsOwn([this] {
    machine.system.environment[u"ProgramData"] = std::u16string(260, u'x');
    EXPECT_EQ(GetMarkerBasePath(), u"");
    EXPECT_TRUE(Logged(
        "[Error] ProgramData path too long in GetMarkerBasePath: requires 262 characters, buffer size is 260\n"));
    machine.system.environment[u"ProgramData"] = std::u16string(259, u'x');
    EXPECT_EQ(GetMarkerBasePath(), std::u16string(259, u'x') + u"\\KelvoVarnels\\GlobalCfg\\");
  });
}

TEST_F(MarkerBasePath, ThatCannotBeToldFailsTheQuestionsForAFirstRun) {
  InAProcessOfItsOwn([this] {
    machine.system.environment.erase(u"ProgramData");
    bool first = true;
    EXPECT_EQ(IsFirstRunNoSymbol(kProduct, kMarkerNoSymbol, &first), kEFail);
    EXPECT_FALSE(first);
    EXPECT_TRUE(Logged("[Error] Failed to get marker base path in IsFirstRunNoSymbol\n"));
    first = true;
    EXPECT_EQ(IsFirstRunWithSymbol(kProduct, kMarkerWithSymbol, &first), kEFail);
    EXPECT_FALSE(first);
    EXPECT_TRUE(Logged("[Error] Failed to get marker base path in IsFirstRunWithSymbol\n"));
  });
}

TEST_F(MarkerBasePath, ThatCannotBeToldFailsTheFirstStep) {
  InAProcessOfItsOwn([this] {
    machine.system.environment.erase(u"ProgramData");
    CrashDumpConfigManager manager;
    bool started = true;
    EXPECT_EQ(manager.MarkAllExistingDumpsAsAnalyzedNoSymbol(kProduct, kMarkerNoSymbol, &started), kEFail);
    EXPECT_FALSE(started);
    EXPECT_TRUE(Logged("[Error] Failed to get marker base path in MarkAllExistingDumpsAsAnalyzedNoSymbol\n"));
    EXPECT_EQ(manager.MarkAllExistingDumpsAsAnalyzedWithSymbol(kProduct, kMarkerWithSymbol, nullptr), kEFail);
    EXPECT_TRUE(Logged("[Error] Failed to get marker base path in MarkAllExistingDumpsAsAnalyzedWithSymbol\n"));
  });
}

}  // namespace
}  // namespace varnel
