#include "platform/embedded/ring/settle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "formats/etl_format.h"
#include "platform/embedded/ring/participant.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using varnel::testing::TraceMachine;
namespace ew = event_word;

/// Lays events into the first buffer of a session, each in the state that its writer left it in.
class SettleTest : public ::testing::Test {
 protected:
  enum class Left { kNothing, kLength, kCommitted };

  SettleTest() : session_(machine_.Start(machine_.Parameters("s"))) {}

  void Add(Left left, std::uint32_t size) {
    const std::uint32_t start = word_.end;
    const std::uint32_t predecessor = word_.last == 0 ? 0 : start - word_.last;
    std::byte* buffer = session_->map()->buffer(0);
    if (left == Left::kLength) EventWord(buffer, start).store(ew::Reserved(size, predecessor));
    if (left == Left::kCommitted) {
      EventWord(buffer, start).store(ew::Committed(size, 0x13, 0, predecessor));
      const std::int64_t stamp = start;
      std::memcpy(buffer + start + 16, &stamp, sizeof stamp);
    }
    word_.last = start;
    word_.end = start + AlignToUnit(size);
  }
  bool Settled() { return IsSettled(*session_->map(), 0, word_); }
  bool Revoke() { return RevokeUnsettled(*session_->map(), 0, 1, word_); }
  BufferContent Content() { return Survey(*session_->map(), 0, word_); }
  /// As many dead writers' marks as `count`.
  void Mark(std::uint32_t count) {
    session_->map()->words().participants_used.store(count);
    for (std::uint32_t i = 0; i < count; ++i) {
      session_->map()->participants()[i].mark.store(
          varnel::embedded::ring::Mark{1, varnel::embedded::ring::Mark::Kind::kWriter}.Pack());
    }
  }

  TraceMachine machine_;
  std::shared_ptr<Session> session_;
  ReservationWord word_{1, true, 0, varnel::formats::kEtlBufferHeaderSize};
};

TEST_F(SettleTest, CommittedEventsAreSettled) {
  Add(Left::kCommitted, 81);
  Add(Left::kCommitted, 100);
  EXPECT_TRUE(Settled());
  EXPECT_EQ(Content().events, 2u);
  EXPECT_EQ(Content().bytes, 88u + 104u);
  EXPECT_EQ(Content().last_stamp, 72 + 88);
}

TEST_F(SettleTest, ALookRevokesNothing) {
  Add(Left::kCommitted, 80);
  Add(Left::kLength, 80);
  Add(Left::kNothing, 80);
  EXPECT_FALSE(Settled());
  EXPECT_EQ(EventWord(session_->map()->buffer(0), 72 + 160).load(), 0u);
}

TEST_F(SettleTest, WhateverTheDeadLeftOneEventEachIsLost) {
  const struct {
    const char* what;
    std::vector<Left> events;
    std::uint32_t committed;
    std::uint32_t lost;
  } rows[] = {
      {"the only one, without a length", {Left::kNothing}, 0, 1},
      {"the only one, with a length", {Left::kLength}, 0, 1},
      {"the first", {Left::kNothing, Left::kCommitted, Left::kCommitted}, 2, 1},
      {"one in the middle", {Left::kCommitted, Left::kNothing, Left::kCommitted}, 2, 1},
      {"the last", {Left::kCommitted, Left::kCommitted, Left::kNothing}, 2, 1},
      {"two apart", {Left::kNothing, Left::kCommitted, Left::kNothing, Left::kCommitted}, 2, 2},
      {"two neighbours", {Left::kCommitted, Left::kNothing, Left::kNothing, Left::kCommitted}, 2, 2},
      {"two neighbours, one with a length", {Left::kLength, Left::kNothing, Left::kCommitted}, 1, 2},
      {"two neighbours at the end", {Left::kCommitted, Left::kNothing, Left::kNothing}, 1, 2},
  };
  for (const auto& row : rows) {
    std::memset(session_->map()->buffer(0), 0, session_->map()->buffer_size());
    word_ = {1, true, 0, varnel::formats::kEtlBufferHeaderSize};
    std::uint32_t size = 80;
    for (const Left left : row.events) Add(left, size += 24);
    Mark(row.lost);
    EXPECT_TRUE(Revoke()) << row.what;
    EXPECT_TRUE(Settled()) << row.what;
    EXPECT_EQ(Content().events, row.committed) << row.what;
    EXPECT_EQ(Content().lost, row.lost) << row.what;
  }
}

