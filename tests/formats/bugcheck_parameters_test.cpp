#include "formats/bugcheck_parameters.h"

#include <gtest/gtest.h>

#include "formats/bugcheck_names.h"

namespace varnel::formats {
namespace {

TEST(BugCheckParameterMeanings, ArePhrasesForTheFourParameters) {
  const BugCheckParameters meanings = BugCheckParameterMeanings(0x7E);
  EXPECT_EQ(meanings[0], "exception code");
  EXPECT_EQ(meanings[1], "instruction that raised it");
  EXPECT_EQ(meanings[2], "address of the exception record");
  EXPECT_EQ(meanings[3], "address of the context record");
}

TEST(BugCheckParameterMeanings, AreEmptyForAReservedParameter) {
  const BugCheckParameters meanings = BugCheckParameterMeanings(0x4A);
  EXPECT_EQ(meanings[0], "system call routine");
  EXPECT_EQ(meanings[2], "");
  EXPECT_EQ(meanings[3], "");
}

TEST(BugCheckParameterMeanings, OfTheFormThatSmallDumpsWriteAreThoseOfTheCode) {
  EXPECT_EQ(BugCheckParameterMeanings(0x1000007E), BugCheckParameterMeanings(0x7E));
  EXPECT_EQ(BugCheckParameterMeanings(0x1000008E)[2], "address of the trap frame");
  EXPECT_TRUE(HasBugCheckParameterMeanings(0x100000EA));
}

TEST(BugCheckParameterMeanings, ThatHoldInSomeFormsOnlySaySo) {
  EXPECT_EQ(BugCheckParameterMeanings(0x124)[2], "for source 0: upper 32 bits of the bank's status");
  EXPECT_EQ(BugCheckParameterMeanings(0x124)[3], "for source 0: lower 32 bits of the bank's status");
  EXPECT_EQ(BugCheckParameterMeanings(0x12B)[1], "number of the physical page; else the compressed size");
  EXPECT_EQ(BugCheckParameterMeanings(0x12B)[2], "0, else the source buffer");
  EXPECT_EQ(BugCheckParameterMeanings(0x7A)[0], "1 to 4 for a kind of lock, else address of the page table entry");
  EXPECT_EQ(BugCheckParameterMeanings(0x77)[3], "place in the page file; for 0 to 2 the signature's address");
  EXPECT_EQ(BugCheckParameterMeanings(0x24)[1], "address of the exception record, if any");
  EXPECT_EQ(BugCheckParameterMeanings(0x116)[3], "data that depends on the failure");
  EXPECT_EQ(BugCheckParameterMeanings(0xEA)[3], "under a debugger how often it was intercepted, else 1");
  EXPECT_EQ(BugCheckParameterMeanings(0xED)[1], "status of the mount");
}

TEST(BugCheckParameterMeanings, AreEmptyForACodeThatIsNotInTheTable) {
  for (const std::uint32_t code : {0x0u, 0x2u, 0xFFFFFFFFu, 0x8000007Eu}) {
    EXPECT_EQ(BugCheckParameterMeanings(code), BugCheckParameters{}) << code;
    EXPECT_FALSE(HasBugCheckParameterMeanings(code)) << code;
  }
}

TEST(BugCheckParameterMeanings, ACodeWithoutDocumentedParametersIsKnownAllTheSame) {
  EXPECT_TRUE(HasBugCheckParameterMeanings(0x65));
  EXPECT_TRUE(HasBugCheckParameterMeanings(0xE2));
  EXPECT_EQ(BugCheckParameterMeanings(0xE2), BugCheckParameters{});
}

// A lookup finds a code only if the table is in order, so that each one that has a name and stands in it counts.
TEST(BugCheckParameterMeanings, AreKnownForMoreThanFortyCodesEachWithAName) {
  int known = 0;
  for (std::uint32_t code = 0; code < 0x400; ++code) {
    if (!HasBugCheckParameterMeanings(code)) continue;
    ++known;
    EXPECT_NE(BugCheckName(code), "") << code;
  }
  EXPECT_GE(known, 40);
  EXPECT_TRUE(HasBugCheckParameterMeanings(0xC000021A));
}

TEST(BugCheckParameterMeanings, AreKnownForTheStopCodesOfTheSampleDumps) {
  for (const std::uint32_t code : {0x1Au, 0x1Eu, 0x4Au, 0x50u, 0x65u, 0x1000007Eu, 0x1C7u}) {
    EXPECT_TRUE(HasBugCheckParameterMeanings(code)) << code;
  }
}

}  // namespace
}  // namespace varnel::formats
