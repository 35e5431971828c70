// What the engine tells of the crashed system as a whole.
#include <string>

#include "engine_fixture.h"

namespace varnel::embedded {
namespace {

using DumpEngineFacts = EngineFixture;

TEST_F(DumpEngineFacts, TheKindOfDumpIsTheKernelsAndSmall) {
  Open(SmallDump{});
  std::uint32_t target_class = 0;
  std::uint32_t qualifier = 0;
  EXPECT_EQ(engine_->GetDebuggeeType(&target_class, &qualifier), 0);
  EXPECT_EQ(target_class, 1u);
  EXPECT_EQ(qualifier, 1024u);
}

TEST_F(DumpEngineFacts, TheBugCheckIsTheDumpsWithTheMarkOfASmallOne) {
  SmallDump dump;
  dump.bug_check = 0x1000007E;
  dump.parameters[3] = ~std::uint64_t{0};
  Open(dump);
  std::uint32_t code = 0;
  std::uint64_t first = 0;
  std::uint64_t second = 0;
  std::uint64_t third = 0;
  std::uint64_t fourth = 0;
  EXPECT_EQ(engine_->ReadBugCheckData(&code, &first, &second, &third, &fourth), 0);
  EXPECT_EQ(code, 0x1000007Eu);
  EXPECT_EQ(first, 1u);
  EXPECT_EQ(second, 2u);
  EXPECT_EQ(third, 3u);
  EXPECT_EQ(fourth, ~std::uint64_t{0});
  EXPECT_EQ(engine_->ReadBugCheckData(nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(DumpEngineFacts, TheVersionIsThatOfTheKernel) {
  SmallDump dump;
  dump.service_pack_build = 0x100;
  dump.processors = 12;
  Open(dump);
  std::uint32_t platform_id = 0;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t pack = 0;
  std::uint32_t used = 0;
  char text[256] = {};
  EXPECT_EQ(
      engine_->GetSystemVersion(&platform_id, &major, &minor, text, sizeof(text), &used, &pack, nullptr, 0, nullptr),
      0);
  EXPECT_EQ(platform_id, 2u);
  EXPECT_EQ(major, 15u);
  EXPECT_EQ(minor, 19041u);
  EXPECT_EQ(pack, 1u);
  EXPECT_STREQ(text, "Service Pack 1");
  EXPECT_EQ(used, 15u);
  std::uint32_t processors = 0;
  EXPECT_EQ(engine_->GetNumberProcessors(&processors), 0);
  EXPECT_EQ(processors, 12u);
}

TEST_F(DumpEngineFacts, ATextThatDoesNotFitIsCutAndToldSo) {
  SmallDump dump;
  dump.service_pack_build = 0x200;
  Open(dump);
  char text[8] = {};
  std::uint32_t used = 0;
  EXPECT_EQ(
      engine_->GetSystemVersion(nullptr, nullptr, nullptr, text, sizeof(text), &used, nullptr, nullptr, 0, nullptr), 1);
  EXPECT_STREQ(text, "Service");
  EXPECT_EQ(used, 15u);
}

TEST_F(DumpEngineFacts, ASystemWithoutServicePackHasAnEmptyText) {
  Open(SmallDump{});
  char text[8] = {'x'};
  std::uint32_t pack = 5;
  EXPECT_EQ(
      engine_->GetSystemVersion(nullptr, nullptr, nullptr, text, sizeof(text), nullptr, &pack, nullptr, 0, nullptr), 0);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(pack, 0u);
}

TEST_F(DumpEngineFacts, AServicePackIsOneByteAndNoneWhereNobodyWroteIt) {
  for (const auto& [written, expected] : {std::pair{0x45474150u, 0u}, {0x10300u, 3u}, {0xFFu, 0u}}) {
    SmallDump dump;
    dump.service_pack_build = written;
    Open(dump);
    std::uint32_t pack = 9;
    EXPECT_EQ(engine_->GetSystemVersion(nullptr, nullptr, nullptr, nullptr, 0, nullptr, &pack, nullptr, 0, nullptr), 0);
    EXPECT_EQ(pack, expected) << written;
  }
}

TEST_F(DumpEngineFacts, TimesGoFromTheFirstSecondToTheLastOf32Bits) {
  SmallDump dump;
  dump.system_time = 116'444'736'000'000'000;
  dump.system_up_time = std::uint64_t{0xFFFFFFFF} * 10'000'000 + 9'999'999;
  Open(dump);
  std::uint32_t seconds = 77;
  EXPECT_EQ(engine_->GetCurrentTimeDate(&seconds), 0);
  EXPECT_EQ(seconds, 0u);
  EXPECT_EQ(engine_->GetCurrentSystemUpTime(&seconds), 0);
  EXPECT_EQ(seconds, 0xFFFFFFFFu);
}

TEST_F(DumpEngineFacts, TimesAreWholeSeconds) {
  SmallDump dump;
  dump.system_time = 116'444'736'000'000'000 + std::uint64_t{1'700'000'000} * 10'000'000 + 9'999'999;
  dump.system_up_time = std::uint64_t{123} * 10'000'000 + 5'000'000;
  Open(dump);
  std::uint32_t time = 0;
  std::uint32_t up = 0;
  EXPECT_EQ(engine_->GetCurrentTimeDate(&time), 0);
  EXPECT_EQ(time, 1'700'000'000u);
  EXPECT_EQ(engine_->GetCurrentSystemUpTime(&up), 0);
  EXPECT_EQ(up, 123u);
}

TEST_F(DumpEngineFacts, TimesThatTheDumpDoesNotHaveAreNotInvented) {
  Open(SmallDump{});
  std::uint32_t seconds = 77;
  EXPECT_EQ(engine_->GetCurrentTimeDate(&seconds), kE_FAIL);
  EXPECT_EQ(engine_->GetCurrentSystemUpTime(&seconds), kE_FAIL);
  EXPECT_EQ(seconds, 77u);
}

TEST_F(DumpEngineFacts, TimesBesideTheRangeOfTheAnswerAreNone) {
  SmallDump dump;
  dump.system_time = 116'444'735'999'999'999;
  dump.system_up_time = (std::uint64_t{1} << 32) * 10'000'000;
  Open(dump);
  EXPECT_EQ(engine_->GetCurrentTimeDate(nullptr), kE_FAIL);
  EXPECT_EQ(engine_->GetCurrentSystemUpTime(nullptr), kE_FAIL);
}

}  // namespace
}  // namespace varnel::embedded
