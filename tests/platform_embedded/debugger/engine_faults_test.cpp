// The module's facts of a dump through the machine's engine with the fault decorator in between: what does not fail
// comes through unchanged, and each call that fails, once or from then on, costs its fact and no more.
#include <gtest/gtest.h>

#include <fstream>
#include <memory>

#include "analyzer/debug_engine_session.h"
#include "analyzer/report_builder.h"
#include "platform/embedded/debugger/debug_create.h"
#include "platform_fixture.h"
#include "small_dump.h"
#include "tests/support/faulty_debugger.h"
#include "tests/support/faulty_ports.h"

namespace varnel::embedded {
namespace {

constexpr char16_t kDump[] = u"C:\\a.dmp";
constexpr std::uint64_t kKernel = 0xFFFFF80010000000;
constexpr std::uint64_t kStack = 0xFFFFA00000001000;

/// The system port, whose library makes decorated engines.
class DecoratingSystem : public testing::FaultySystem {
 public:
  DecoratingSystem(platform::System* port, platform::DebugCreateFunction create, testing::FaultPlan* no_faults)
      : FaultySystem(port, no_faults), create_(create) {}
  platform::Procedure GetProcAddress(platform::HMODULE module, const char* name) override {
    if (std::string_view(name) == "DebugCreate") return reinterpret_cast<platform::Procedure>(create_);
    return FaultySystem::GetProcAddress(module, name);
  }

 private:
  const platform::DebugCreateFunction create_;
};

using Mode = ReportBuilder::Mode;

class DecoratedEngine : public PlatformFixture, public ::testing::WithParamInterface<Mode> {
 protected:
  void SetUp() override {
    PlatformFixture::SetUp();
    if (HasFatalFailure()) return;
    WriteDump();
    library_ = system().LoadLibraryW(u"C:\\Windows\\System32\\dbgeng.dll");
    ASSERT_NE(library_, nullptr);
    below_ = reinterpret_cast<platform::DebugCreateFunction>(system().GetProcAddress(library_, "DebugCreate"));
    ASSERT_NE(below_, nullptr);
  }
  void TearDown() override {
    if (library_ != nullptr) system().FreeLibrary(library_);
    PlatformFixture::TearDown();
  }

  platform::System& system() { return *platform_->record().system; }
  /// A dump with all that a report can show without symbols.
  void WriteDump() {
    SmallDump dump;
    dump.system_time = 133'000'000'000'000'000;
    dump.system_up_time = 36'000'000'000;
    dump.context = {{0x98, kStack}, {0xF8, kKernel + 0x234}};  // rsp, rip
    dump.stack_address = kStack;
    dump.stack = {1, kKernel + 0x10, 0xFFFFF80020000500, 2};
    dump.modules = {{u"\\SystemRoot\\system32\\ntoskrnl.exe", kKernel, 0x1000000, 5, 6},
                    {u"\\SystemRoot\\system32\\drivers\\disk.sys", 0xFFFFF80020000000, 0x8000, 7, 8}};
    const auto bytes = dump.Bytes();
    std::ofstream(Drive() / "a.dmp", std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  /// The report, without the moment at which it was made; empty when there is none.
  static std::string Report() {
    DebugEngineSession session(kEngineFromSystemFolder);
    if (!session.IsEngineReady() || session.OpenDumpNoSymbols(kDump) < 0) return {};
    std::string report;
    if (ReportBuilder(&session, GetParam()).Build(kDump, 1, &report) < 0) return {};
    const std::size_t at = report.find("\"analysis_time\"");
    return at == std::string::npos ? report : report.erase(at, report.find(',', at) - at);
  }
  /// The same, with the decorator in between.
  std::string Decorated(testing::FaultPlan* plan) {
    const testing::FaultyDebugger faulty(below_, plan);
    testing::FaultPlan no_faults;
    DecoratingSystem decorating(&system(), faulty.function(), &no_faults);
    platform::Platform ports = platform_->record();
    ports.system = &decorating;
    const platform::ScopedPlatform in_force(&ports);
    return Report();
  }

  platform::HMODULE library_ = nullptr;
  platform::DebugCreateFunction below_ = nullptr;
};

TEST_P(DecoratedEngine, GivesTheSameReport) {
  const std::string plain = Report();
  for (const char* key : {"\"bugcheck\"", "\"crash_context\"", "\"call_stack\""}) {
    EXPECT_NE(plain.find(key), std::string::npos) << key << " in " << plain;
  }
  testing::FaultPlan plan;
  EXPECT_EQ(Decorated(&plan), plain);
  EXPECT_EQ(plan.CountOf("OpenDumpFileWide"), 1u);
  EXPECT_EQ(plan.CountOf("WaitForEvent"), 1u);
  EXPECT_EQ(plan.CountOf("ReadBugCheckData"), 1u);
}

TEST_P(DecoratedEngine, EndsInOrderWhicheverCallFails) {
  testing::FaultPlan calls;
  const std::string whole = Decorated(&calls);
  ASSERT_FALSE(whole.empty());
  for (const auto& [operation, count] : calls.Counts()) {
    for (unsigned nth = 1; nth <= count; ++nth) {
      for (const bool for_ever : {false, true}) {
        SCOPED_TRACE(operation + " " + std::to_string(nth) + (for_ever ? " for ever" : " once"));
        testing::FaultPlan plan;
        plan.Fail({operation, nth, for_ever, 0x8000FFFF});
        const std::string report = Decorated(&plan);
        EXPECT_GE(plan.failures(), 1u);
        EXPECT_TRUE(report.empty() || report.starts_with("{\"analysis_info\""));
        EXPECT_LE(report.size(), whole.size() + 64);  // a fact may be told as unknown
      }
    }
  }
  EXPECT_EQ(Report(), Report());
}

INSTANTIATE_TEST_SUITE_P(Of, DecoratedEngine, ::testing::Values(Mode::kNoSymbol, Mode::kFull), [](const auto& tested) {
  return std::string(tested.param == Mode::kNoSymbol ? "AReportWithoutSymbols" : "AFullReport");
});

}  // namespace
}  // namespace varnel::embedded
