#include "pipeline/list.h"

#include <gtest/gtest.h>

#include <vector>

namespace varnel {
namespace {

std::vector<const ListEntry*> Forward(const ListEntry& head) {
  std::vector<const ListEntry*> entries;
  for (const ListEntry* e = head.Flink; e != &head; e = e->Flink) entries.push_back(e);
  return entries;
}

std::vector<const ListEntry*> Backward(const ListEntry& head) {
  std::vector<const ListEntry*> entries;
  for (const ListEntry* e = head.Blink; e != &head; e = e->Blink) entries.insert(entries.begin(), e);
  return entries;
}

using Entries = std::vector<const ListEntry*>;

class ListTest : public ::testing::Test {
 protected:
  ListTest() { InitializeListHead(&head_); }

  ListEntry head_{};
  ListEntry a_{};
  ListEntry b_{};
  ListEntry c_{};
};

TEST_F(ListTest, ANewHeadPointsAtItselfOnBothSides) {
  EXPECT_TRUE(IsListEmpty(&head_));
  EXPECT_EQ(head_.Flink, &head_);
  EXPECT_EQ(head_.Blink, &head_);
}

TEST_F(ListTest, InsertTailLinksBeforeTheHeadOnBothSides) {
  InsertTailList(&head_, &a_);
  InsertTailList(&head_, &b_);
  EXPECT_FALSE(IsListEmpty(&head_));
  EXPECT_EQ(Forward(head_), (Entries{&a_, &b_}));
  EXPECT_EQ(Backward(head_), (Entries{&a_, &b_}));
}

TEST_F(ListTest, InsertHeadLinksDirectlyBehindTheGivenNode) {
  InsertTailList(&head_, &a_);
  InsertTailList(&head_, &b_);
  InsertHeadList(&a_, &c_);
  EXPECT_EQ(Forward(head_), (Entries{&a_, &c_, &b_}));
  EXPECT_EQ(Backward(head_), (Entries{&a_, &c_, &b_}));
}

TEST_F(ListTest, InsertHeadOnAHeadPutsTheEntryFirst) {
  InsertTailList(&head_, &a_);
  InsertHeadList(&head_, &b_);
  EXPECT_EQ(Forward(head_), (Entries{&b_, &a_}));
}

TEST_F(ListTest, RemoveHeadGivesTheFirstEntryAndClosesTheGap) {
  InsertTailList(&head_, &a_);
  InsertTailList(&head_, &b_);
  EXPECT_EQ(RemoveHeadList(&head_), &a_);
  EXPECT_EQ(Forward(head_), (Entries{&b_}));
  EXPECT_EQ(Backward(head_), (Entries{&b_}));
  EXPECT_EQ(RemoveHeadList(&head_), &b_);
  EXPECT_TRUE(IsListEmpty(&head_));
}

TEST_F(ListTest, RemoveHeadOnAnEmptyListGivesTheHeadAndChangesNothing) {
  EXPECT_EQ(RemoveHeadList(&head_), &head_);
  EXPECT_TRUE(IsListEmpty(&head_));
  EXPECT_EQ(head_.Blink, &head_);
}

}  // namespace
}  // namespace varnel
