#include "platform/embedded/eventlog/log_cursor.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace varnel::embedded {
namespace {

using Numbers = std::vector<std::uint64_t>;

/// A source whose blocks are lists of numbers, each with the place of its record as its time. It notes which block is
/// asked for its keys, and how many records at a time.
class ListedSource final : public LogSource {
 public:
  explicit ListedSource(std::vector<Numbers> lists) : lists_(std::move(lists)) {
    std::uint64_t place = 0;
    for (const Numbers& list : lists_) {
      const auto [least, most] = std::minmax_element(list.begin(), list.end());
      blocks_.push_back({*least, *most, 0, place, static_cast<std::uint32_t>(list.size())});
      place += list.size();
    }
  }

  const std::vector<LogBlock>& blocks() const override { return blocks_; }
  std::vector<LogKey> Keys(std::uint32_t block) override {
    asked.push_back(block);
    std::vector<LogKey> keys;
    for (std::size_t i = 0; i < lists_[block].size(); ++i) {
      keys.push_back({lists_[block][i], blocks_[block].place + i, 0, block});
    }
    return keys;
  }
  void Load(std::span<const LogKey> keys, const LogFilter&, const std::function<void(LogRecord)>& take) override {
    loads.push_back(keys.size());
    for (const LogKey& key : keys) {
      if (unwanted_above != 0 && key.stored_id > unwanted_above) continue;
      LogRecord record;
      record.record_id = record.stored_id = key.stored_id;
      record.time = key.place;
      take(std::move(record));
    }
  }
  std::uint64_t HighestRecordId() override { return 0; }
  LogCounts counts() const override { return {}; }

  std::vector<std::uint32_t> asked;
  std::vector<std::size_t> loads;
  std::uint64_t unwanted_above = 0;

 private:
  const std::vector<Numbers> lists_;
  std::vector<LogBlock> blocks_;
};

struct Walk {
  Numbers numbers;
  Numbers places;
};

Walk WalkAll(LogCursor* cursor) {
  Walk walk;
  while (cursor->Prepare(std::nullopt) && cursor->Peek() != nullptr) {
    walk.numbers.push_back(cursor->Peek()->record_id);
    walk.places.push_back(cursor->Peek()->time);
    cursor->Pop();
  }
  return walk;
}

class Cursor : public ::testing::Test {
 protected:
  LogCursor Over(std::vector<Numbers> lists, LogDirection direction) {
    auto source = std::make_unique<ListedSource>(std::move(lists));
    source_ = source.get();
    return {std::move(source), direction, {}};
  }
  ListedSource* source_ = nullptr;
};

TEST_F(Cursor, WalksInTheOrderOfNumbersWhateverTheOrderOfTheFile) {
  const std::vector<Numbers> lists = {{7, 9, 8}, {1, 3, 2}, {4, 6, 5}};
  LogCursor up = Over(lists, LogDirection::kAscending);
  EXPECT_EQ(WalkAll(&up).numbers, (Numbers{1, 2, 3, 4, 5, 6, 7, 8, 9}));
  LogCursor down = Over(lists, LogDirection::kDescending);
  EXPECT_EQ(WalkAll(&down).numbers, (Numbers{9, 8, 7, 6, 5, 4, 3, 2, 1}));
}

TEST_F(Cursor, ReadsBlocksThatDoNotOverlapOneAtATime) {
  LogCursor cursor = Over({{5, 6}, {1, 2}, {3, 4}}, LogDirection::kDescending);
  ASSERT_TRUE(cursor.Prepare(std::nullopt));
  EXPECT_EQ(source_->asked, std::vector<std::uint32_t>{0});
  WalkAll(&cursor);
  EXPECT_EQ(source_->asked, (std::vector<std::uint32_t>{0, 2, 1}));
}

TEST_F(Cursor, SortsBlocksThatOverlapTogether) {
  LogCursor cursor = Over({{1, 5}, {4, 9}, {8, 12}, {20, 21}}, LogDirection::kAscending);
  ASSERT_TRUE(cursor.Prepare(std::nullopt));
  EXPECT_EQ(source_->asked, (std::vector<std::uint32_t>{0, 1, 2}));
  EXPECT_EQ(WalkAll(&cursor).numbers, (Numbers{1, 4, 5, 8, 9, 12, 20, 21}));
}

TEST_F(Cursor, SortsABlockThatLiesInsideOfAnEarlierOneWithIt) {
  LogCursor cursor = Over({{1, 100}, {2, 3}, {50, 60}, {101}}, LogDirection::kAscending);
  EXPECT_EQ(WalkAll(&cursor).numbers, (Numbers{1, 2, 3, 50, 60, 100, 101}));
}

TEST_F(Cursor, GivesRecordsOfOneNumberInTheOrderOfTheFileOrInItsReverse) {
  const std::vector<Numbers> lists = {{3, 3}, {3, 2}};
  LogCursor up = Over(lists, LogDirection::kAscending);
  EXPECT_EQ(WalkAll(&up).places, (Numbers{3, 0, 1, 2}));
  LogCursor down = Over(lists, LogDirection::kDescending);
  EXPECT_EQ(WalkAll(&down).places, (Numbers{2, 1, 0, 3}));
}

TEST_F(Cursor, LoadsSomeAtATime) {
  Numbers many;
  for (std::uint64_t i = 1; i <= 150; ++i) many.push_back(i);
  LogCursor cursor = Over({many}, LogDirection::kAscending);
  ASSERT_TRUE(cursor.Prepare(std::nullopt));
  EXPECT_EQ(source_->loads, std::vector<std::size_t>{64});
  EXPECT_EQ(WalkAll(&cursor).numbers, many);
  EXPECT_EQ(source_->loads, (std::vector<std::size_t>{64, 64, 22}));
}

TEST_F(Cursor, StopsWhenTheTimeIsOverButDoesSomeWorkInEachCall) {
  Numbers many;
  for (std::uint64_t i = 1; i <= 200; ++i) many.push_back(i);
  LogCursor cursor = Over({many}, LogDirection::kDescending);
  source_->unwanted_above = 10;  // the first two loads find nothing
  const auto over = std::chrono::steady_clock::now();
  unsigned calls = 1;
  while (!cursor.Prepare(over)) ++calls;
  EXPECT_EQ(calls, 4u);  // the block's keys, then three loads
  ASSERT_NE(cursor.Peek(), nullptr);
  EXPECT_EQ(cursor.Peek()->record_id, 10u);
}

TEST_F(Cursor, OfNothingIsAtItsEndAtOnce) {
  LogCursor cursor = Over({}, LogDirection::kAscending);
  EXPECT_TRUE(cursor.Prepare(std::nullopt));
  EXPECT_EQ(cursor.Peek(), nullptr);
  EXPECT_TRUE(cursor.Prepare(std::nullopt));
}

}  // namespace
}  // namespace varnel::embedded
