#include "formats/dump/dump_problem.h"

#include <gtest/gtest.h>

#include <set>

namespace varnel::formats {
namespace {

TEST(DumpProblem, HasASentenceOfItsOwnForEach) {
  std::set<std::string_view> texts;
  for (const DumpProblem problem : {DumpProblem::kNone, DumpProblem::kTooShort, DumpProblem::kNotADump,
                                    DumpProblem::kRanges, DumpProblem::kUnknownType, DumpProblem::kDamagedBody}) {
    const std::string_view text = DumpProblemText(problem);
    EXPECT_FALSE(text.empty());
    EXPECT_TRUE(texts.insert(text).second) << text;
  }
}

}  // namespace
}  // namespace varnel::formats
