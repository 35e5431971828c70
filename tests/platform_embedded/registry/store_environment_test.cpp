#include "platform/embedded/registry/store_environment.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "platform/types.h"

namespace varnel::embedded {
namespace {

constexpr RecordPlace kPlace{1, RecordTag::kValue, 2, 3};

class StoreEnvironmentTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-store-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    environment_.reset();
    std::filesystem::remove_all(folder_);
  }
  std::uint32_t Open(const MapLimits& limits = {}) {
    environment_.reset();
    return StoreEnvironment::Open(folder_, limits, true, &environment_);
  }
  static std::uint32_t Put(Transaction& transaction, const RecordPlace& place, const std::string& record) {
    std::byte* room = nullptr;
    const std::uint32_t result = transaction.Put(place, record.size(), &room);
    if (result == 0) std::memcpy(room, record.data(), record.size());
    return result;
  }

  std::string folder_;
  std::unique_ptr<StoreEnvironment> environment_;
};

TEST_F(StoreEnvironmentTest, WhatIsCommittedIsSeenAndWhatIsNotIsGone) {
  ASSERT_EQ(Open(), 0u);
  {
    Transaction change;
    ASSERT_EQ(environment_->BeginWrite(&change), 0u);
    ASSERT_EQ(Put(change, kPlace, "kept"), 0u);
    ASSERT_EQ(change.Commit(), 0u);
  }
  {
    Transaction change;
    ASSERT_EQ(environment_->BeginWrite(&change), 0u);
    ASSERT_EQ(Put(change, kPlace, "dropped"), 0u);
  }
  Transaction view;
  std::span<const std::byte> record;
  ASSERT_EQ(environment_->BeginRead(&view), 0u);
  ASSERT_EQ(view.Get(kPlace, &record), 0u);
  EXPECT_EQ(record.size(), 4u);
  EXPECT_EQ(view.Get(RecordPlace{9, RecordTag::kKey, 0, 0}, &record), platform::kErrorFileNotFound);
}

TEST_F(StoreEnvironmentTest, ACursorWalksFromAPlaceToTheEndInOrder) {
  ASSERT_EQ(Open(), 0u);
  Transaction change;
  ASSERT_EQ(environment_->BeginWrite(&change), 0u);
  for (const KeyId id : {5, 1, 3}) ASSERT_EQ(Put(change, RecordPlace{id, RecordTag::kKey, 0, 0}, "x"), 0u);
  RecordCursor cursor(&change);
  std::vector<KeyId> seen;
  std::uint32_t result = cursor.Seek(RecordPlace{2, RecordTag::kKey, 0, 0});
  for (; result == 0 && !cursor.at_end(); result = cursor.Next()) seen.push_back(cursor.place().parent);
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(seen, (std::vector<KeyId>{3, 5}));
}

TEST_F(StoreEnvironmentTest, AFullMapSaysSoAndGrowsUpToItsLimit) {
  ASSERT_EQ(Open(MapLimits{128 << 10, 512 << 10}), 0u);
  {
    Transaction change;
    ASSERT_EQ(environment_->BeginWrite(&change), 0u);
    EXPECT_EQ(Put(change, kPlace, std::string(300'000, 'x')), platform::kErrorDiskFull);
    EXPECT_TRUE(change.out_of_room());
  }
  EXPECT_EQ(environment_->Grow(), 0u);
  EXPECT_EQ(environment_->Grow(), 0u);
  EXPECT_EQ(environment_->Grow(), platform::kErrorDiskFull);
  Transaction change;
  ASSERT_EQ(environment_->BeginWrite(&change), 0u);
  EXPECT_FALSE(change.out_of_room());
  EXPECT_EQ(Put(change, kPlace, std::string(300'000, 'x')), 0u);
  EXPECT_EQ(change.Commit(), 0u);
}

TEST_F(StoreEnvironmentTest, AFileThatIsNoStoreGives1015) {
  std::ofstream(folder_ + "/data.mdb") << std::string(20'000, 'x');
  EXPECT_EQ(Open(), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(environment_, nullptr);
}

TEST_F(StoreEnvironmentTest, AStoreThatWasCutShortReadsAsDamageAndNeverFaults) {
  ASSERT_EQ(Open(), 0u);
  {
    Transaction change;
    ASSERT_EQ(environment_->BeginWrite(&change), 0u);
    for (KeyId id = 0; id < 2000; ++id) Put(change, RecordPlace{id, RecordTag::kKey, 0, 0}, std::string(100, 'x'));
    ASSERT_EQ(change.Commit(), 0u);
  }
  environment_.reset();
  const auto whole = std::filesystem::file_size(folder_ + "/data.mdb");
  for (std::uintmax_t size = 12'288; size < whole; size += 40'960) {
    std::filesystem::resize_file(folder_ + "/data.mdb", size);
    ASSERT_EQ(Open(), 0u) << size;
    Transaction view;
    ASSERT_EQ(environment_->BeginRead(&view), 0u);
    RecordCursor cursor(&view);
    std::uint32_t result = cursor.Seek(RecordPlace{0, RecordTag::kKey, 0, 0});
    int seen = 0;
    for (; result == 0 && !cursor.at_end(); result = cursor.Next()) ++seen;
    EXPECT_TRUE(result == platform::kErrorRegistryCorrupt || seen < 2000) << size;
  }
}

TEST_F(StoreEnvironmentTest, LibraryAndSystemResultsBecomeWin32Numbers) {
  const struct {
    int from;
    std::uint32_t to;
  } rows[] = {{0, 0},
              {MDB_NOTFOUND, 2},
              {MDB_MAP_FULL, 112},
              {ENOSPC, 112},
              {EDQUOT, 112},
              {EFBIG, 112},
              {ENOMEM, 8},
              {EACCES, 5},
              {EROFS, 5},
              {MDB_READERS_FULL, 1450},
              {MDB_CORRUPTED, 1015},
              {MDB_INVALID, 1015},
              {MDB_VERSION_MISMATCH, 1015},
              {EIO, 1016},
              {MDB_PANIC, 1016}};
  for (const auto& row : rows) EXPECT_EQ(ResultOf(row.from), row.to) << row.from;
}

}  // namespace
}  // namespace varnel::embedded
