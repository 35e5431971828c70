#include "platform/embedded/ring/words.h"

#include <gtest/gtest.h>

namespace {

using namespace varnel::embedded::ring;

TEST(WordsTest, TheReservationWordKeepsEachPartApart) {
  const ReservationWord rows[] = {{0, false, 0, 72},
                                  {0x0FFFFFFF, true, 1024 * 1024 - 8, 1024 * 1024},
                                  {1, false, 72, 80},
                                  {0x08000000, true, 0, 1024 * 1024}};
  for (const auto& row : rows) {
    const auto again = ReservationWord::Unpack(row.Pack());
    EXPECT_EQ(again.generation, row.generation);
    EXPECT_EQ(again.closed, row.closed);
    EXPECT_EQ(again.last, row.last);
    EXPECT_EQ(again.end, row.end);
  }
  EXPECT_EQ(ReservationWord::GenerationOf(0x123456789ABCDEF), 0x9ABCDEFu & ReservationWord::kGenerationMask);
}

TEST(WordsTest, AnEventsFirstWordTellsItsStateAndLengths) {
  using namespace event_word;
  const auto reserved = Reserved(65535, 65536);
  EXPECT_EQ(Tag(reserved), kReservedTag);
  EXPECT_EQ(Size(reserved), 65535u);
  EXPECT_EQ(Predecessor(reserved), 65536u);
  const auto committed = Committed(80, 0x13, 1, 88);
  EXPECT_EQ(committed & 0xFFFFFFFF, 0xC0130050u) << "size, type and marker as in the file";
  EXPECT_EQ((committed >> 32) & 0xFFFF, 1u);
  EXPECT_EQ(Predecessor(committed), 88u);
  const auto revoked = Revoked(1024 * 1024 - 72, 3);
  EXPECT_EQ(Tag(revoked), kRevokedTag);
  EXPECT_EQ(RevokedLength(revoked), 1024u * 1024 - 72);
  EXPECT_EQ(RevokedEvents(revoked), 3u);
}

TEST(WordsTest, PhasesAndMarksComeBackAsTheyWere) {
  for (const auto state : {Phase::State::kFree, Phase::State::kActive, Phase::State::kSealed}) {
    const Phase phase{state, std::uint64_t{1} << 47};
    EXPECT_EQ(Phase::Unpack(phase.Pack()), phase);
  }
  const auto preparing = Phase::Unpack(Phase::Preparing(77, 1023).Pack());
  EXPECT_EQ(preparing.state, Phase::State::kPreparing);
  EXPECT_EQ(preparing.prepared_sequence(), 77u);
  EXPECT_EQ(preparing.participant(), 1023u);
  const auto mark = Mark::Unpack(Mark{9, Mark::Kind::kGuard}.Pack());
  EXPECT_EQ(mark.sequence, 9u);
  EXPECT_EQ(mark.kind, Mark::Kind::kGuard);
  EXPECT_EQ((OpenBuffer::Unpack(OpenBuffer{5, 4095}.Pack())), (OpenBuffer{5, 4095}));
}

}  // namespace
