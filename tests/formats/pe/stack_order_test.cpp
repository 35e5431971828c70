#include "formats/pe/stack_order.h"

#include <gmock/gmock.h>

namespace varnel::formats {
namespace {

constexpr StackRange kStacks[] = {{0x1000, 0x2000}, {0x8000, 0x9000}};

TEST(StackOrder, LetsStackPointersGrow) {
  StackOrder order({});
  EXPECT_EQ(order.Next(0x100), UnwindEnd::kNone);
  EXPECT_EQ(order.Next(0x108), UnwindEnd::kNone);
  EXPECT_EQ(order.Next(0x108), UnwindEnd::kStackDescends);
  EXPECT_EQ(order.Next(0x100), UnwindEnd::kStackDescends);
}

TEST(StackOrder, RefusesAPointerThatIsNoMultipleOfEight) {
  StackOrder order({});
  EXPECT_EQ(order.Next(0x104), UnwindEnd::kMisaligned);
}

TEST(StackOrder, KeepsPointersWithinTheStacks) {
  StackOrder order(kStacks);
  EXPECT_EQ(order.Next(0xFF8), UnwindEnd::kOffStack);
  EXPECT_EQ(order.Next(0x1000), UnwindEnd::kNone);
  EXPECT_EQ(order.Next(0x2000), UnwindEnd::kNone) << "the very top, with nothing left on the stack";
  EXPECT_EQ(order.Next(0x2008), UnwindEnd::kOffStack);
}

TEST(StackOrder, GoesOverToAnotherStackButNeverBack) {
  StackOrder order(kStacks);
  EXPECT_EQ(order.Next(0x8100), UnwindEnd::kNone);
  EXPECT_EQ(order.Next(0x1100), UnwindEnd::kNone) << "the other stack lies lower, which means nothing";
  EXPECT_EQ(order.Next(0x1100), UnwindEnd::kStackDescends);
  EXPECT_EQ(order.Next(0x8200), UnwindEnd::kStackDescends);
}

}  // namespace
}  // namespace varnel::formats
