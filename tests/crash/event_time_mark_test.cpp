#include "crash/event_time_mark.h"

#include <gtest/gtest.h>

#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

class EventTimeMarkTest : public testing::CrashTest {};

TEST_F(EventTimeMarkTest, ANullArgumentGives87) {
  EXPECT_EQ(ReadLastEventTimeStamp(nullptr), 87u);
  EXPECT_EQ(faults_.CountOf("RegOpenKeyExW"), 0u);
}

TEST_F(EventTimeMarkTest, TheFirstReadingMakesTheKeysAndAMarkOf0) {
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, 0u);
  EXPECT_EQ(StoredMark(), 0u);
  EXPECT_EQ(machine_.registry.Get(testing::kMarkKey, testing::kMarkValue)->type, platform::kRegQword);
  ExpectNothingOpen();
}

TEST_F(EventTimeMarkTest, TheKeysOutliveABootAndAreOpenedForReadingAndWriting) {
  class Watched : public testing::FaultyRegistry {
   public:
    using FaultyRegistry::FaultyRegistry;
    std::uint32_t RegOpenKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                std::uint32_t access, platform::HKEY* result) override {
      EXPECT_EQ(options, 0u);
      EXPECT_EQ(access, 0x2001Fu);
      return FaultyRegistry::RegOpenKeyExW(key, sub_key, options, access, result);
    }
    std::uint32_t RegCreateKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                  std::uint32_t access, platform::HKEY* result, std::uint32_t* disposition) override {
      EXPECT_EQ(options, platform::kRegOptionNonVolatile);
      EXPECT_EQ(access, 0x2001Fu);
      return FaultyRegistry::RegCreateKeyExW(key, sub_key, options, access, result, disposition);
    }
  };
  Watched registry(&machine_.registry, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.registry = &registry;
  const platform::ScopedPlatform in_force(&ports);
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(faults_.CountOf("RegOpenKeyExW"), 3u);
  EXPECT_EQ(faults_.CountOf("RegCreateKeyExW"), 3u);
}

TEST_F(EventTimeMarkTest, AMarkOfAnotherTypeOrFewerBytesIsTakenAsItIs) {
  const std::uint32_t half = 0x1DC95B3;
  machine_.registry.Set(testing::kMarkKey, testing::kMarkValue, platform::kRegBinary, &half, sizeof half);
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, half);
  EXPECT_EQ(faults_.CountOf("RegSetValueExW"), 0u) << "it stays";
}

TEST_F(EventTimeMarkTest, WhatWasWrittenIsRead) {
  WriteLastEventTimeStamp(0x1DC95B3A1C2D3E0);
  std::uint64_t mark = 0;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, 0x1DC95B3A1C2D3E0u);
  ExpectNothingOpen();
}

TEST_F(EventTimeMarkTest, AMarkThatDoesNotFitIsMadeAnewWith0) {
  const char text[] = "longer than a mark";
  machine_.registry.Set(testing::kMarkKey, testing::kMarkValue, platform::kRegBinary, text, sizeof text);
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, 0u);
  EXPECT_EQ(StoredMark(), 0u);
}

TEST_F(EventTimeMarkTest, AMarkThatCannotBeReadIsMadeAnewWith0) {
  StoreMark(5);
  faults_.Fail("RegQueryValueExW", 1016);
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, 0u);
  EXPECT_EQ(StoredMark(), 0u);
}

TEST_F(EventTimeMarkTest, ANewMarkThatCannotBeWrittenGivesItsCode) {
  faults_.Fail("RegSetValueExW", 1016);
  std::uint64_t mark = 7;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 1016u);
  ExpectNothingOpen();
}

TEST_F(EventTimeMarkTest, AKeyThatCanNeitherBeOpenedNorMadeGivesTheCodeOfItsMaking) {
  for (unsigned nth = 1; nth <= 3; ++nth) {
    machine_.registry.RemoveKey(u"SOFTWARE\\KelvoCLSID");
    faults_.Fail({"RegCreateKeyExW", nth, false, 5});
    std::uint64_t mark = 7;
    EXPECT_EQ(ReadLastEventTimeStamp(&mark), 5u);
    ExpectNothingOpen();
  }
}

TEST_F(EventTimeMarkTest, AFailedWritingIsNotTold) {
  StoreMark(5);
  faults_.Fail("RegSetValueExW", 1016);
  WriteLastEventTimeStamp(9);
  EXPECT_EQ(StoredMark(), 5u);
  faults_.FailForEver("RegOpenKeyExW", 5);
  faults_.FailForEver("RegCreateKeyExW", 5);
  WriteLastEventTimeStamp(9);
  EXPECT_EQ(StoredMark(), 5u);
  EXPECT_EQ(machine_.system.DebugText(), "");
  ExpectNothingOpen();
}

}  // namespace
}  // namespace varnel
