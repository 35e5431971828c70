#include "platform/embedded/core/handle_table.h"

#include <gtest/gtest.h>

#include <set>

namespace varnel::embedded {
namespace {

struct Probe : Object {
  explicit Probe(bool* ended) : Object(Kind::kOther), ended_(ended) {}
  ~Probe() override { *ended_ = true; }
  bool* ended_;
};

TEST(HandleTable, AClosedHandleIsNeverFoundAgain) {
  bool ended = false;  // outlives the table, whose objects write it
  HandleTable table;
  const auto handle = table.Insert(std::make_shared<Probe>(&ended));
  ASSERT_NE(handle, nullptr);
  EXPECT_NE(table.Find(handle), nullptr);
  EXPECT_NE(table.Remove(handle), nullptr);
  EXPECT_TRUE(ended);
  EXPECT_EQ(table.Find(handle), nullptr);
  EXPECT_EQ(table.Remove(handle), nullptr);
}

TEST(HandleTable, ValuesAreNotUsedAgain) {
  bool ended = false;
  HandleTable table;
  std::set<platform::HANDLE> seen;
  for (int i = 0; i < 1000; ++i) {
    const auto handle = table.Insert(std::make_shared<Probe>(&ended));
    EXPECT_TRUE(seen.insert(handle).second);
    table.Remove(handle);
  }
}

TEST(HandleTable, AnObjectInUseOutlivesItsHandle) {
  bool ended = false;  // outlives the table, whose objects write it
  HandleTable table;
  const auto handle = table.Insert(std::make_shared<Probe>(&ended));
  auto used = table.Find(handle);
  table.Remove(handle);
  EXPECT_FALSE(ended);
  used.reset();
  EXPECT_TRUE(ended);
}

TEST(HandleTable, AHandleOfAnotherKindIsNotFound) {
  bool ended = false;  // outlives the table, whose objects write it
  HandleTable table;
  const auto handle = table.Insert(std::make_shared<Probe>(&ended));
  EXPECT_EQ(table.Find<Probe>(handle, Object::Kind::kFile), nullptr);
  EXPECT_NE(table.Find<Probe>(handle, Object::Kind::kOther), nullptr);
}

TEST(HandleTable, NullAndInvalidAreNoHandles) {
  HandleTable table;
  EXPECT_EQ(table.Find(nullptr), nullptr);
  EXPECT_EQ(table.Find(platform::kInvalidHandleValue), nullptr);
}

}  // namespace
}  // namespace varnel::embedded
