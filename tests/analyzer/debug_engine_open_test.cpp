// Opening and closing dumps; see debug_engine_session.h.
#include <gtest/gtest.h>

#include <vector>

#include "tests/analyzer/engine_fixture.h"

namespace varnel {
namespace {

using OpenDump = EngineFixture;

constexpr auto kE_FAIL = static_cast<std::int32_t>(0x80004005);

TEST_F(OpenDump, NamesTheDumpAndWaitsForIt) {
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(debugger_.opened(), std::vector<std::u16string>{kDumpPath});
  EXPECT_EQ(debugger_.calls.CountOf("WaitForEvent"), 1u);
  EXPECT_FALSE(session->IsSymbolLoaded());
}

TEST_F(OpenDump, LooksForNoSymbolsAnywhere) {
  debugger_.SetInitialOptions(0);
  const auto session = Make();
  debugger_.SetInitialOptions(0x10045);
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(debugger_.symbol_paths(), (std::vector<std::u16string>{u"", u""}));
  EXPECT_EQ(debugger_.symbol_options().back(), 0x80401u);
}

TEST_F(OpenDump, ClosesTheFirstDumpBeforeTheSecond) {
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  ASSERT_EQ(session->OpenDumpNoSymbols(u"C:\\Windows\\Minidump\\b.dmp"), 0);
  EXPECT_EQ(debugger_.calls.CountOf("EndSession"), 1u);
  EXPECT_EQ(debugger_.opened().size(), 2u);
}

TEST_F(OpenDump, TakesASecondDumpAlsoWhenTheFirstDoesNotCloseInOrder) {
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  debugger_.calls.FailForEver("EndSession", 0x80004005);
  EXPECT_EQ(session->OpenDumpNoSymbols(u"C:\\Windows\\Minidump\\b.dmp"), 0);
  EXPECT_EQ(session->GetDumpQualifier(), 1024u);
}

TEST_F(OpenDump, HasNoDumpOpenWhenTheSecondDoesNotOpen) {
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  debugger_.calls.Fail("OpenDumpFileWide", 0x80070002);
  EXPECT_EQ(session->OpenDumpNoSymbols(u"C:\\Windows\\Minidump\\b.dmp"), static_cast<std::int32_t>(0x80070002));
  EXPECT_EQ(session->GetDumpQualifier(), 0u);
  EXPECT_EQ(session->CloseDump(), 0);
  EXPECT_EQ(debugger_.calls.CountOf("EndSession"), 1u);  // the first dump's
}

TEST_F(OpenDump, GivesTheEnginesFailureToOpenAsItStands) {
  debugger_.calls.FailForEver("OpenDumpFileWide", 0x80070002);
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80070002));
  EXPECT_EQ(debugger_.calls.CountOf("WaitForEvent"), 0u);
  EXPECT_EQ(platform_.system.DebugText(), "");
  EXPECT_EQ(session->CloseDump(), 0);
}

TEST_F(OpenDump, GoesByTheNarrowPathWithoutTheNewerClient) {
  debugger_.has_client4 = false;
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(u"C:\\\u00E4.dmp"), 0);
  EXPECT_EQ(debugger_.opened_narrow(), std::vector<std::string>{"C:\\\xC3\xA4.dmp"});
  EXPECT_TRUE(debugger_.opened().empty());
}

/// The system port, with the code pages it was asked for.
class AskedCodePages : public testing::FaultySystem {
 public:
  using FaultySystem::FaultySystem;

  std::int32_t WideCharToMultiByte(std::uint32_t code_page, std::uint32_t flags, const char16_t* text,
                                   std::int32_t length, char* buffer, std::int32_t capacity) override {
    pages.push_back(code_page);
    return FaultySystem::WideCharToMultiByte(code_page, flags, text, length, buffer, capacity);
  }
  std::vector<std::uint32_t> pages;
};

TEST_F(OpenDump, TakesTheNarrowPathInTheSystemsCodePage) {
  debugger_.has_client4 = false;
  const auto session = Make();
  testing::FaultPlan no_faults;
  AskedCodePages system(&platform_.system, &no_faults);
  platform::Platform ports = platform::CurrentPlatform();
  ports.system = &system;
  const platform::ScopedPlatform in_force(&ports);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(system.pages, (std::vector<std::uint32_t>{0, 0}));  // the size, then the text
}

