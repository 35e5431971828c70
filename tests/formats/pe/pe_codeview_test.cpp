#include "formats/pe/pe_codeview.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::DumpedMemory;
using support::PeBytes;

constexpr std::uint64_t kBase = 0xFFFF'F804'7BA0'0000;
constexpr std::uint32_t kDirectory = 0x3000;
constexpr std::uint32_t kRecord = 0x3100;
constexpr GUID kGuid = {0x89ABCDEF, 0x0123, 0x4567, {0x89, 0xAB, 0xCD, 0xEF, 0x00, 0x01, 0x02, 0x0F}};

class PeCodeViewTest : public testing::Test {
 protected:
  PeLookup<PeCodeView> Read(const PeBytes& bytes) {
    memory_.Put(kBase, bytes.bytes());
    return Reread();
  }
  PeLookup<PeCodeView> Reread() {
    const auto image = PeImage::Open(memory_, kBase, 0x8000);
    if (!image.found()) return image.state();
    return ReadPeCodeView(image.value());
  }
  static PeBytes WithIdentity() {
    PeBytes bytes;
    bytes.Put(kDirectory, support::DebugEntry(16, 0x3200, 8));
    bytes.Put(kDirectory + 28, support::DebugEntry(2, kRecord, 40)).Directory(6, kDirectory, 56);
    bytes.Put(kRecord, support::RsdsRecord(kGuid, 2, "ntkrnlmp.pdb"));
    return bytes;
  }
  DumpedMemory memory_;
};

TEST_F(PeCodeViewTest, FindsTheIdentityOfTheSymbolFile) {
  const auto identity = Read(WithIdentity());
  ASSERT_TRUE(identity.found());
  EXPECT_EQ(identity.value().guid, kGuid);
  EXPECT_EQ(identity.value().age, 2u);
  EXPECT_EQ(identity.value().file_name, "ntkrnlmp.pdb");
}

TEST_F(PeCodeViewTest, SaysAbsentWithoutAnEntryOfItsKind) {
  PeBytes only_other;
  only_other.Put(kDirectory, support::DebugEntry(16, 0x3200, 8)).Directory(6, kDirectory, 28);
  EXPECT_EQ(Read(only_other).state(), PeState::kAbsent);
  EXPECT_EQ(Read(PeBytes()).state(), PeState::kAbsent);
  EXPECT_EQ(Read(WithIdentity().Put32(kRecord, 0x3031'424E)).state(), PeState::kAbsent) << "an older kind";
  EXPECT_EQ(Read(WithIdentity().Put32(kDirectory + 28 + 20, 0)).state(), PeState::kAbsent) << "not mapped";
}

TEST_F(PeCodeViewTest, SaysMissingWhereDirectoryOrRecordIsNotInTheDump) {
  (void)Read(WithIdentity());
  memory_.Hide(kBase + kDirectory, 0x100);
  EXPECT_EQ(Reread().state(), PeState::kMissing);
  (void)Read(WithIdentity());
  memory_.Hide(kBase + kRecord, 8);
  EXPECT_EQ(Reread().state(), PeState::kMissing);
  (void)Read(WithIdentity());
  memory_.Hide(kBase + kRecord + 28, 0x100);
  EXPECT_EQ(Reread().state(), PeState::kMissing) << "its file name";
}

TEST_F(PeCodeViewTest, SaysDamagedWhereTheRecordLeavesTheImage) {
  EXPECT_EQ(Read(WithIdentity().Put32(kDirectory + 28 + 20, 0x7FFF)).state(), PeState::kDamaged);
  EXPECT_EQ(Read(WithIdentity().Put32(kDirectory + 28 + 20, 0xFFFF'FFFF)).state(), PeState::kDamaged);
}

TEST(PeKeys, NameTheFoldersOfASymbolStore) {
  EXPECT_EQ(PeImageKey(0x0D83'33E6, 0x104'6000), "0D8333E61046000");
  EXPECT_EQ(PdbKey(kGuid, 0x1A), "89ABCDEF0123456789ABCDEF0001020F1a");
}

}  // namespace
}  // namespace varnel::formats
