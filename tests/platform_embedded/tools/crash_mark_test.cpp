#include "platform/embedded/tools/crash_mark.h"

#include <fstream>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class CrashMarkTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
  }
};

TEST_F(CrashMarkTest, IsThereFromACrashUntilItIsRemoved) {
  EXPECT_FALSE(ReadCrashMark(*machine_).value());
  const CrashFacts facts{0x9F, {3, 0xffffc0000005, 0, ~std::uint64_t{0}}, 7};
  ASSERT_TRUE(WriteCrashMark(*machine_, {facts, 12}).ok());
  const auto mark = ReadCrashMark(*machine_);
  ASSERT_TRUE(mark.ok() && mark.value());
  EXPECT_EQ(mark.value()->facts, facts);
  EXPECT_EQ(mark.value()->record_id, 12u);
  ASSERT_TRUE(RemoveCrashMark(*machine_).ok());
  EXPECT_FALSE(ReadCrashMark(*machine_).value());
  EXPECT_TRUE(RemoveCrashMark(*machine_).ok()) << "what is gone needs no removal";
}

TEST_F(CrashMarkTest, OfASecondCrashTakesThePlaceOfTheFirst) {
  ASSERT_TRUE(WriteCrashMark(*machine_, {{1, {}, 0}, 0}).ok());
  ASSERT_TRUE(WriteCrashMark(*machine_, {{2, {}, 0}, 0}).ok());
  EXPECT_EQ(ReadCrashMark(*machine_).value()->facts.bugcheck_code, 2u);
}

TEST_F(CrashMarkTest, ThatIsDamagedIsAnError) {
  for (const char* text : {"", "x", "1 2 3 4 5 6", "1 2 3 4 5 6 -"}) {
    std::ofstream(machine_->root() + "/crash") << text;
    const auto mark = ReadCrashMark(*machine_);
    ASSERT_FALSE(mark.ok()) << text;
    EXPECT_NE(mark.error().message.find("/crash"), std::string::npos);
  }
}

}  // namespace
}  // namespace varnel::embedded
