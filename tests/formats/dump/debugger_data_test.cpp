#include "formats/dump/debugger_data.h"

#include <gtest/gtest.h>

#include "tests/support/dump_bytes.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kModules = 0xFFFFF8001262A390;
constexpr std::uint64_t kProcesses = 0xFFFFF8001261E200;

support::GrowingBytes Plain() {
  support::GrowingBytes out = support::MakeDebuggerData();
  out.Put<std::uint64_t>(0x48, kModules);
  out.Put<std::uint64_t>(0x50, kProcesses);
  return out;
}

TEST(DebuggerData, ReadsAPlainBlock) {
  const auto data = DebuggerData::FromPlain(Plain().bytes());
  ASSERT_TRUE(data);
  EXPECT_EQ(data->size(), 0x3A0u);
  EXPECT_FALSE(data->was_encoded());
  EXPECT_EQ(data->At<std::uint64_t>(0x48), kModules);
}

TEST(DebuggerData, HasNoFieldBehindTheEndOfAShorterBlock) {
  support::GrowingBytes bytes = Plain();
  bytes.Put<std::uint32_t>(0x14, 0x340);
  const auto data = DebuggerData::FromPlain(bytes.bytes());
  ASSERT_TRUE(data);
  EXPECT_EQ(data->size(), 0x340u);
  EXPECT_TRUE(data->At<std::uint64_t>(0x338));
  EXPECT_FALSE(data->At<std::uint64_t>(0x33C));
  EXPECT_FALSE(data->At<std::uint16_t>(0x340));
}

TEST(DebuggerData, CutsABlockThatIsLongerThanWhatIsKnownOfIt) {
  support::GrowingBytes bytes = Plain();
  bytes.Put<std::uint32_t>(0x14, 0x500);
  bytes.Resize(0x500);
  EXPECT_EQ(DebuggerData::FromPlain(bytes.bytes())->size(), DebuggerData::kMaxSize);
}

TEST(DebuggerData, TakesWhatIsThereOfABlockThatIsCut) {
  const auto bytes = Plain().bytes();
  EXPECT_EQ(DebuggerData::FromPlain(std::span(bytes).first(0x100))->size(), 0x100u);
  EXPECT_FALSE(DebuggerData::FromPlain(std::span(bytes).first(0x80)));
  EXPECT_FALSE(DebuggerData::FromPlain({}));
}

TEST(DebuggerData, RefusesABlockWithoutTagOrWithASizeThatCantBe) {
  for (const std::uint32_t size : {0u, 0x87u, 0x4001u, 0xFFFFFFFFu}) {
    support::GrowingBytes bytes = Plain();
    bytes.Put<std::uint32_t>(0x14, size);
    EXPECT_FALSE(DebuggerData::FromPlain(bytes.bytes())) << size;
  }
  support::GrowingBytes bytes = Plain();
  bytes.PutText(0x10, "GBDK");
  EXPECT_FALSE(DebuggerData::FromPlain(bytes.bytes()));
}

TEST(DebuggerData, FindsTheKeyOfAScrambledBlockWhateverTheSecretsAre) {
  for (std::uint64_t turn = 0; turn < 64; ++turn) {
    const auto scrambled = support::ScrambleDebuggerData(Plain().bytes(), 0x9876543210ABCD00 + turn * 3,
                                                         0xFFFFF80012AA0010 + turn, 0x0F1E2D3C4B5A6978 * (turn + 1));
    EXPECT_FALSE(DebuggerData::FromPlain(scrambled));
    const auto data = DebuggerData::FromEncoded(scrambled, kModules, kProcesses);
    ASSERT_TRUE(data) << turn;
    EXPECT_TRUE(data->was_encoded());
    EXPECT_TRUE(std::ranges::equal(data->bytes(), Plain().bytes()));
  }
}

TEST(DebuggerData, FindsTheKeyWhereSeveralTurnsFitTheTwoAddresses) {
  const std::uint64_t processes = kModules ^ 0x3030303030303030;
  support::GrowingBytes plain = Plain();
  plain.Put<std::uint64_t>(0x50, processes);
  for (std::uint64_t turn = 0; turn < 64; ++turn) {
    const auto scrambled =
        support::ScrambleDebuggerData(plain.bytes(), 0x9876543210ABCD00 + turn, 0xFFFFF80012AA0010, 0x0F1E2D3C4B5A6978);
    const auto data = DebuggerData::FromEncoded(scrambled, kModules, processes);
    ASSERT_TRUE(data) << turn;
    EXPECT_TRUE(std::ranges::equal(data->bytes(), plain.bytes())) << turn;
  }
}

TEST(DebuggerData, RefusesAScrambledBlockThatIsNotOfThisHeader) {
  const auto scrambled = support::ScrambleDebuggerData(Plain().bytes(), 1, 2, 3);
  EXPECT_FALSE(DebuggerData::FromEncoded(scrambled, kModules, kProcesses + 0x10));
  EXPECT_FALSE(DebuggerData::FromEncoded(std::span(scrambled).first(0x80), kModules, kProcesses));
  const std::vector<std::byte> zeros(0x3A0);
  EXPECT_FALSE(DebuggerData::FromEncoded(zeros, 0, 0));
}

TEST(DebuggerData, TellsFourLevelsUnlessItSaysFive) {
  for (const auto& [bits, levels] :
       {std::pair{0, 4}, {4 << 2, 4}, {5 << 2, 5}, {(5 << 2) | 3, 5}, {(5 << 2) | 0xFFC0, 5}, {0xF << 2, 4}}) {
    support::GrowingBytes bytes = Plain();
    bytes.Put<std::uint16_t>(0x36, static_cast<std::uint16_t>(bits));
    EXPECT_EQ(DebuggerData::FromPlain(bytes.bytes())->PagingLevels(), levels) << bits;
  }
}

}  // namespace
}  // namespace varnel::formats
