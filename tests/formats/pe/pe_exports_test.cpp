#include "formats/pe/pe_exports.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::DumpedMemory;
using support::PeBytes;
using support::PeExportSpec;

constexpr std::uint64_t kBase = 0xFFFF'F804'7BA0'0000;
constexpr std::uint32_t kTable = 0x3000;

const std::vector<PeExportSpec>& SomeExports() {
  static const std::vector<PeExportSpec> exports = {
      {0x1100, {"KeBugCheckEx"}, ""},
      {0x1000, {"ZwClose", "NtClose"}, ""},
      {0, {}, "OTHER.Function"},
      {0x1200, {}, ""},
      {0x5010, {"KdDebuggerEnabled"}, ""},
      {0x1100, {"AlsoTheBugCheck"}, ""},
      {0, {"Unused"}, ""},
  };
  return exports;
}

class PeExportsTest : public testing::Test {
 protected:
  PeLookup<PeExports> Open(const std::vector<PeExportSpec>& exports, std::uint32_t base = 1) {
    const Blob table = support::PeExportTable(kTable, exports, base);
    PeBytes bytes;
    bytes.Put(kTable, table).Directory(0, kTable, static_cast<std::uint32_t>(table.size()));
    memory_.Put(kBase, bytes.bytes());
    return Reopen();
  }
  PeLookup<PeExports> Reopen() {
    const auto image = PeImage::Open(memory_, kBase, 0x8000);
    if (!image.found()) return image.state();
    return PeExports::Open(image.value());
  }
  DumpedMemory memory_;
};

TEST_F(PeExportsTest, NamesTheExportThatBeginsAtAPlace) {
  const auto exports = Open({{0x1100, {"KeBugCheckEx"}, ""}, {0x1200, {"KeWait"}, ""}}, 5);
  ASSERT_TRUE(exports.found());
  const auto at = exports.value().At(0x1200);
  ASSERT_TRUE(at.found());
  EXPECT_EQ(at.value().rva, 0x1200u);
  EXPECT_EQ(at.value().name, "KeWait");
  EXPECT_EQ(at.value().ordinal, 6u);
  EXPECT_EQ(exports.value().At(0x1201).state(), PeState::kAbsent);
  EXPECT_EQ(exports.value().At(0x10FF).state(), PeState::kAbsent);
}

TEST_F(PeExportsTest, TakesTheFirstOfSeveralNamesOfOneFunction) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().At(0x1000).value().name, "NtClose");
  const auto two_entries = exports.value().At(0x1100);
  EXPECT_EQ(two_entries.value().name, "AlsoTheBugCheck");
  EXPECT_EQ(two_entries.value().ordinal, 6u) << "the entry that this name leads to";
}

TEST_F(PeExportsTest, GivesAnExportWithoutANameByItsOrdinal) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  const auto at = exports.value().At(0x1200);
  ASSERT_TRUE(at.found());
  EXPECT_EQ(at.value().name, "");
  EXPECT_EQ(at.value().ordinal, 4u);
}

TEST_F(PeExportsTest, HasNoPlaceForForwardersAndUnusedEntries) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().size(), 5u);
  const Blob table = support::PeExportTable(kTable, SomeExports());
  for (std::uint32_t place = kTable; place < kTable + table.size(); ++place) {
    EXPECT_EQ(exports.value().At(place).state(), PeState::kAbsent);
  }
  EXPECT_EQ(exports.value().At(0).state(), PeState::kAbsent);
}

TEST_F(PeExportsTest, FindsTheNearestExportBelowAPlace) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().AtOrBelow(0x1000).value().name, "NtClose");
  EXPECT_EQ(exports.value().AtOrBelow(0x10FF).value().name, "NtClose");
  EXPECT_EQ(exports.value().AtOrBelow(0x1100).value().name, "AlsoTheBugCheck");
  EXPECT_EQ(exports.value().AtOrBelow(0x2FFF).value().ordinal, 4u);
  EXPECT_EQ(exports.value().AtOrBelow(0x5011).value().name, "KdDebuggerEnabled");
}

TEST_F(PeExportsTest, FindsNoExportBelowAcrossTheBeginningOfASection) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().AtOrBelow(0x5000).state(), PeState::kAbsent);
  EXPECT_EQ(exports.value().AtOrBelow(0x0FFF).state(), PeState::kAbsent) << "in no section";
}