TEST_F(SettleTest, AStretchWhoseBordersNobodyStoredCountsAsManyAsHadMarkedTheBuffer) {
  Add(Left::kCommitted, 80);
  for (int i = 0; i < 4; ++i) Add(Left::kNothing, 96);
  Add(Left::kCommitted, 80);
  Mark(4);
  EXPECT_TRUE(Revoke());
  EXPECT_EQ(Content().events, 2u);
  EXPECT_EQ(Content().lost, 4u);
}

TEST_F(SettleTest, CopiesLeaveOutWhatWasRevoked) {
  Add(Left::kCommitted, 80);
  Add(Left::kLength, 200);
  Add(Left::kCommitted, 90);
  EXPECT_TRUE(Revoke());
  std::vector<std::byte> out(4096);
  EXPECT_EQ(CopyCommitted(*session_->map(), 0, word_, out.data()), 80u + 96u);
  std::uint16_t second;
  std::memcpy(&second, out.data() + 80, sizeof second);
  EXPECT_EQ(second, 90u);
}

TEST_F(SettleTest, CopiesBearNoPredecessorsLengthAndTheBufferStaysAsItWas) {
  Add(Left::kCommitted, 81);
  Add(Left::kCommitted, 100);
  std::vector<std::byte> before(session_->map()->buffer(0), session_->map()->buffer(0) + word_.end);
  std::vector<std::byte> out(4096);
  ASSERT_EQ(CopyCommitted(*session_->map(), 0, word_, out.data()), 88u + 104u);
  std::uint64_t first;
  std::memcpy(&first, out.data() + 88, sizeof first);
  EXPECT_EQ(first, ew::Committed(100, 0x13, 0, 0));
  EXPECT_EQ(std::memcmp(before.data(), session_->map()->buffer(0), word_.end), 0) << "others may be reading it";
}

TEST_F(SettleTest, ALateWriterCannotCommitARevokedEvent) {
  Add(Left::kLength, 80);
  EXPECT_TRUE(Revoke());
  std::uint64_t expected = ew::Reserved(80, 0);
  EXPECT_FALSE(
      EventWord(session_->map()->buffer(0), 72).compare_exchange_strong(expected, ew::Committed(80, 19, 0, 0)));
  EXPECT_EQ(Content().lost, 1u);
}

TEST_F(SettleTest, BytesThatNoWriterLeftAreGivenUpAsOnePiece) {
  Add(Left::kCommitted, 80);
  const std::uint32_t at = word_.end;
  Add(Left::kCommitted, 80);
  for (const std::uint64_t garbage :
       {std::uint64_t{0x1234}, ~std::uint64_t{0}, ew::Committed(3, 0x13, 0, 0), ew::Committed(60000, 0x13, 0, 0),
        ew::Revoked(0xFFFFFFF0, 1), ew::Revoked(3, 1)}) {
    EventWord(session_->map()->buffer(0), at).store(garbage);
    EXPECT_TRUE(Revoke());
    EXPECT_EQ(Content().events, 1u);
    EXPECT_GE(Content().lost, 1u);
  }
}

TEST_F(SettleTest, PlacesOfAForeignWordAreBroughtIntoTheBuffer) {
  const auto end = Bounded({1, true, 0xFFFF8, 0x1FFFF8}, 4096);
  EXPECT_EQ(end.end, 4096u);
  EXPECT_LT(end.last, end.end);
  const auto low = Bounded({1, true, 8, 16}, 4096);
  EXPECT_EQ(low.end, 72u);
}

}  // namespace
