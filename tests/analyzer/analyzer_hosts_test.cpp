// Several hosts run the analyzer on one machine at once, each with a folder of its own for its executable.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "tests/analyzer/analyzer_child.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/analyzer/analyzer_run.h"
#include "tests/analyzer/dump_machine.h"

namespace varnel::testing {
namespace {

constexpr unsigned kHosts = 4;
constexpr unsigned kDumps = 12;
constexpr unsigned kRounds = 5;

class ManyHosts {
 public:
  ManyHosts() {
    for (unsigned i = 0; i < kDumps; ++i) {
      dumps_.push_back(machine_.AddDump(std::to_string(i) + ".dmp", HeaderOnlyDump(i), i));
    }
    for (unsigned i = 0; i < kHosts; ++i) {
      EXPECT_EQ(machine_.ports().files->CreateFolders((u"C:\\Hosts\\" + Number(i)).c_str()), 0u);
    }
  }

  void LeaveEmptyMarkers() {
    CrashDumpConfigManager manager;
    EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {}), 0);
    EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerWithSymbol, {}), 0);
  }

  void RunAll() {
    machine_.Close();
    std::vector<std::unique_ptr<AnalyzerChild>> children;
    for (unsigned i = 0; i < kHosts; ++i) {
      children.push_back(
          std::make_unique<AnalyzerChild>(machine_.root(), Moment::kNever, 0, "C:\\Hosts\\" + std::to_string(i)));
    }
    for (const auto& child : children) ends_.push_back(child->Wait());
    machine_.Open();
  }

  void ExpectOrderlyEnds() const {
    for (const ChildEnd& end : ends_) {
      EXPECT_TRUE(end.in_time) << "a host hangs";
      EXPECT_TRUE(end.initialized == 0 || end.initialized == HrOf(32)) << std::hex << end.initialized;
      if (end.initialized == 0) EXPECT_EQ(end.started, 0);
      EXPECT_TRUE(end.failures.empty()) << end.failures.front();
    }
    EXPECT_TRUE(std::any_of(ends_.begin(), ends_.end(), [](const ChildEnd& end) { return end.initialized == 0; }));
  }

  void ExpectNoDumpLeftOut() {
    const DumpModel left = machine_.State();
    for (const std::u16string& dump : dumps_) {
      for (const DumpKind kind : {DumpKind::kNoSymbol, DumpKind::kWithSymbol}) {
        const auto& marker = (kind == DumpKind::kNoSymbol ? left.no_symbol : left.with_symbol).marker;
        const std::u16string& identity = left.dumps.at(dump).identity;
        const bool recorded = marker && std::count(marker->begin(), marker->end(), identity) != 0;
        EXPECT_TRUE(recorded || Told(kind, dump));
      }
    }
  }

  /// A host that comes alone finds what the others could not record, and leaves nothing.
  void ExpectOneMoreRunToFinish() {
    EXPECT_EQ(RunTheAnalyzer(kProduct).initialized, 0);
    EXPECT_TRUE(RunTheAnalyzer(kProduct).told.empty());
  }

  bool Told(DumpKind kind, const std::u16string& dump) const {
    return std::any_of(ends_.begin(), ends_.end(), [&](const ChildEnd& end) {
      return std::any_of(end.told.begin(), end.told.end(),
                         [&](const ToldDump& told) { return told.kind == kind && told.path == dump; });
    });
  }
  const std::vector<std::u16string>& dumps() const { return dumps_; }

 private:
  static std::u16string Number(unsigned i) { return std::u16string(1, static_cast<char16_t>(u'0' + i)); }

  DumpMachine machine_;
  std::vector<std::u16string> dumps_;
  std::vector<ChildEnd> ends_;
};

TEST(AnalyzerHostsTest, LaterRunsAtOnceLeaveNoDumpOutAndNoneHangs) {
  for (unsigned round = 0; round < kRounds && !::testing::Test::HasFailure(); ++round) {
    ManyHosts hosts;
    hosts.LeaveEmptyMarkers();
    hosts.RunAll();
    hosts.ExpectOrderlyEnds();
    for (const std::u16string& dump : hosts.dumps()) {
      EXPECT_TRUE(hosts.Told(DumpKind::kNoSymbol, dump)) << "none is written off behind the first run";
      EXPECT_TRUE(hosts.Told(DumpKind::kWithSymbol, dump));
    }
    hosts.ExpectOneMoreRunToFinish();
  }
}

TEST(AnalyzerHostsTest, FirstRunsAtOnceTellOrWriteOffEachDump) {
  for (unsigned round = 0; round < kRounds && !::testing::Test::HasFailure(); ++round) {
    ManyHosts hosts;
    hosts.RunAll();
    hosts.ExpectOrderlyEnds();
    hosts.ExpectNoDumpLeftOut();
    hosts.ExpectOneMoreRunToFinish();
  }
}

}  // namespace
}  // namespace varnel::testing
