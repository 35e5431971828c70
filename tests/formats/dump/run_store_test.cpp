#include "formats/dump/run_store.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

DumpHeader WithRuns(std::vector<PageRun> runs, std::uint64_t pages) {
  DumpHeader header;
  header.type = DumpType::kFull;
  header.physical_memory = PhysicalMemoryDescriptor{static_cast<std::uint32_t>(runs.size()), pages, std::move(runs)};
  return header;
}

std::unique_ptr<PageStore> Open(std::vector<PageRun> runs, std::uint64_t pages) {
  std::unique_ptr<PageStore> store;
  EXPECT_EQ(RunStore::Open(WithRuns(std::move(runs), pages), &store), DumpProblem::kNone);
  return store;
}

TEST(RunStore, FindsPagesRunBehindRun) {
  const auto store = Open({{1, 0x9E}, {0x100, 2}}, 0xA0);
  EXPECT_FALSE(store->OffsetOf(0));
  EXPECT_EQ(store->OffsetOf(1), 0x2000u);
  EXPECT_EQ(store->OffsetOf(0x9E), 0x2000u + 0x9D * 0x1000u);
  EXPECT_FALSE(store->OffsetOf(0x9F));
  EXPECT_EQ(store->OffsetOf(0x101), 0x2000u + 0x9F * 0x1000u);
  EXPECT_FALSE(store->OffsetOf(0x102));
  EXPECT_EQ(store->End(), 0x2000u + 0xA0 * 0x1000u);
  EXPECT_TRUE(store->CountsAgree());
}

TEST(RunStore, TellsThatTheSumOfTheRunsIsNotTheCount) {
  EXPECT_FALSE(Open({{1, 0x9E}}, 0x9F)->CountsAgree());
}

TEST(RunStore, RefusesAHeaderWithoutRuns) {
  std::unique_ptr<PageStore> store;
  EXPECT_EQ(RunStore::Open(DumpHeader{}, &store), DumpProblem::kDamagedBody);
}

TEST(RunStore, RefusesMoreRunsThanTheHeaderHolds) {
  DumpHeader header = WithRuns({{1, 2}}, 2);
  header.physical_memory->number_of_runs = 43;
  std::unique_ptr<PageStore> store;
  EXPECT_EQ(RunStore::Open(header, &store), DumpProblem::kDamagedBody);
}

TEST(RunStore, RefusesARunThatLeavesMemory) {
  std::unique_ptr<PageStore> store;
  for (const PageRun run :
       {PageRun{kMaxPages, 1}, PageRun{1, kMaxPages}, PageRun{~std::uint64_t{0}, 2}, PageRun{2, ~std::uint64_t{0}}}) {
    EXPECT_EQ(RunStore::Open(WithRuns({run}, 1), &store), DumpProblem::kDamagedBody);
  }
  EXPECT_EQ(RunStore::Open(WithRuns({{1, kMaxPages - 1}}, 1), &store), DumpProblem::kNone);
  EXPECT_EQ(RunStore::Open(WithRuns({{kMaxPages, 0}}, 1), &store), DumpProblem::kNone);
}

}  // namespace
}  // namespace varnel::formats
