#include "analyzer/debug_engine_session.h"

#include <gtest/gtest.h>

#include "tests/analyzer/engine_fixture.h"
#include "tests/analyzer/parted_engine.h"

namespace varnel {
namespace {

using Session = EngineFixture;

constexpr auto kE_FAIL = static_cast<std::int32_t>(0x80004005);
constexpr std::uint32_t kNoInterface = 0x80004002;

using Texts = std::vector<std::string>;

/// The calls of the debugger that begin with a piece, in order.
Texts Asked(const testing::FaultPlan& calls, const std::string& beginning) {
  Texts found;
  for (const std::string& call : calls.Calls()) {
    if (call.starts_with(beginning)) found.push_back(call);
  }
  return found;
}

TEST_F(Session, TakesTheEngineFromTheSystemFolder) {
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
  EXPECT_FALSE(session->IsSymbolLoaded());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 1u);
  EXPECT_EQ(platform_.system.DebugText(), "");
}

TEST_F(Session, AsksForTheInterfacesInOneOrder) {
  const auto session = Make();
  const Texts expected = {"QueryInterface(IDebugClient4)",    "QueryInterface(IDebugControl)",
                          "QueryInterface(IDebugSymbols3)",   "QueryInterface(IDebugSystemObjects)",
                          "QueryInterface(IDebugDataSpaces)", "QueryInterface(IDebugDataSpaces2)",
                          "QueryInterface(IDebugRegisters)",  "QueryInterface(IDebugAdvanced)"};
  EXPECT_EQ(Asked(debugger_.calls, "QueryInterface"), expected);
}

TEST_F(Session, BeginsWithAnEmptySymbolPathAndQuietOptions) {
  debugger_.SetInitialOptions(0x10004);
  const auto session = Make();
  EXPECT_EQ(debugger_.symbol_paths(), std::vector<std::u16string>{u""});
  EXPECT_EQ(debugger_.symbol_options(), std::vector<std::uint32_t>{0x90200});
}

TEST_F(Session, KeepsSystemDialogsAwayWhileItLoadsAndRestoresTheMode) {
  platform_.system.SetErrorMode(0x1234);
  const auto session = Make();
  EXPECT_EQ(plan_.CountOf("SetErrorMode"), 2u);
  EXPECT_EQ(platform_.system.SetErrorMode(0), 0x1234u);
}

TEST_F(Session, ShowsNoDialogForAnErrorAFaultOrAMissingFileOfALibrary) {
  std::uint32_t mode = 0;
  plan_.After("LoadLibraryW", 1, [&] {
    mode = platform_.system.SetErrorMode(0);
    platform_.system.SetErrorMode(mode);
  });
  const auto session = Make();
  EXPECT_EQ(mode, 0x8003u);
}

/// A call that fails while the engine is made.
class FailedEngine : public EngineFixture, public ::testing::WithParamInterface<const char*> {};

TEST_P(FailedEngine, LeavesTheErrorModeAsItWas) {
  platform_.system.SetErrorMode(0x1234);
  plan_.FailForEver(GetParam(), 0x80004005);
  debugger_.calls.FailForEver(GetParam(), 0x80004005);
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_EQ(platform_.system.SetErrorMode(0), 0x1234u);
}
INSTANTIATE_TEST_SUITE_P(At, FailedEngine,
                         ::testing::Values("LoadLibraryW", "GetProcAddress", "DebugCreate",
                                           "QueryInterface(IDebugAdvanced)"));

TEST_F(Session, FallsBackToTheBareNameOfTheSystemsEngine) {
  platform_.system.libraries.erase(u"C:\\Windows\\System32\\dbgeng.dll");
  platform_.system.libraries.insert(u"dbgeng.dll");
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 2u);
}

TEST_F(Session, TriesTheBareNameAloneWhenTheSystemFolderIsNotKnown) {
  plan_.FailForEver("GetSystemDirectoryW", 5);
  platform_.system.libraries.insert(u"dbgeng.dll");
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 1u);
}

TEST_F(Session, TriesTheBareNameAloneWhenTheSystemFoldersNameIsTooLong) {
  platform_.system.system_directory = std::u16string(260, u'a');
  platform_.system.libraries.insert(u"dbgeng.dll");
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 1u);
}

