#include "pipeline/counter_window.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "base/log.h"
#include "tests/pipeline/order_model.h"
#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

enum class Answer { kOld, kNew, kInvalid };

Answer Check(std::uint32_t current, std::uint32_t check) {
  std::uint32_t is_new = 77;
  const std::uint32_t result = CheckCounterNewOrOld(current, check, &is_new);
  if (result == 0) return is_new == 1 ? Answer::kNew : Answer::kOld;
  EXPECT_EQ(result, 31u);
  EXPECT_EQ(is_new, 77u) << "an invalid counter must not write the answer";
  return Answer::kInvalid;
}

struct Row {
  std::uint32_t current;
  std::uint32_t check;
  Answer answer;
  const char* why;
};

void PrintTo(const Row& row, std::ostream* out) {
  *out << std::hex << row.current << " " << row.check << " " << row.why;
}

class CounterWindowTable : public testing::PipelineTest, public ::testing::WithParamInterface<Row> {};

TEST_P(CounterWindowTable, AnswersAsItsRowSays) {
  EXPECT_EQ(Check(GetParam().current, GetParam().check), GetParam().answer) << GetParam().why;
}

INSTANTIATE_TEST_SUITE_P(
    OverflowOld, CounterWindowTable,
    ::testing::Values(Row{5, 5, Answer::kOld, "equal"}, Row{0, 0, Answer::kOld, "equal at zero"},
                      Row{5, 0xFFFFFFF0u, Answer::kOld, "before the wrap"},
                      Row{5, 5 - 0x3FFFFFFFu, Answer::kOld, "the lower border"},
                      Row{5, 5 - 0x3FFFFFFFu - 1, Answer::kInvalid, "below the lower border"},
                      Row{0x10u, 0x05u, Answer::kInvalid, "below the current one behind the wrap"},
                      Row{0x10u, 0x00u, Answer::kInvalid, "zero behind the wrap"}, Row{5, 6, Answer::kNew, "the next"},
                      Row{5, 5 + 0x3FFFFFFFu, Answer::kNew, "the upper border"},
                      Row{5, 5 + 0x3FFFFFFFu + 1, Answer::kInvalid, "above the upper border"},
                      Row{0x3FFFFFFEu, 0x3FFFFFFDu, Answer::kInvalid, "the last current counter of this case"}));

INSTANTIATE_TEST_SUITE_P(
    NoOverflow, CounterWindowTable,
    ::testing::Values(Row{0x50000000u, 0x40000000u, Answer::kOld, "below"},
                      Row{0x3FFFFFFFu, 0, Answer::kOld, "the first current counter of this case, lower border 0"},
                      Row{0x50000000u, 0x50000000u - 0x3FFFFFFFu, Answer::kOld, "the lower border"},
                      Row{0x50000000u, 0x50000000u - 0x3FFFFFFFu - 1, Answer::kInvalid, "below the lower border"},
                      Row{0x50000000u, 0x50000000u + 0x3FFFFFFFu, Answer::kNew, "the upper border"},
                      Row{0x50000000u, 0x50000000u + 0x3FFFFFFFu + 1, Answer::kInvalid, "above the upper border"},
                      Row{0xC0000000u, 0xFFFFFFFFu, Answer::kNew, "the last current counter of this case"},
                      Row{0xC0000000u, 0, Answer::kInvalid, "zero above the upper border"}));

INSTANTIATE_TEST_SUITE_P(
    OverflowNew, CounterWindowTable,
    ::testing::Values(Row{0xFFFFFFF0u, 5, Answer::kNew, "behind the wrap"},
                      Row{0xFFFFFFFFu, 0, Answer::kInvalid, "zero is invalid"},
                      Row{0xFFFFFFFFu, 0x3FFFFFFEu, Answer::kNew, "the upper border"},
                      Row{0xFFFFFFFFu, 0x3FFFFFFFu, Answer::kInvalid, "above the upper border"},
                      Row{0xC0000001u, 0xC0000000u, Answer::kOld, "the one before"},
                      Row{0xC0000001u, 0xC0000001u - 0x3FFFFFFFu, Answer::kInvalid, "the lower border is strict"},
                      Row{0xC0000001u, 0xC0000001u - 0x3FFFFFFFu + 1, Answer::kOld, "just above the lower border"},
                      Row{0xC0000001u, 0xFFFFFFFFu, Answer::kNew, "above, before the wrap"}));

class CounterWindowTest : public testing::PipelineTest {};

TEST_F(CounterWindowTest, InvalidCountersLogTheirCaseAndFourValues) {
  WrapLogInit(LOG_INFO, nullptr);
  Check(0x10, 0x5);
  EXPECT_TRUE(
      Logged("CheckCounterNewOrOld func overflow old check dwCounterCurrent(0x10) dwCounterToCheck(0x5) "
             "dwMin(0xc0000011) dwMax(0x4000000f) invalid!\r\n"));
  Check(0xFFFFFFFF, 0);
  EXPECT_TRUE(
      Logged("CheckCounterNewOrOld func overflow new check dwCounterCurrent(0xffffffff) dwCounterToCheck(0x0) "
             "dwMin(0xc0000000) dwMax(0x3ffffffe) invalid!\r\n"));
  Check(0x50000000, 0);
  EXPECT_TRUE(
      Logged("CheckCounterNewOrOld func no overflow check dwCounterCurrent(0x50000000) dwCounterToCheck(0x0) "
             "dwMin(0x10000001) dwMax(0x8fffffff) invalid!\r\n"));
}

TEST_F(CounterWindowTest, RandomCountersAgreeWithTheModel) {
  std::mt19937 random(7);
  const auto near = [&](std::uint32_t base) { return base + random() % 9 - 4; };
  const std::uint32_t borders[] = {0, 0x3FFFFFFF, 0x40000000, 0x7FFFFFFE, 0x80000000, 0xC0000000, 0xC0000001};
  for (int i = 0; i < 20000; ++i) {
    const std::uint32_t current = random() % 2 == 0 ? random() : near(borders[random() % 7]);
    const std::uint32_t offset = random() % 2 == 0 ? random() : near(borders[random() % 7]);
    const std::uint32_t check = random() % 2 == 0 ? current + offset : offset;
    Answer expected = Answer::kInvalid;
    if (testing::AgeOf(current, check) == testing::ModelAge::kOld) expected = Answer::kOld;
    if (testing::AgeOf(current, check) == testing::ModelAge::kNew) expected = Answer::kNew;
    ASSERT_EQ(Check(current, check), expected) << std::hex << current << " " << check;
  }
}

}  // namespace
}  // namespace varnel
