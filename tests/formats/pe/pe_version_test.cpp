#include "formats/pe/pe_version.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;
using support::DumpedMemory;
using support::PeBytes;

constexpr std::uint64_t kBase = 0xFFFF'F804'7BA0'0000;
constexpr std::uint32_t kTree = 0x6000;

Blob Sample() {
  return support::VersionResource(u"10.0.19041.1 (build)", u"10.0.19041.9",
                                  support::VersionFixed(0x000A'0000, 0x4A61'0001, 0x000A'0000, 0x4A61'0009));
}

PeVersion Parse(const Blob& bytes) {
  return PeVersion(bytes, bytes.size());
}

std::u16string TextOf(const PeVersion& version, std::u16string_view item) {
  const auto value = version.Query(item);
  return value.found() && value.value().is_text ? value.value().text : u"<none>";
}

TEST(PeVersion, GivesTheFixedPartOfTheRoot) {
  const PeVersion version = Parse(Sample());
  const auto value = version.Query(u"\\");
  ASSERT_TRUE(value.found());
  EXPECT_FALSE(value.value().is_text);
  EXPECT_EQ(value.value().bytes, support::VersionFixed(0x000A'0000, 0x4A61'0001, 0x000A'0000, 0x4A61'0009));
  const auto fixed = version.Fixed();
  ASSERT_TRUE(fixed.found());
  EXPECT_EQ(fixed.value().signature, 0xFEEF'04BDu);
  EXPECT_EQ(fixed.value().file_version_ms, 0x000A'0000u);
  EXPECT_EQ(fixed.value().file_version_ls, 0x4A61'0001u);
  EXPECT_EQ(fixed.value().product_version_ls, 0x4A61'0009u);
  EXPECT_EQ(fixed.value().file_type, 3u);
  EXPECT_EQ(fixed.value().file_subtype, 7u);
}

TEST(PeVersion, GivesTheTextsOfATable) {
  const PeVersion version = Parse(Sample());
  EXPECT_EQ(TextOf(version, u"\\StringFileInfo\\040904B0\\FileVersion"), u"10.0.19041.1 (build)");
  EXPECT_EQ(TextOf(version, u"\\StringFileInfo\\040904B0\\ProductVersion"), u"10.0.19041.9");
}

TEST(PeVersion, ComparesNamesWithoutTheirCase) {
  EXPECT_EQ(TextOf(Parse(Sample()), u"\\stringfileinfo\\040904b0\\PRODUCTversion"), u"10.0.19041.9");
}

TEST(PeVersion, GivesTheTranslationsAsBytes) {
  const auto value = Parse(Sample()).Query(u"\\VarFileInfo\\Translation");
  ASSERT_TRUE(value.found());
  EXPECT_FALSE(value.value().is_text);
  EXPECT_EQ(value.value().bytes, ByteWriter().U16(0x409).U16(1200).Take());
}

TEST(PeVersion, SaysAbsentOfAnItemThatIsNotThere) {
  const PeVersion version = Parse(Sample());
  EXPECT_EQ(version.Query(u"\\StringFileInfo\\040704B0\\FileVersion").state(), PeState::kAbsent);
  EXPECT_EQ(version.Query(u"\\StringFileInfo\\040904B0\\Comments").state(), PeState::kAbsent);
  EXPECT_EQ(version.Query(u"\\StringFileInfo\\040904B0\\FileVersion\\More").state(), PeState::kAbsent);
  EXPECT_EQ(version.Query(u"\\FileVersion").state(), PeState::kAbsent);
}

TEST(PeVersion, GivesAnEmptyValueOfATableOfTexts) {
  const auto value = Parse(Sample()).Query(u"\\StringFileInfo");
  ASSERT_TRUE(value.found());
  EXPECT_FALSE(value.value().is_text);
  EXPECT_TRUE(value.value().bytes.empty());
}

TEST(PeVersion, GivesAnEmptyTextThatIsThere) {
  EXPECT_EQ(TextOf(Parse(support::VersionResource(u"", u"", {})), u"\\StringFileInfo\\040904B0\\FileVersion"), u"");
}

TEST(PeVersion, ReadsATextWhoseLengthCountsBytes) {
  const Blob value = ByteWriter().Utf16z(u"1.2.3").Take();
  const Blob by_type[] = {support::VersionBlock(u"FileVersion", 0, 12, value),   // as bytes say of themselves
                          support::VersionBlock(u"FileVersion", 1, 12, value)};  // twice of what is there
  for (const Blob& text : by_type) {
    const Blob table = support::VersionBlock(u"040904B0", 1, 0, {}, {text, support::VersionText(u"Z", u"z")});
    const Blob root = support::VersionBlock(u"VS_VERSION_INFO", 0, 0, {},
                                            {support::VersionBlock(u"StringFileInfo", 1, 0, {}, {table})});
    EXPECT_EQ(TextOf(Parse(root), u"\\StringFileInfo\\040904B0\\FileVersion"), u"1.2.3");
    EXPECT_EQ(TextOf(Parse(root), u"\\StringFileInfo\\040904B0\\Z"), u"z");
  }
}

TEST(PeVersion, HasNoFixedPartWithAnotherSignatureOrLength) {
  EXPECT_EQ(Parse(support::VersionResource(u"1", u"1", support::VersionFixed(1, 2, 3, 4, 0xFEEF'04BE))).Fixed().state(),
            PeState::kAbsent);
  Blob shorter = support::VersionFixed(1, 2, 3, 4);
  shorter.resize(48);
  EXPECT_EQ(Parse(support::VersionResource(u"1", u"1", shorter)).Fixed().state(), PeState::kAbsent);
}

TEST(PeVersion, SaysMissingBehindWhatIsInTheDump) {
  const Blob whole = Sample();
  Blob part = whole;
  part.resize(120);  // the fixed part is there, the texts are not
  const PeVersion version(part, whole.size());
  EXPECT_TRUE(version.Fixed().found());
  EXPECT_EQ(version.Query(u"\\StringFileInfo\\040904B0\\FileVersion").state(), PeState::kMissing);
  EXPECT_EQ(PeVersion({}, whole.size()).Fixed().state(), PeState::kMissing);
}

TEST(PeVersion, SaysDamagedWhereLengthsLeaveTheirBlock) {
  Blob long_root = Sample();
  support::Patch16(&long_root, 0, static_cast<std::uint16_t>(long_root.size() + 1));
  EXPECT_EQ(Parse(long_root).Fixed().state(), PeState::kDamaged);
  Blob empty_child = Sample();
  support::Patch16(&empty_child, 92, 0);  // the first block behind the fixed part
  EXPECT_EQ(Parse(empty_child).Query(u"\\StringFileInfo").state(), PeState::kDamaged);
  Blob no_end_of_key(6 + 8, std::byte{'x'});
  support::Patch16(&no_end_of_key, 0, 14);
  EXPECT_EQ(Parse(no_end_of_key).Fixed().state(), PeState::kDamaged);
  EXPECT_EQ(Parse({}).Fixed().state(), PeState::kDamaged);
}

TEST(PeVersion, CutsAValueAtTheEndOfItsBlock) {
  Blob text = support::VersionText(u"FileVersion", u"1.2");
  support::Patch16(&text, 2, 0xFFFF);
  const Blob table = support::VersionBlock(u"040904B0", 1, 0, {}, {text});
  const Blob root = support::VersionBlock(u"VS_VERSION_INFO", 0, 0, {},
                                          {support::VersionBlock(u"StringFileInfo", 1, 0, {}, {table})});
  EXPECT_EQ(TextOf(Parse(root), u"\\StringFileInfo\\040904B0\\FileVersion"), u"1.2");
}

class PeVersionOfAnImage : public testing::Test {
 protected:
  void Put(const Blob& resource) {
    const Blob tree = support::PeResourceTree(kTree, {{16, 1, 0x409, resource}});
    PeBytes bytes;
    bytes.Put(kTree, tree).Directory(2, kTree, static_cast<std::uint32_t>(tree.size()));
    memory_.Put(kBase, bytes.bytes());
  }
  PeLookup<PeVersion> Open() {
    const auto image = PeImage::Open(memory_, kBase, 0x8000);
    if (!image.found()) return image.state();
    return PeVersion::Open(image.value());
  }
  DumpedMemory memory_;
};

TEST_F(PeVersionOfAnImage, IsFoundAmongTheResources) {
  Put(Sample());
  const auto version = Open();
  ASSERT_TRUE(version.found());
  EXPECT_EQ(TextOf(version.value(), u"\\StringFileInfo\\040904B0\\FileVersion"), u"10.0.19041.1 (build)");
}

TEST_F(PeVersionOfAnImage, IsAbsentWhereThereIsNone) {
  memory_.Put(kBase, PeBytes().bytes());
  EXPECT_EQ(Open().state(), PeState::kAbsent);
}

TEST_F(PeVersionOfAnImage, IsMissingWhereItsPageIsNotInTheDump) {
  Put(Sample());
  memory_.Hide(kBase + kTree + 88, 0x1000 - 88);  // all behind the directories
  EXPECT_EQ(Open().state(), PeState::kMissing);
}

TEST_F(PeVersionOfAnImage, KeepsTheFixedPartWhereOnlyTheTextsAreNotInTheDump) {
  Put(Sample());
  memory_.Hide(kBase + kTree + 88 + 120, 0x200);
  const auto version = Open();
  ASSERT_TRUE(version.found());
  EXPECT_TRUE(version.value().Fixed().found());
  EXPECT_EQ(version.value().Query(u"\\StringFileInfo\\040904B0\\FileVersion").state(), PeState::kMissing);
}

TEST_F(PeVersionOfAnImage, IsDamagedWhenItIsEmpty) {
  Put({});
  EXPECT_EQ(Open().state(), PeState::kDamaged);
}

}  // namespace
}  // namespace varnel::formats
