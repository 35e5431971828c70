#include "formats/pe/function_name.h"

#include "unwind_fixture.h"

namespace varnel::formats {
namespace {

constexpr std::uint32_t kExports = 0x4000;

class FunctionNameTest : public UnwindFixture {
 protected:
  FunctionNameTest() {
    Function(0, {});                                                  // exported
    Function(1, {});                                                  // not exported
    Function(2, {1, 4, 0, 0, 0, {}, {0x1000, 0x1100, UnwindOf(0)}});  // a part of the first
    Function(3, {});                                                  // exported by number
    const auto exports = support::PeExportTable(
        kExports, {{0x1000, {"KeFirst"}, ""}, {0x1300, {}, ""}, {0x1500, {"KeLeaf"}, ""}, {0x5000, {"KdData"}, ""}});
    bytes_.Put(kExports, exports).Directory(0, kExports, static_cast<std::uint32_t>(exports.size()));
    memory_.Put(kImage, bytes_.bytes());
  }
  PeLookup<FunctionName> Name(std::uint32_t rva) {
    const auto image = PeImage::Open(memory_, kImage, 0);
    const auto exports = PeExports::Open(image.value());
    return NameFunction(image.value(), exports.value(), PeFunctions::Open(image.value()), rva);
  }
  std::string Text(std::uint32_t rva) {
    const auto name = Name(rva);
    return name.found() ? name.value().name + "+" + std::to_string(name.value().displacement) : "";
  }
};

TEST_F(FunctionNameTest, IsTheExportsWhereTheFunctionBeginsThere) {
  EXPECT_EQ(Text(0x1000), "KeFirst+0");
  EXPECT_EQ(Text(0x1043), "KeFirst+67");
  EXPECT_EQ(Text(0x10FF), "KeFirst+255");
}

TEST_F(FunctionNameTest, IsNoneInAFunctionBehindAnExportThatIsNotExportedItself) {
  EXPECT_EQ(Name(0x1100).state(), PeState::kAbsent);
  EXPECT_EQ(Name(0x1180).state(), PeState::kAbsent);
}

TEST_F(FunctionNameTest, IsTheBeginningsForALaterPartOfAFunction) {
  EXPECT_EQ(Text(0x1210), "KeFirst+528");
}

TEST_F(FunctionNameTest, IsNoneForAPartThatLiesBeforeTheBeginning) {
  entries_.clear();
  Function(0, {1, 4, 0, 0, 0, {}, {0x1100, 0x1200, UnwindOf(1)}});
  Function(1, {});
  memory_.Put(kImage, bytes_.bytes());
  EXPECT_EQ(Name(0x1010).state(), PeState::kAbsent);
}

TEST_F(FunctionNameTest, IsNoneForAPartThatLiesBeforeAnExportedBeginning) {
  entries_.clear();
  Function(3, {1, 4, 0, 0, 0, {}, {0x1500, 0x1600, UnwindOf(5)}});
  Function(5, {});
  memory_.Put(kImage, bytes_.bytes());
  EXPECT_EQ(Text(0x1510), "KeLeaf+16");
  EXPECT_EQ(Name(0x1310).state(), PeState::kAbsent);
}

TEST_F(FunctionNameTest, IsNoneForAFunctionExportedByItsNumberAlone) {
  EXPECT_EQ(Name(0x1310).state(), PeState::kAbsent);
}

TEST_F(FunctionNameTest, IsAnExportsOwnPlaceInAFunctionWithoutAnEntryAndNoOther) {
  EXPECT_EQ(Text(0x1500), "KeLeaf+0");
  EXPECT_EQ(Name(0x1501).state(), PeState::kAbsent) << "nothing tells where that function ends";
}

TEST_F(FunctionNameTest, IsNoneForData) {
  EXPECT_EQ(Name(0x5000).state(), PeState::kAbsent);
  EXPECT_EQ(Name(0x10).state(), PeState::kAbsent);
}

TEST_F(FunctionNameTest, IsMissingWhereTheProofIsNotInTheDump) {
  memory_.Hide(kImage + kTable, 0x1000);
  EXPECT_EQ(Text(0x1000), "KeFirst+0") << "the export itself needs none";
  EXPECT_EQ(Name(0x1043).state(), PeState::kMissing);
  EXPECT_EQ(Name(0x1501).state(), PeState::kMissing);
}

TEST_F(FunctionNameTest, IsMissingWhereTheUnwindInformationIsNotInTheDump) {
  memory_.Hide(kImage + UnwindOf(1), 4);
  EXPECT_EQ(Name(0x1110).state(), PeState::kMissing);
}

TEST_F(FunctionNameTest, IsMissingWhereTheNamesAreNotInTheDump) {
  memory_.Hide(kImage + kExports + 40 + 16, 0x100);
  EXPECT_EQ(Name(0x1010).state(), PeState::kMissing);
  EXPECT_EQ(Name(0x1110).state(), PeState::kAbsent);
}

}  // namespace
}  // namespace varnel::formats
