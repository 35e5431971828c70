// Keys and values in the records of a transaction, and what a damaged record does to them.
#include "platform/embedded/registry/key_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "copy_builder.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

using B = CopyBuilder;

class KeyTreeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-tree-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    ASSERT_EQ(StoreEnvironment::Open(folder_, MapLimits{}, true, &environment_), 0u);
    ASSERT_EQ(environment_->BeginWrite(&transaction_), 0u);
    Put(StoreRecord::Place(), B::Store(1, 3));
    tree_ = std::make_unique<KeyTree>(&transaction_, HashFoldedName);
    ASSERT_EQ(tree_->CreateRoots(), 0u);
  }
  void TearDown() override {
    transaction_.Abort();
    environment_.reset();
    std::filesystem::remove_all(folder_);
  }

  void Put(const RecordPlace& place, const std::string& record) {
    std::byte* room = nullptr;
    ASSERT_EQ(transaction_.Put(place, record.size(), &room), 0u);
    std::transform(record.begin(), record.end(), room, [](char c) { return static_cast<std::byte>(c); });
  }
  KeyRef Key(std::u16string_view path) {
    KeyRef key;
    EXPECT_EQ(tree_->FindPath(tree_->Root(kMachineRoot), path, &key), 0u);
    return key;
  }
  KeyRef Make(std::u16string_view name) {
    KeyRef key;
    EXPECT_EQ(tree_->CreateSubKey(Key(u"SOFTWARE"), name, false, &key), 0u);
    return key;
  }

  std::string folder_;
  std::unique_ptr<StoreEnvironment> environment_;
  Transaction transaction_;
  std::unique_ptr<KeyTree> tree_;
};

TEST_F(KeyTreeTest, ANewTreeHoldsTogether) {
  EXPECT_EQ(tree_->CheckAll(), 0u);
}

TEST_F(KeyTreeTest, APathIsSplitAtItsSeparatorsWithoutEmptyParts) {
  EXPECT_EQ(SplitKeyPath(u"a\\b\\\\c\\"), (std::vector<std::u16string_view>{u"a", u"b", u"c"}));
  EXPECT_TRUE(SplitKeyPath(u"").empty());
  EXPECT_TRUE(SplitKeyPath(u"\\").empty());
}

TEST_F(KeyTreeTest, ADamagedKeyGives1015WhereverItIsMet) {
  const KeyRef key = Make(u"A");
  Put(key.place, "no key");
  KeyRecord record;
  KeyRef found;
  std::vector<NamedPlace> keys;
  EXPECT_EQ(tree_->ReadKey(key, &record), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->FindSubKey(Key(u"SOFTWARE"), u"A", &found), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->ListSubKeys(Key(u"SOFTWARE").id, &keys), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->DeleteBelow(kMachineRoot), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->DropVolatile(), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->CheckAll(), platform::kErrorRegistryCorrupt);
}

TEST_F(KeyTreeTest, ADamagedValueGives1015AndItsNeighboursAreStillThere) {
  const KeyRef key = Make(u"A");
  ASSERT_EQ(tree_->SetValue(key, u"good", 1, {}), 0u);
  ASSERT_EQ(tree_->SetValue(key, u"bad", 1, {}), 0u);
  RecordPlace place;
  ValueRecord value;
  ASSERT_EQ(tree_->FindValue(key.id, u"bad", &place, &value), 0u);
  Put(place, "short");
  std::vector<RecordPlace> values;
  EXPECT_EQ(tree_->FindValue(key.id, u"bad", &place, &value), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->ListValues(key.id, &values), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->FindValue(key.id, u"good", &place, &value), 0u);
  EXPECT_EQ(tree_->CheckAll(), platform::kErrorRegistryCorrupt);
}

TEST_F(KeyTreeTest, AChildWhoseIdIsNotAboveItsParentsNeverMakesAWalkGoRound) {
  const KeyRef parent = Make(u"A");
  KeyRef child;
  ASSERT_EQ(tree_->CreateSubKey(parent, u"B", false, &child), 0u);
  Put(child.place, B::Key(parent.id, u"B"));
  std::vector<NamedPlace> keys;
  EXPECT_EQ(tree_->FindSubKey(parent, u"B", &child), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->ListSubKeys(parent.id, &keys), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->DeleteBelow(parent.id), platform::kErrorRegistryCorrupt);
}

TEST_F(KeyTreeTest, WithoutTheStoresRecordNoKeyIsMade) {
  ASSERT_EQ(transaction_.Delete(StoreRecord::Place()), 0u);
  KeyRef key;
  EXPECT_EQ(tree_->CreateSubKey(Key(u"SOFTWARE"), u"A", false, &key), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(tree_->CheckAll(), platform::kErrorRegistryCorrupt);
}

TEST_F(KeyTreeTest, AValueThatIsSetAgainKeepsItsNameAndItsPlaceInTheOrder) {
  const KeyRef key = Make(u"A");
  ASSERT_EQ(tree_->SetValue(key, u"First", 1, {}), 0u);
  ASSERT_EQ(tree_->SetValue(key, u"second", 1, {}), 0u);
  ASSERT_EQ(tree_->SetValue(key, u"FIRST", 2, {}), 0u);
  RecordPlace place;
  ValueRecord value;
  ASSERT_EQ(tree_->FindValue(key.id, u"first", &place, &value), 0u);
  EXPECT_EQ(value.name.Text(), u"First");
  EXPECT_EQ(value.order, 0u);
  EXPECT_EQ(value.type, 2u);
}

TEST_F(KeyTreeTest, AValueOfAKeyThatIsGoneIsFoundByTheCheck) {
  Put(RecordPlace{999, RecordTag::kValue, HashFoldedName(u"v"), 0}, B::Value(0, 1, u"v", ""));
  EXPECT_EQ(tree_->CheckAll(), platform::kErrorRegistryCorrupt);
}

}  // namespace
}  // namespace varnel::embedded
