#include "formats/pe/pe_resources.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;
using support::DumpedMemory;
using support::PeBytes;
using support::PeResourceSpec;

constexpr std::uint64_t kBase = 0xFFFF'F804'7BA0'0000;
constexpr std::uint32_t kTree = 0x6000;

Blob Marked(std::uint32_t mark) {
  return ByteWriter().U32(mark).Take();
}

class PeResourcesTest : public testing::Test {
 protected:
  void Put(const Blob& tree) {
    PeBytes bytes;
    bytes.Put(kTree, tree).Directory(2, kTree, static_cast<std::uint32_t>(tree.size()));
    memory_.Put(kBase, bytes.bytes());
  }
  PeLookup<PeRange> Find(std::uint16_t type = kPeResourceVersion) {
    const auto image = PeImage::Open(memory_, kBase, 0x8000);
    if (!image.found()) return image.state();
    return FindPeResource(image.value(), type);
  }
  std::uint32_t FoundMark() {
    const auto range = Find();
    if (!range.found()) return 0;
    return PeMemory(memory_, kBase, 0x8000).Copy<std::uint32_t>(range.value().rva).value();
  }
  DumpedMemory memory_;
};

TEST_F(PeResourcesTest, FindsTheDataOfAType) {
  Put(support::PeResourceTree(kTree,
                              {{3, 1, 0x409, Marked(3)}, {16, 1, 0x409, Marked(16)}, {24, 1, 0x409, Marked(24)}}));
  EXPECT_EQ(FoundMark(), 16u);
  EXPECT_EQ(Find().value().size, 4u);
}

TEST_F(PeResourcesTest, PrefersEnglishThenTheNeutralLanguageThenTheFirst) {
  Put(support::PeResourceTree(kTree, {{16, 1, 0, Marked(1)}, {16, 1, 0x407, Marked(2)}, {16, 1, 0x409, Marked(3)}}));
  EXPECT_EQ(FoundMark(), 3u);
  Put(support::PeResourceTree(kTree, {{16, 1, 0, Marked(1)}, {16, 1, 0x407, Marked(2)}}));
  EXPECT_EQ(FoundMark(), 1u);
  Put(support::PeResourceTree(kTree, {{16, 1, 0x407, Marked(2)}, {16, 1, 0x40C, Marked(4)}}));
  EXPECT_EQ(FoundMark(), 2u);
}

TEST_F(PeResourcesTest, TakesTheFirstOfSeveralNames) {
  Put(support::PeResourceTree(kTree, {{16, 1, 0x407, Marked(1)}, {16, 2, 0x409, Marked(2)}}));
  EXPECT_EQ(FoundMark(), 1u);
}

TEST_F(PeResourcesTest, TakesNoTypeThatHasANameForOneWithThatNumber) {
  Blob tree = support::PeResourceTree(kTree, {{16, 1, 0x409, Marked(1)}});
  support::Patch16(&tree, 12, 1);  // the one entry is a named one
  support::Patch16(&tree, 14, 0);
  Put(tree);
  EXPECT_EQ(Find().state(), PeState::kAbsent);
}

TEST_F(PeResourcesTest, SaysAbsentWithoutTheTypeOrWithoutResources) {
  Put(support::PeResourceTree(kTree, {{3, 1, 0x409, Marked(3)}}));
  EXPECT_EQ(Find().state(), PeState::kAbsent);
  memory_.Put(kBase, PeBytes().bytes());
  EXPECT_EQ(Find().state(), PeState::kAbsent);
}

TEST_F(PeResourcesTest, SaysMissingWhereAnyStepOfTheWayIsNotInTheDump) {
  const Blob tree = support::PeResourceTree(kTree, {{16, 1, 0x409, Marked(1)}});
  const std::uint32_t steps[] = {0, 16, 24, 40, 48, 64, 72};  // each directory and entry, then the leaf
  for (const std::uint32_t step : steps) {
    Put(tree);
    memory_.Hide(kBase + kTree + step, 1);
    EXPECT_EQ(Find().state(), PeState::kMissing) << step;
  }
}

TEST_F(PeResourcesTest, CallsATreeThatDoesNotHaveThreeLevelsDamaged) {
  const Blob tree = support::PeResourceTree(kTree, {{16, 1, 0x409, Marked(1)}});
  const auto patched = [&](std::uint32_t place, std::uint32_t value) {
    Blob changed = tree;
    support::Patch32(&changed, place, value);
    Put(changed);
    return Find().state();
  };
  EXPECT_EQ(patched(20, 72), PeState::kDamaged) << "data in place of names";
  EXPECT_EQ(patched(44, 72), PeState::kDamaged) << "data in place of languages";
  EXPECT_EQ(patched(68, 0x8000'0000), PeState::kDamaged) << "a fourth level";
  EXPECT_EQ(patched(20, 0x8000'0000), PeState::kDamaged) << "a level that leads back to the first";
}

TEST_F(PeResourcesTest, CallsPlacesOutsideOfTheResourcesDamaged) {
  const Blob tree = support::PeResourceTree(kTree, {{16, 1, 0x409, Marked(1)}});
  const auto patched = [&](std::uint32_t place, std::uint32_t value) {
    Blob changed = tree;
    support::Patch32(&changed, place, value);
    Put(changed);
    return Find().state();
  };
  EXPECT_EQ(patched(20, 0xFFFF'FFFF), PeState::kDamaged);
  EXPECT_EQ(patched(20, 0x8000'1000), PeState::kDamaged);
  EXPECT_EQ(patched(68, 0x7FFF'FFFF), PeState::kDamaged);
  EXPECT_EQ(patched(72, 0x8000), PeState::kDamaged) << "data behind the image";
  EXPECT_EQ(patched(76, 0x7FFF'FFFF), PeState::kDamaged) << "data longer than the image";
}

}  // namespace
}  // namespace varnel::formats
