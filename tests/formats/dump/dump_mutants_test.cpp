// Two hundred mutants of each dump of the samples and of each form that the tests make: bytes changed, numbers put to
// their limits, the file cut, parts swapped and repeated. Whatever comes of it, reading everything ends after work and
// with memory that the file's size bounds. The seeds are fixed, so that a failure comes again.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <iterator>
#include <random>
#include <string>

#include "open_dump.h"
#include "tests/support/drain_dump.h"
#include "tests/support/replaced_heap.h"

namespace varnel::formats {
namespace {

constexpr int kMutants = 200;
constexpr std::size_t kMegabyte = 1024 * 1024;

using Bytes = std::vector<std::byte>;
using Random = std::mt19937_64;

std::size_t Below(Random& random, std::size_t bound) {
  return bound == 0 ? 0 : static_cast<std::size_t>(random() % bound);
}

/// Half of all damage is done where the file tells of itself: the header's fields and what begins at 0x2000.
std::size_t Place(Random& random, const Bytes& bytes) {
  constexpr std::array<std::size_t, 4> kFrom = {0, 0xF00, 0x2000, 0x2080};
  constexpr std::array<std::size_t, 4> kSize = {0x3A0, 0x160, 0x80, 0x4000};
  if (random() % 2 == 0) return Below(random, bytes.size());
  const std::size_t part = Below(random, kFrom.size());
  return std::min(kFrom[part] + Below(random, kSize[part]), bytes.size() - 1);
}

void ChangeBytes(Random& random, Bytes* bytes) {
  for (std::size_t i = Below(random, 32) + 1; i > 0; --i) {
    // The signatures mostly stay, or most mutants would be no dumps.
    const std::size_t at = Place(random, *bytes);
    if (at >= 8 || random() % 16 == 0) (*bytes)[at] = std::byte(random() & 0xFF);
  }
}

void ChangeNumbers(Random& random, Bytes* bytes) {
  constexpr std::uint32_t kNumbers[] = {0,      1,       7,       0x20,       0x48,       0x1000,     0x2000,
                                        0xFFFF, 0x10000, 0x28000, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF, 0x45474150};
  for (std::size_t i = Below(random, 8) + 1; i > 0; --i) {
    const std::uint32_t number = kNumbers[Below(random, std::size(kNumbers))];
    const std::size_t at = std::max<std::size_t>(Place(random, *bytes) / 4 * 4, 8);
    if (bytes->size() - at >= sizeof(number)) std::memcpy(bytes->data() + at, &number, sizeof(number));
  }
}

void Swap(Random& random, Bytes* bytes) {
  const std::size_t size = Below(random, std::min<std::size_t>(bytes->size() / 4, 0x8000)) + 1;
  const std::size_t a = std::clamp<std::size_t>(Place(random, *bytes), 8, bytes->size() - size);
  const std::size_t b = std::clamp<std::size_t>(Place(random, *bytes), 8, bytes->size() - size);
  if (std::max(a, b) - std::min(a, b) < size) return ChangeBytes(random, bytes);
  const auto at = [bytes](std::size_t i) { return bytes->begin() + static_cast<std::ptrdiff_t>(i); };
  std::swap_ranges(at(a), at(a + size), at(b));
}

void Repeat(Random& random, Bytes* bytes) {
  const std::size_t from = Place(random, *bytes);
  const std::size_t size = std::min(Below(random, 0x8000) + 1, bytes->size() - from);
  const auto at = [bytes](std::size_t i) { return bytes->begin() + static_cast<std::ptrdiff_t>(i); };
  const Bytes part(at(from), at(from + size));
  bytes->insert(at(std::max<std::size_t>(Place(random, *bytes), 8)), part.begin(), part.end());
}

Bytes Mutant(const Bytes& original, int number) {
  Random random(0xD00D0000u + static_cast<unsigned>(number));
  Bytes bytes = original;
  switch (number % 5) {
    case 0:
      ChangeBytes(random, &bytes);
      break;
    case 1:
      ChangeNumbers(random, &bytes);
      break;
    case 2:
      bytes.resize(Place(random, bytes));
      break;
    case 3:
      Swap(random, &bytes);
      break;
    default:
      Repeat(random, &bytes);
      break;
  }
  return bytes;
}

/// Lends its bytes and counts what is read of them.
class CountingSource final : public DumpSource {
 public:
  explicit CountingSource(const Bytes& bytes) noexcept : bytes_(bytes) {}
  std::uint64_t Size() const noexcept override { return bytes_.size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    ++reads;
    if (offset >= bytes_.size()) return 0;
    const std::size_t size = std::min<std::size_t>(into.size(), bytes_.size() - offset);
    std::memcpy(into.data(), bytes_.data() + offset, size);
    bytes_read += size;
    return size;
  }
  mutable std::size_t reads = 0;
  mutable std::size_t bytes_read = 0;

