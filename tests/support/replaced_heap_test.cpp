#include "tests/support/replaced_heap.h"

#include <gtest/gtest.h>

#include <new>

namespace varnel::testing {
namespace {

constexpr std::size_t kBlock = 1 << 20;

// Through pointers, so that no compiler leaves an allocation out.
void* (*volatile g_new)(std::size_t) = &::operator new;
void* (*volatile g_new_array)(std::size_t) = &::operator new[];
void* (*volatile g_new_or_null)(std::size_t, const std::nothrow_t&) = &::operator new;

class ReplacedHeap : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HeapIsReplaced()) GTEST_SKIP() << "the heap of this build cannot be replaced";
  }
};

TEST_F(ReplacedHeap, APeakIsTheMostThatWasHeldAtATime) {
  const HeapPeak peak;
  void* const first = g_new(kBlock);
  ::operator delete(first);
  void* const second = g_new_array(kBlock);
  const std::size_t one = peak.bytes();
  void* const third = g_new(kBlock);
  const std::size_t two = peak.bytes();
  ::operator delete[](second);
  ::operator delete(third);
  EXPECT_GE(one, kBlock);
  EXPECT_LT(one, 2 * kBlock);
  EXPECT_GE(two, 2 * kBlock);
  EXPECT_GE(peak.bytes(), two) << "what is given back does not lower it";
}

TEST_F(ReplacedHeap, WhatWasHeldBeforeIsNoPartOfAPeak) {
  void* const before = g_new(kBlock);
  const HeapPeak peak;
  const std::size_t begun = peak.bytes();
  ::operator delete(before);
  EXPECT_LT(begun, kBlock);
  EXPECT_LT(peak.bytes(), kBlock);
}

TEST_F(ReplacedHeap, ARefusalThrowsOrGivesNullAsItWasCalled) {
  bool thrown = false;
  SetHeapRefusal([] { return true; });
  try {
    ::operator delete(g_new(16));
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  void* const null = g_new_or_null(16, std::nothrow);
  SetHeapRefusal(nullptr);
  EXPECT_TRUE(thrown);
  EXPECT_EQ(null, nullptr);
  void* const block = g_new(16);
  EXPECT_NE(block, nullptr);
  ::operator delete(block);
}

}  // namespace
}  // namespace varnel::testing