TEST_F(OpenDump, GivesTheFailureOfTheNarrowOpenAsItStands) {
  debugger_.has_client4 = false;
  debugger_.calls.FailForEver("OpenDumpFile", 0x8007000B);
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x8007000B));
}

TEST_F(OpenDump, RefusesAPathWithoutANarrowSize) {
  debugger_.has_client4 = false;
  const auto session = Make();
  plan_.FailForEver("WideCharToMultiByte", 87);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80070057));
  EXPECT_TRUE(Logged("[Error] Path conversion failed\n"));
}

TEST_F(OpenDump, GivesTheErrorOfAPathThatDoesNotConvert) {
  debugger_.has_client4 = false;
  const auto session = Make();
  plan_.Fail({"WideCharToMultiByte", 2, false, 1113});
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x80070459));
  EXPECT_TRUE(Logged("[Error] Path conversion failed: 0x00000459\n"));
}

TEST_F(OpenDump, ADumpThatIsNotUpInTimeIsOpenAllTheSame) {
  debugger_.Block("WaitForEvent");
  const auto session = Make();
  const std::uint64_t begin = platform_.time.now_ms();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(platform_.time.now_ms() - begin, 600u);
  EXPECT_EQ(platform_.system.DebugText(), "");
  EXPECT_EQ(session->GetDumpQualifier(), 1024u);
}

TEST_F(OpenDump, TheEnginesOwnTimeOutIsASuccess) {
  debugger_.load_ms = 400;
  const auto session = Make();
  const std::uint64_t begin = platform_.time.now_ms();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(platform_.time.now_ms() - begin, 100u);
}

TEST_F(OpenDump, TakesATimeOutThatTheEngineGivesAsAFailureForASuccessToo) {
  debugger_.calls.FailForEver("WaitForEvent", 0x80070102);
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(platform_.system.DebugText(), "");
}

TEST_F(OpenDump, EndsTheEnginesSessionWhenTheWaitFails) {
  debugger_.calls.FailForEver("WaitForEvent", 0x8000FFFF);
  const auto session = Make();
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), static_cast<std::int32_t>(0x8000FFFF));
  EXPECT_TRUE(Logged("[Error] WaitForEvent failed: 0x8000FFFF\n"));
  EXPECT_EQ(debugger_.calls.CountOf("EndSession"), 1u);
  EXPECT_EQ(session->GetDumpQualifier(), 0u);
}

TEST_F(OpenDump, ClosingGivesTheEnginesResultAndHappensOnce) {
  debugger_.calls.FailForEver("EndSession", 0x80004005);
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(session->CloseDump(), kE_FAIL);
  EXPECT_EQ(session->CloseDump(), 0);
  EXPECT_EQ(debugger_.calls.CountOf("EndSession"), 1u);
}

TEST_F(OpenDump, AClosedSessionOpensAgain) {
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  ASSERT_EQ(session->CloseDump(), 0);
  EXPECT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(debugger_.calls.CountOf("EndSession"), 1u);
}

TEST_F(OpenDump, TellsTheKindOfAKernelDump) {
  debugger_.facts.qualifier = 1026;
  const auto session = Make();
  EXPECT_EQ(session->GetDumpQualifier(), 0u);  // none is open
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(session->GetDumpQualifier(), 1026u);
}

TEST_F(OpenDump, KnowsNoKindOfATargetThatIsNoKernel) {
  debugger_.facts.target_class = 2;
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(session->GetDumpQualifier(), 0u);
}

TEST_F(OpenDump, KnowsNoKindThatTheEngineDoesNotTell) {
  debugger_.calls.FailForEver("GetDebuggeeType", 0x8000FFFF);
  const auto session = Make();
  ASSERT_EQ(session->OpenDumpNoSymbols(kDumpPath), 0);
  EXPECT_EQ(session->GetDumpQualifier(), 0u);
}

}  // namespace
}  // namespace varnel
