#include <gtest/gtest.h>

#include <cstring>

#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

using formats::MissingReason;
using Outcome = Probe::Outcome;

MissingReason ReasonOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kThere:
      return MissingReason::kNone;
    case Outcome::kNoTablePage:
      return MissingReason::kNoTablePage;
    case Outcome::kNoDataPage:
      return MissingReason::kNoDataPage;
    case Outcome::kPagedOut:
      return MissingReason::kPagedOut;
    case Outcome::kZero:
      return MissingReason::kNotMapped;
    case Outcome::kNotCanonical:
      break;
  }
  return MissingReason::kNotCanonical;
}

// A machine with 4 GiB, so that a page of 1 GiB has room; its complete dump goes to no disk: it is read from what the
// writer wrote, page by page.
class SparseSink final : public DumpSink, public formats::DumpSource {
 public:
  formats::Status SetSize(std::uint64_t size) override {
    size_ = size;
    return formats::Ok();
  }
  formats::Status Write(std::uint64_t offset, std::span<const std::byte> bytes) override {
    written_[offset].assign(bytes.begin(), bytes.end());
    return formats::Ok();
  }
  std::uint64_t Size() const noexcept override { return size_; }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    if (offset >= size_) return 0;
    const std::size_t size = std::min<std::uint64_t>(into.size(), size_ - offset);
    std::memset(into.data(), 0, size);
    auto block = written_.upper_bound(offset);
    if (block != written_.begin()) --block;
    for (; block != written_.end() && block->first < offset + size; ++block) {
      const std::uint64_t from = std::max(offset, block->first);
      const std::uint64_t to = std::min(offset + size, block->first + block->second.size());
      if (from < to)
        std::memcpy(into.data() + (from - offset), block->second.data() + (from - block->first), to - from);
    }
    return size;
  }
  std::size_t WrittenBytes() const {
    std::size_t sum = 0;
    for (const auto& [offset, bytes] : written_) sum += bytes.size();
    return sum;
  }

 private:
  std::uint64_t size_ = 0;
  std::map<std::uint64_t, std::vector<std::byte>> written_;
};

struct ProbedDump {
  ProbedDump(const CrashedMachineOptions& crash, CrashDumpForm form)
      : machine(crash), file(std::make_shared<SparseSink>()) {
    EXPECT_TRUE(WriteCrashDump(machine, {form, true, true}, file.get()).ok());
    auto opened = formats::KernelDump::Open(file);
    EXPECT_TRUE(opened.ok()) << formats::DumpProblemText(opened.problem);
    dump = std::move(opened.dump);
  }
  CrashedMachine machine;
  std::shared_ptr<SparseSink> file;
  std::unique_ptr<formats::KernelDump> dump;
};

using FormAndLevels = std::tuple<CrashDumpForm, unsigned>;
class PlantedProbesTest : public testing::TestWithParam<FormAndLevels> {
 protected:
  static CrashedMachineOptions OddCrash() {
    CrashedMachineOptions crash = SomeCrash();
    crash.odd_entries = true;
    crash.paging_levels = std::get<1>(GetParam());
    crash.memory_size = std::uint64_t{4} << 30;
    return crash;
  }
};

TEST_P(PlantedProbesTest, EachEntryIsReadAsTheProcessorAndTheKernelWouldTakeIt) {
  const ProbedDump made(OddCrash(), std::get<0>(GetParam()));
  EXPECT_EQ(made.machine.probes.size(), std::get<1>(GetParam()) == 5 ? 12u : 11u);
  for (const Probe& probe : made.machine.probes) {
    const bool kernel = std::get<0>(GetParam()) == CrashDumpForm::kKernel;
    const Outcome outcome = kernel ? probe.in_kernel_dump : probe.in_complete_dump;
    EXPECT_EQ(made.dump->WhyMissing(probe.address), ReasonOf(outcome)) << probe.kind;
    std::vector<std::byte> read(outcome == Outcome::kThere ? probe.text.size() : 1);
    const std::size_t got = made.dump->ReadVirtual(probe.address, read);
    if (outcome != Outcome::kThere) {
      EXPECT_EQ(got, 0u) << probe.kind;
      continue;
    }
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(read.data()), got), probe.text);
  }
}

TEST_P(PlantedProbesTest, TheKernelInALargePageIsReadWhole) {
  CrashedMachineOptions crash = OddCrash();
  crash.large_kernel_page = true;
  const ProbedDump made(crash, std::get<0>(GetParam()));
  const LoadedImage& kernel = made.machine.kernel;
  std::vector<std::byte> read(kernel.bytes().size());
  ASSERT_EQ(made.dump->ReadVirtual(kernel.base(), read), read.size());
  EXPECT_TRUE(std::equal(read.begin(), read.begin() + 0x2000, kernel.bytes().begin())) << "headers and code";
  EXPECT_EQ(made.dump->Modules().size(), made.machine.modules.size());
}

TEST_P(PlantedProbesTest, PagesTellTheirProtection) {
  const ProbedDump made(OddCrash(), std::get<0>(GetParam()));
  const LoadedImage& kernel = made.machine.kernel;
  EXPECT_EQ(made.dump->Protection(kernel.base()), 0x02u) << "headers: read only";
  EXPECT_EQ(made.dump->Protection(kernel.Export("KeBugCheckEx")), 0x20u) << "code: execute and read";
  EXPECT_EQ(made.dump->Protection(kernel.Export("PsLoadedModuleList")), 0x04u) << "data: read and write";
}

INSTANTIATE_TEST_SUITE_P(Forms, PlantedProbesTest,
                         testing::Combine(testing::Values(CrashDumpForm::kKernel, CrashDumpForm::kComplete,
                                                          CrashDumpForm::kCompleteRuns),
                                          testing::Values(4u, 5u)));

TEST(PlantedProbes, ACompleteDumpOf64GiBIsWrittenByItsFewPages) {
  CrashedMachineOptions crash = SomeCrash();
  crash.memory_size = std::uint64_t{64} << 30;
  const ProbedDump made(crash, CrashDumpForm::kComplete);
  EXPECT_GT(made.file->Size(), std::uint64_t{63} << 30);
  EXPECT_LT(made.file->WrittenBytes(), std::size_t{8} << 20);
  EXPECT_EQ(made.dump->Modules().size(), made.machine.modules.size());
  EXPECT_TRUE(made.dump->Completeness().complete());
}

}  // namespace
}  // namespace varnel::embedded
