#include "platform/embedded/eventlog/evtx_frames.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

namespace varnel::embedded::evtx {
namespace {

/// Both ends of a connection.
class EvtxFrames : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends_.data()), 0); }
  void TearDown() override {
    ::close(ends_[0]);
    if (ends_[1] >= 0) ::close(ends_[1]);
  }
  void CloseWriter() {
    ::close(ends_[1]);
    ends_[1] = -1;
  }
  Failure Read(Message* message) { return ReadMessage(ends_[0], 100, message); }

  std::array<int, 2> ends_{};
};

TEST_F(EvtxFrames, KnowTheChecksumOfTheFormat) {
  EXPECT_EQ(Crc32("123456789"), 0xCBF43926u);
  EXPECT_EQ(Crc32(""), 0u);
}

TEST_F(EvtxFrames, ComeOutAsTheyWentIn) {
  ASSERT_TRUE(WriteBytes(ends_[1], 100, Frame(Kind::kRecord, "abc") + Frame(Kind::kLoaded, "")));
  Message message;
  ASSERT_EQ(Read(&message), Failure::kNone);
  EXPECT_EQ(message.kind, Kind::kRecord);
  EXPECT_EQ(message.body, "abc");
  ASSERT_EQ(Read(&message), Failure::kNone);
  EXPECT_EQ(message.kind, Kind::kLoaded);
}

TEST_F(EvtxFrames, ThatAreChangedCutOrTooLargeAreNone) {
  Message message;
  std::string changed = Frame(Kind::kRecord, "abc");
  changed.back() = 'x';
  ASSERT_TRUE(WriteBytes(ends_[1], 100, changed));
  EXPECT_EQ(Read(&message), Failure::kBroken);
  ASSERT_TRUE(WriteBytes(ends_[1], 100, std::string(16, 'x')));
  EXPECT_EQ(Read(&message), Failure::kBroken);
  std::string large = Frame(Kind::kRecord, "");
  large[11] = '\x7F';
  ASSERT_TRUE(WriteBytes(ends_[1], 100, large));
  EXPECT_EQ(Read(&message), Failure::kBroken);
  ASSERT_TRUE(WriteBytes(ends_[1], 100, Frame(Kind::kRecord, "abc").substr(0, 18)));
  EXPECT_EQ(Read(&message), Failure::kTimeout);
  CloseWriter();
  EXPECT_EQ(Read(&message), Failure::kEnd);
}

TEST_F(EvtxFrames, ListsHaveWholeValuesOnly) {
  const std::array<std::uint32_t, 2> values = {1, 2};
  const std::string body = BodyOf<std::uint32_t>(values);
  std::vector<std::uint32_t> back;
  EXPECT_TRUE(ValuesOf(body, &back));
  EXPECT_EQ(back, (std::vector<std::uint32_t>{1, 2}));
  EXPECT_FALSE(ValuesOf(body.substr(1), &back));
}

}  // namespace
}  // namespace varnel::embedded::evtx
