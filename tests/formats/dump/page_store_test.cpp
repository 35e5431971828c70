#include "formats/dump/page_store.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

DumpProblem ProblemOfType(std::uint32_t type) {
  return OpenBytes(support::MakeDumpHeader(type).bytes()).problem;
}

TEST(PageStore, IsRefusedByNameForFormsThatKeepRanges) {
  for (const std::uint32_t type : {8u, 9u, 10u}) EXPECT_EQ(ProblemOfType(type), DumpProblem::kRanges);
}

TEST(PageStore, IsRefusedForTypesThatHaveNoMeaning) {
  for (const std::uint32_t type : {0u, 11u, 0x45474150u}) EXPECT_EQ(ProblemOfType(type), DumpProblem::kUnknownType);
}

TEST(PageStore, IsNotNeededForAHeaderAlone) {
  EXPECT_EQ(ProblemOfType(3), DumpProblem::kNone);
}

TEST(PageStore, IsTheSameForAllFormsWithABitmap) {
  support::PagedDumpBytes dump;
  support::MakeMachine(&dump, false);
  for (const std::uint32_t type : {2u, 5u, 6u, 7u}) {
    const OpenedDump opened = OpenBytes(dump.AsBitmap(type));
    ASSERT_TRUE(opened.ok()) << type;
    EXPECT_EQ(ReadMemory<std::uint64_t>(*opened.dump, support::made_machine::kRsp),
              support::made_machine::kKernelBase + 0x1111);
  }
}

}  // namespace
}  // namespace varnel::formats