TEST_F(Session, TakesTheEngineFromASystemFolderWithTheLongestName) {
  platform_.system.system_directory = std::u16string(259, u'a');
  platform_.system.libraries = {platform_.system.system_directory + u"\\dbgeng.dll"};
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 1u);
}

TEST_F(Session, IsDeadWithoutAnEngineOfTheSystem) {
  platform_.system.libraries.clear();
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_TRUE(Logged("[Error] Failed to load system dbgeng.dll\n"));
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), kE_FAIL);
}

TEST_F(Session, TakesThePrivateEngineFromTheProgramsFolder) {
  platform_.system.libraries = {u"C:\\Program Files\\Varnel\\Host\\dbgeng.dll"};
  const auto session = Make(kEngineFromProcessFolder);
  EXPECT_TRUE(session->IsEngineReady());
}

TEST_F(Session, HasNoOtherPlaceForThePrivateEngine) {
  platform_.system.libraries.insert(u"dbgeng.dll");
  const auto session = Make(kEngineFromProcessFolder);
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 1u);
  EXPECT_TRUE(Logged("[Error] Failed to load dbgeng.dll from local directory (error code: 0x0000007E)\n"));
  EXPECT_TRUE(
      Logged("[Error] Symbol analysis must use local DLLs, ensure required DLLs are copied to the same directory\n"));
  const Texts lines = platform_.system.DebugLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_NE(lines[0].find("Failed to load"), std::string::npos);
}

TEST_F(Session, TakesTheFolderOutOfAProgramsPathThatWasCut) {
  platform_.system.host_path = u"C:\\Host\\" + std::u16string(300, u'a') + u"\\wardlet.exe";
  platform_.system.libraries = {u"C:\\Host\\dbgeng.dll"};
  EXPECT_TRUE(Make(kEngineFromProcessFolder)->IsEngineReady());
}

TEST_F(Session, KnowsNoFolderOfAProgramWithoutOne) {
  platform_.system.host_path = u"wardlet.exe";
  platform_.system.libraries = {u"\\dbgeng.dll"};
  EXPECT_TRUE(Make(kEngineFromProcessFolder)->IsEngineReady());
}

TEST_F(Session, LooksForThePrivateEngineInNoFolderWhenTheProgramsPathIsNotKnown) {
  plan_.FailForEver("GetModuleFileNameW", 5);
  platform_.system.libraries.insert(u"\\dbgeng.dll");
  const auto session = Make(kEngineFromProcessFolder);
  EXPECT_TRUE(session->IsEngineReady());
}

TEST_F(Session, FreesALibraryThatMakesNoEngines) {
  platform_.system.procedures.erase("DebugCreate");
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_TRUE(Logged("[Error] DebugCreate function not found (error code: 0x0000007F)\n"));
  EXPECT_EQ(plan_.CountOf("FreeLibrary"), 1u);
}

TEST_F(Session, FreesTheLibraryWhenNoEngineIsMade) {
  debugger_.calls.FailForEver("DebugCreate", 0x80004005);
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_TRUE(Logged("[Error] Failed to create IDebugClient: 0x80004005\n"));
  EXPECT_EQ(plan_.CountOf("FreeLibrary"), 1u);
}

struct MissingInterface {
  const char* name;
  const char* text;  // empty: no line
};

class MissingInterfaces : public EngineFixture, public ::testing::WithParamInterface<MissingInterface> {};

TEST_P(MissingInterfaces, MakeADeadSessionThatKeepsTheLibraryUntilItsEnd) {
  debugger_.calls.FailForEver("QueryInterface(" + std::string(GetParam().name) + ")", kNoInterface);
  {
    const auto session = Make();
    EXPECT_FALSE(session->IsEngineReady());
    EXPECT_EQ(platform_.system.DebugText().empty(), std::string(GetParam().text).empty());
    EXPECT_TRUE(Logged(GetParam().text));
    EXPECT_EQ(debugger_.live_engines(), 0);
    EXPECT_EQ(plan_.CountOf("FreeLibrary"), 0u);
    EXPECT_TRUE(debugger_.symbol_paths().empty());
  }
  EXPECT_EQ(plan_.CountOf("FreeLibrary"), 1u);
}

