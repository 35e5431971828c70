// Machines in random states, each run over its dumps again and again and ended at random places: what is told of which
// dump, in which order and with which importance, and what is kept, equals what the model works out.
#include "tests/analyzer/dump_model.h"

#include <random>

#include "formats/text_encoding.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel::testing {

std::ostream& operator<<(std::ostream& out, const ToldDump& told) {
  return out << (told.kind == DumpKind::kNoSymbol ? "no symbols: " : "with symbols: ")
             << formats::Utf16ToUtf8(told.path) << (told.important ? " important" : " of the batch");
}

namespace {

constexpr unsigned kRuns = 25;  // of each machine

class DumpModelTest : public AnalyzerTest, public ::testing::WithParamInterface<unsigned> {
 protected:
  DumpModelTest() : random_(GetParam()) {}
  // Courses in which hardly anything is told hold nothing. One machine may be such a one (its settings make no dumps),
  // several together are not.
  static void TearDownTestSuite() {
    if (machines_of_all_ >= 10) {
      EXPECT_GT(told_of_all_, machines_of_all_ * kRuns);
    }
  }

  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  bool OneIn(unsigned n) { return Below(n) == 0; }

  void ChangeSomething();
  void AddOne();
  void TouchOne();
  void RemoveOne();
  void ChangeSettings();
  void LoseMarker();
  /// Holds some dumps open for writing, so that nobody can read them.
  std::vector<platform::HANDLE> HoldSome();
  void RunBoth();
  void ExpectKept(const std::u16string& marker, const std::u16string& prefix, const ModelKind& kind) const;
  std::u16string AnyDump();

  static inline unsigned told_of_all_ = 0;
  static inline unsigned machines_of_all_ = 0;
  std::mt19937_64 random_;
  DumpModel model_;
  unsigned next_ = 0;
  std::size_t told_ = 0;
};

std::u16string DumpModelTest::AnyDump() {
  auto at = model_.dumps.begin();
  std::advance(at, Below(static_cast<unsigned>(model_.dumps.size())));
  return at->first;
}

void DumpModelTest::AddOne() {
  const std::string number = std::to_string(next_++);
  std::string bytes = OneIn(8) ? "" : OneIn(6) ? "a common content" : "dump " + number;
  if (!bytes.empty() && OneIn(4)) bytes.resize(100'000 + Below(100'000), 'x');
  const std::uint64_t created = 100 + Below(40);  // some are of the same time
  const std::u16string path = AddDump(formats::Utf8ToUtf16("d" + number + ".dmp"), bytes, created);
  model_.dumps[path] = {bytes.empty() ? u"" : IdentityOf(bytes, kWritten), created, true};
}

void DumpModelTest::TouchOne() {
  if (model_.dumps.empty()) return;
  const std::u16string path = AnyDump();
  ModelDump& dump = model_.dumps[path];
  const std::uint64_t written = kWritten + 1 + Below(1000);
  constexpr std::uint64_t kHour = 36'000'000'000;
  machine.files.SetTimes(path, dump.created * kHour, written);
  if (!dump.identity.empty()) dump.identity = IdentityOf(machine.files.Contents(path), written);
}

void DumpModelTest::RemoveOne() {
  if (model_.dumps.empty()) return;
  const std::u16string path = AnyDump();
  machine.files.Remove(path);
  model_.dumps.erase(path);
}

void DumpModelTest::ChangeSettings() {
  const std::uint32_t types[] = {3, 3, 3, 0, 4};
  const std::uint32_t type = types[Below(5)];
  SetControl(u"CrashDumpEnabled", type);
  model_.enabled = type != 0;
  model_.has_folder = type == 3;
}

void DumpModelTest::LoseMarker() {
  const bool no_symbol = OneIn(2);
  machine.files.Remove(MarkerPath(no_symbol ? kMarkerNoSymbol : kMarkerWithSymbol));
  (no_symbol ? model_.no_symbol : model_.with_symbol).marker.reset();
}

void DumpModelTest::ChangeSomething() {
  for (unsigned count = Below(4); count > 0; --count) AddOne();
  if (OneIn(3)) TouchOne();
  if (OneIn(3)) RemoveOne();
  if (OneIn(4)) ChangeSettings();
  if (OneIn(5)) LoseMarker();
}

std::vector<platform::HANDLE> DumpModelTest::HoldSome() {
  std::vector<platform::HANDLE> held;
  for (auto& [path, dump] : model_.dumps) {
    dump.readable = !OneIn(12);
    if (dump.readable) continue;
    held.push_back(machine.files.CreateFileW(path.c_str(), platform::kGenericWrite, 7, platform::kOpenExisting, 0));
  }
  return held;
}

void DumpModelTest::RunBoth() {
  // Both see the same places of the same run: the n-th step is the last.
  const unsigned last = OneIn(3) ? Below(12) : ~0u;
  unsigned steps_of_model = 0;
  unsigned steps = 0;
  const DumpRunOutcome expected = model_.Run([&](RunStep) { return steps_of_model++ < last; });
  const DumpRunOutcome outcome = RunOverDumps(kProduct, [&](RunStep) { return steps++ < last; });
  EXPECT_EQ(outcome.prepared, 0);
  EXPECT_EQ(outcome.firstRunNoSymbol, expected.firstRunNoSymbol);
  EXPECT_EQ(outcome.firstRunWithSymbol, expected.firstRunWithSymbol);
  EXPECT_EQ(outcome.told, expected.told);
  EXPECT_EQ(steps, steps_of_model);
  told_ += outcome.told.size();
}

void DumpModelTest::ExpectKept(const std::u16string& marker, const std::u16string& prefix,
                               const ModelKind& kind) const {
  if (!kind.marker) {
    EXPECT_EQ(Marker(marker), "absent");
  } else {
    TextList lines;
    EXPECT_EQ(CrashDumpConfigManager().ReadMarkerFile(kProduct, marker, &lines), 0);
    EXPECT_EQ(lines, *kind.marker);
  }
  const auto& registry = machine.registry;
  EXPECT_EQ(registry.GetDword(kProductKey, prefix + u"Completed").value_or(0), kind.completed ? 1u : 0u);
  const auto total = registry.GetDword(kProductKey, prefix + u"FirstRunTotalCount");
  EXPECT_EQ(total.has_value(), kind.batch.has_value());
  if (!kind.batch) return;
  EXPECT_EQ(total, kind.batch->files.size());
  EXPECT_EQ(registry.GetDword(kProductKey, prefix + u"FirstRunCompletedCount"), kind.batch->count);
}

TEST_P(DumpModelTest, EqualsWhatIsToldAndKept) {
  ChangeSettings();
  for (unsigned count = Below(9); count > 0; --count) AddOne();
  for (unsigned run = 0; run < kRuns && !HasFailure(); ++run) {
    SCOPED_TRACE(run);
    const std::vector<platform::HANDLE> held = HoldSome();
    RunBoth();
    for (const platform::HANDLE handle : held) machine.system.CloseHandle(handle);
    ExpectKept(kMarkerNoSymbol, u"NoSymbol_", model_.no_symbol);
    ExpectKept(kMarkerWithSymbol, u"WithSymbol_", model_.with_symbol);
    ExpectNothingHeld();
    ChangeSomething();
  }
  told_of_all_ += told_;
  ++machines_of_all_;
}

INSTANTIATE_TEST_SUITE_P(Machines, DumpModelTest, ::testing::Range(1u, 201u));

}  // namespace
}  // namespace varnel::testing