 private:
  const Bytes& bytes_;
};

void Survive(const Bytes& original) {
  int opened_mutants = 0;
  for (int i = 0; i < kMutants; ++i) {
    SCOPED_TRACE("mutant " + std::to_string(i));
    const Bytes mutant = Mutant(original, i);
    const testing::HeapPeak peak;
    const auto source = std::make_shared<CountingSource>(mutant);
    {
      const OpenedDump opened = KernelDump::Open(source);
      EXPECT_EQ(opened.ok(), opened.problem == DumpProblem::kNone);
      if (opened.ok()) {
        ++opened_mutants;
        support::DrainDump(*opened.dump);
      }
    }
    EXPECT_LE(peak.bytes(), 8 * mutant.size() + kMegabyte);
    EXPECT_LE(source->bytes_read, 32 * mutant.size() + 32 * kMegabyte);
    EXPECT_LE(source->reads, mutant.size() + 500'000);
    if (::testing::Test::HasFailure()) return;
  }
  EXPECT_GE(opened_mutants, kMutants / 2);
}

class SampleMutants : public ::testing::TestWithParam<const char*> {};

TEST_P(SampleMutants, AreReadWithinTheirBounds) {
  const Bytes original = support::ReadWholeFile(std::string(VARNEL_SAMPLES_DIR "/dmp/") + GetParam());
  if (original.empty()) GTEST_SKIP() << "the samples are not here";
  Survive(original);
}

std::string NameOf(const ::testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Windows, SampleMutants,
                         ::testing::Values("triage_x64.dmp", "082325-12593-01.dmp", "083125-14875-01.dmp",
                                           "100623-4953-01.dmp", "102622-12546-01.dmp", "102622-15671-01.dmp",
                                           "102622-30093-01.dmp", "coredump_win10_64bit_stripped.raw",
                                           "coredump_win7_32bit_stripped.raw", "040124-5515-01.dmp",
                                           "040124-5218-01.dmp"),
                         NameOf);

TEST(MadeMutants, OfASmallDumpAreReadWithinTheirBounds) {
  support::SmallDumpBytes dump;
  dump.AddDebuggerData(0xFFFFF80012345B20, support::MakeDebuggerData());
  dump.AddProcessorBlock(support::GrowingBytes(support::made_layout::kSizePrcb));
  dump.AddThread(support::GrowingBytes(support::made_layout::kSizeThread));
  dump.AddStack(0xFFFFC00000015100, Pattern(0x700, 3));
  for (std::uint64_t i = 0; i < 40; ++i) {
    dump.AddDriver(u"\\SystemRoot\\a.sys", 0xFFFFF80000000000 + 0x10000 * i, 0x8000, 1, 2);
    dump.AddUnloaded(u"b.sys", 0x1000 * i, 0x1000 * i + 0x800);
    dump.AddBlock(0xFFFFB00000000000 + 0x80 * i, Pattern(0x100, 1));
    dump.AddSecondary(static_cast<std::uint8_t>(i), Pattern(10 * i, 1), 3, 1);
  }
  Survive(dump.Finish());
}

class PagedMutants : public ::testing::TestWithParam<int> {};

TEST_P(PagedMutants, AreReadWithinTheirBounds) {
  const int levels = GetParam() == 50 ? 5 : 4;
  support::PagedDumpBytes dump(levels);
  support::MakeMachine(&dump, GetParam() != 1, levels);
  std::uint64_t previous = 0xFFFFB00100021000;
  for (std::uint64_t i = 0; i < 40; ++i) {
    const std::uint64_t where = 0xFFFFB00100030000 + 0x300 * i;
    support::AddLiveModule(&dump, where, previous, 0xFFFFF80030000000 + 0x10000 * i, u"\\x\\a.sys", u"a.sys");
    previous = where;
  }
  Survive(GetParam() == 1 ? dump.AsRuns() : dump.AsBitmap(GetParam() == 5 ? 5 : 6));
}

// Runs, both bitmaps, and tables of five levels.
INSTANTIATE_TEST_SUITE_P(Made, PagedMutants, ::testing::Values(1, 5, 6, 50));

}  // namespace
}  // namespace varnel::formats