INSTANTIATE_TEST_SUITE_P(
    Each, MissingInterfaces,
    ::testing::Values(MissingInterface{"IDebugControl", "[Error] Failed to get IDebugControl: 0x80004002\n"},
                      MissingInterface{"IDebugSymbols3", "[Error] Failed to get IDebugSymbols3: 0x80004002\n"},
                      MissingInterface{"IDebugSystemObjects", ""},
                      MissingInterface{"IDebugDataSpaces", "[Error] Failed to get IDebugDataSpaces: 0x80004002\n"},
                      MissingInterface{"IDebugDataSpaces2", ""},
                      MissingInterface{"IDebugRegisters", "[Error] Failed to get IDebugRegisters: 0x80004002\n"},
                      MissingInterface{"IDebugAdvanced", ""}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(Session, DoesWithoutTheNewerClient) {
  debugger_.has_client4 = false;
  const auto session = Make();
  EXPECT_TRUE(session->IsEngineReady());
}

TEST_F(Session, StaysDeadWhenComDoesNotStart) {
  plan_.FailForEver("CoInitializeEx", 0x8007000E);
  failed_com_ = 1;
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_TRUE(Logged("[Error] COM initialization failed: 0x8007000E\n"));
  EXPECT_EQ(plan_.CountOf("LoadLibraryW"), 0u);
}

TEST_F(Session, WorksInAnApartmentOfAnotherKindAndLeavesItAlone) {
  constexpr std::uint32_t kSingleThreaded = 2;
  platform_.system.CoInitializeEx(kSingleThreaded);
  failed_com_ = 1;
  {
    const auto session = Make();
    EXPECT_TRUE(session->IsEngineReady());
  }
  EXPECT_EQ(plan_.CountOf("CoUninitialize"), 0u);
  platform_.system.CoUninitialize();
}

TEST_F(Session, GivesItsOwnStartOfComBackOnAThreadThatHasOneAlready) {
  ASSERT_EQ(platform_.system.CoInitializeEx(0), 0);
  {
    const auto session = Make();
    EXPECT_TRUE(session->IsEngineReady());
    EXPECT_EQ(plan_.CountOf("CoUninitialize"), 0u);
  }
  EXPECT_EQ(plan_.CountOf("CoUninitialize"), 1u);
  platform_.system.CoUninitialize();
}

class PartedSession : public EngineFixture {
 protected:
  PartedSession() {
    plan_.After("CoUninitialize", 1, [this] { engine_.log.emplace_back("CoUninitialize"); });
    plan_.After("FreeLibrary", 1, [this] { engine_.log.emplace_back("FreeLibrary"); });
  }
  testing::PartedEngine engine_{&platform_.system};
};

TEST_F(PartedSession, EndsTheDumpThenGivesEachInterfaceBackThenComThenTheLibrary) {
  {
    const auto session = Make();
    ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
    EXPECT_EQ(engine_.log, Texts{});
  }
  EXPECT_EQ(engine_.log, (Texts{"EndSession", "IDebugAdvanced", "IDebugRegisters", "IDebugClient4", "IDebugDataSpaces2",
                                "IDebugDataSpaces", "IDebugSystemObjects", "IDebugSymbols3", "IDebugControl",
                                "IDebugClient", "CoUninitialize", "FreeLibrary"}));
}

TEST_F(PartedSession, GivesWhatItHasBackAtOnceWhenAnInterfaceIsMissing) {
  engine_.refused = "IDebugRegisters";
  const auto session = Make();
  EXPECT_FALSE(session->IsEngineReady());
  EXPECT_EQ(engine_.log, (Texts{"IDebugClient4", "IDebugDataSpaces2", "IDebugDataSpaces", "IDebugSystemObjects",
                                "IDebugSymbols3", "IDebugControl", "IDebugClient"}));
}

TEST_F(PartedSession, CannotWaitThroughAnEngineThatGaveNoControl) {
  engine_.hollow = "IDebugControl";
  const auto session = Make();
  ASSERT_TRUE(session->IsEngineReady());
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80004003));
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x80004003\n"));
  EXPECT_EQ(engine_.log, Texts{"EndSession"});
  EXPECT_EQ(plan_.CountOf("CreateEventW"), 0u);
}

TEST_F(PartedSession, OpensADumpWithoutSymbolsThroughAnEngineThatHasNone) {
  engine_.hollow = "IDebugSymbols3";
  const auto session = Make();
  ASSERT_TRUE(session->IsEngineReady());
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
}

}  // namespace
}  // namespace varnel