TEST_F(PeExportsTest, TellsTheImagesOwnName) {
  const auto exports = Open(SomeExports());
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().ImageName().value(), "test.sys");
}

TEST_F(PeExportsTest, SaysAbsentForAnImageWithoutExports) {
  memory_.Put(kBase, PeBytes().bytes());
  EXPECT_EQ(Reopen().state(), PeState::kAbsent);
}

TEST_F(PeExportsTest, SaysMissingWhereTheTableIsNotInTheDump) {
  (void)Open(SomeExports());
  memory_.Hide(kBase + kTable, 0x1000);
  EXPECT_EQ(Reopen().state(), PeState::kMissing);
}

TEST_F(PeExportsTest, SaysMissingOfANameWhosePageIsNotInTheDump) {
  const auto whole = Open(SomeExports());
  ASSERT_TRUE(whole.found());
  ASSERT_TRUE(whole.value().At(0x1100).found());
  memory_.Hide(kBase + kTable + 40 + 7 * 4, 0x800);  // all behind the places
  const auto exports = Reopen();
  ASSERT_TRUE(exports.found());
  EXPECT_TRUE(exports.value().complete());
  EXPECT_EQ(exports.value().At(0x1100).state(), PeState::kMissing);
  EXPECT_EQ(exports.value().At(0x1101).state(), PeState::kAbsent);
  EXPECT_EQ(exports.value().ImageName().state(), PeState::kMissing);
}

TEST_F(PeExportsTest, NeverSaysAbsentWhileAPartOfThePlacesIsNotInTheDump) {
  std::vector<PeExportSpec> exports;
  for (std::uint32_t i = 0; i < 2000; ++i) exports.push_back({0x1000 + i, {}, ""});
  const auto whole = Open(exports);
  ASSERT_TRUE(whole.found());
  EXPECT_EQ(whole.value().size(), 2000u);
  memory_.Hide(kBase + kTable + 0x1000, 0x1000);
  const auto part = Reopen();
  ASSERT_TRUE(part.found());
  EXPECT_FALSE(part.value().complete());
  EXPECT_TRUE(part.value().At(0x1000).found());
  EXPECT_EQ(part.value().At(0x1000 + 1500).state(), PeState::kMissing);
  EXPECT_EQ(part.value().AtOrBelow(0x1000 + 1500).state(), PeState::kMissing) << "a nearer one may be there";
  EXPECT_TRUE(part.value().AtOrBelow(0x1000).found()) << "none can be nearer than that";
}

TEST_F(PeExportsTest, CallsATableThatLeavesTheImageDamaged) {
  (void)Open(SomeExports());
  const auto with = [this](std::uint32_t place, std::uint32_t value) {
    DumpedMemory changed;
    std::vector<std::byte> bytes(0x8000);
    EXPECT_EQ(memory_.ReadVirtual(kBase, bytes), bytes.size());
    support::Patch32(&bytes, kTable + place, value);
    changed.Put(kBase, bytes);
    const auto image = PeImage::Open(changed, kBase, 0x8000);
    const auto exports = PeExports::Open(image.value());
    return exports.found() ? exports.value().At(0x1100).state() : exports.state();
  };
  EXPECT_EQ(with(20, 65'537), PeState::kDamaged) << "functions";
  EXPECT_EQ(with(24, 65'537), PeState::kDamaged) << "names";
  EXPECT_EQ(with(28, 0x7FF0), PeState::kDamaged) << "places of functions";
  EXPECT_EQ(with(32, 0xFFFF'FFFE), PeState::kDamaged) << "places of names";
  EXPECT_EQ(with(36, 0x8000), PeState::kDamaged) << "ordinals";
  EXPECT_EQ(with(0, 0xFFFF'FFFF), PeState::kFound) << "characteristics tell nothing";
}

TEST_F(PeExportsTest, TakesANameWithControlCharactersForDamage) {
  const auto exports = Open({{0x1100,
                              {"Ke\x01"
                               "Bug"},
                              ""},
                             {0x1200, {""}, ""},
                             {0x1300, {"\xC3\xA9t\xE9"}, ""}});
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().At(0x1100).state(), PeState::kDamaged);
  EXPECT_EQ(exports.value().At(0x1200).state(), PeState::kDamaged) << "an empty one";
  EXPECT_EQ(exports.value().At(0x1300).value().name, "\xC3\xA9t\xEF\xBF\xBD") << "made valid";
}

}  // namespace
}  // namespace varnel::formats
