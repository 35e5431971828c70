#include "formats/pe/pe_memory.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::ByteWriter;
using support::DumpedMemory;
using testing::ElementsAre;

constexpr std::uint64_t kBase = 0xFFFF'F800'0010'0000;

// Three pages in which each 32-bit word tells its own index.
std::vector<std::byte> ThreePages() {
  ByteWriter out;
  for (std::uint32_t i = 0; i < 3 * 1024; ++i) out.U32(i);
  return out.Take();
}

TEST(PeMemory, ReadsAtAPlaceFromTheBase) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages());
  const PeMemory image(memory, kBase, 0x3000);
  EXPECT_EQ(image.Copy<std::uint32_t>(0x1004).value(), 0x401u);
  EXPECT_EQ(image.Copy<std::uint64_t>(0x1004).value(), 0x0000'0402'0000'0401u);
}

TEST(PeMemory, TakesAReadThatLeavesTheImageForDamageEvenWhereMemoryGoesOn) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages());
  const PeMemory image(memory, kBase, 0x2002);
  EXPECT_EQ(image.Copy<std::uint16_t>(0x2000).state(), PeState::kFound);
  EXPECT_EQ(image.Copy<std::uint32_t>(0x2000).state(), PeState::kDamaged);
  EXPECT_EQ(image.Copy<std::uint16_t>(0xFFFF'FFFF).state(), PeState::kDamaged);
  std::byte bytes[8];
  EXPECT_EQ(image.ReadSome(0x2000, bytes), 2u);
  EXPECT_EQ(image.ReadSome(0x2002, bytes), 0u);
  EXPECT_EQ(image.ReadSome(0x2003, bytes), 0u);
}

TEST(PeMemory, TakesAReadOfAPageThatTheDumpLacksForMissing) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages()).Hide(kBase + 0x1000, 0x1000);
  const PeMemory image(memory, kBase, 0x3000);
  EXPECT_EQ(image.Copy<std::uint32_t>(0x0FFC).value(), 0x3FFu);
  EXPECT_EQ(image.Copy<std::uint32_t>(0x0FFE).state(), PeState::kMissing);
  EXPECT_EQ(image.Copy<std::uint32_t>(0x1800).state(), PeState::kMissing);
  std::byte bytes[8];
  EXPECT_EQ(image.ReadSome(0x0FFC, bytes), 4u);
}

TEST(PeMemory, GivesTheElementsOfATableAroundAPageThatIsNotThere) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages()).Hide(kBase + 0x1000, 0x1000);
  const PeMemory image(memory, kBase, 0x3000);
  std::vector<std::uint32_t> seen;
  const PeState state = image.ForEach<std::uint32_t>(0, 3 * 1024, [&](std::uint32_t index, std::uint32_t value) {
    EXPECT_EQ(index, value);
    seen.push_back(index);
    return true;
  });
  EXPECT_EQ(state, PeState::kMissing);
  ASSERT_EQ(seen.size(), 2048u);
  EXPECT_EQ(seen[1023], 1023u);
  EXPECT_EQ(seen[1024], 2048u);
}

TEST(PeMemory, LeavesOutTheElementThatLiesPartlyInAMissingPage) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages()).Hide(kBase + 0x1000, 0x1000);
  const PeMemory image(memory, kBase, 0x3000);
  struct Entry {
    std::uint32_t words[3];
  };
  std::vector<std::uint32_t> seen;
  // 4096 is no multiple of 12: entry 341 begins in the first page, entry 682 in the missing one.
  (void)image.ForEach<Entry>(0, 1024, [&](std::uint32_t index, const Entry& entry) {
    EXPECT_EQ(entry.words[0], index * 3);
    if (index > 339 && index < 685) seen.push_back(index);
    return true;
  });
  EXPECT_THAT(seen, ElementsAre(340, 683, 684));
}

TEST(PeMemory, EndsATableWhereTheVisitorHasEnough) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages());
  const PeMemory image(memory, kBase, 0x3000);
  std::uint32_t visits = 0;
  const PeState state = image.ForEach<std::uint32_t>(0, 3072, [&](auto, auto) { return ++visits < 5; });
  EXPECT_EQ(state, PeState::kFound);
  EXPECT_EQ(visits, 5u);
}

TEST(PeMemory, CallsATableThatLeavesTheImageDamagedAndGivesItsBeginning) {
  DumpedMemory memory;
  memory.Put(kBase, ThreePages());
  const PeMemory image(memory, kBase, 0x1006);
  std::uint32_t visits = 0;
  const auto count = [&](auto, auto) {
    ++visits;
    return true;
  };
  EXPECT_EQ(image.ForEach<std::uint32_t>(0xFFC, 0xFFFF'FFFF, count), PeState::kDamaged);
  EXPECT_EQ(visits, 2u);
  EXPECT_EQ(image.ForEach<std::uint32_t>(0x1007, 1, count), PeState::kDamaged);
  EXPECT_EQ(image.ForEach<std::uint32_t>(0x1007, 0, count), PeState::kFound);
  EXPECT_EQ(visits, 2u);
}

TEST(PeMemory, ReadsATextUpToItsEnd) {
  DumpedMemory memory;
  memory.Put(kBase, ByteWriter().Text(std::string(100, 'a')).U8(0).Text("bcd").Take());
  const PeMemory image(memory, kBase, 0x1000);
  EXPECT_EQ(image.Text(0, 200).value(), std::string(100, 'a'));
  EXPECT_EQ(image.Text(100, 200).value(), "");
  EXPECT_EQ(image.Text(0, 100).value().size(), 100u);
  EXPECT_EQ(image.Text(0, 99).state(), PeState::kDamaged);
}

TEST(PeMemory, TellsATextThatIsCutOffByTheDumpFromOneThatLeavesTheImage) {
  DumpedMemory memory;
  memory.Put(kBase, ByteWriter().Text("abcdefgh").Take());
  EXPECT_EQ(PeMemory(memory, kBase, 0x1000).Text(0, 64).state(), PeState::kMissing);
  EXPECT_EQ(PeMemory(memory, kBase, 8).Text(0, 64).state(), PeState::kDamaged);
  EXPECT_EQ(PeMemory(memory, kBase, 8).Text(9, 64).state(), PeState::kDamaged);
}

}  // namespace
}  // namespace varnel::formats
