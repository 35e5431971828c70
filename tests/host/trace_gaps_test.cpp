#include "host/trace_gaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/trace_command.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

using support::Blob;
using testing::HasSubstr;

constexpr GUID kSample = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
constexpr GUID kIdd = {0x4A234952, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};

struct Counted {
  std::int64_t after_start;
  std::uint32_t counter;
  std::uint64_t keyword = 0x81;
  GUID provider = kSample;
  std::uint16_t id = 1;
};
Blob FileOf(const std::vector<Counted>& counted) {
  support::LogHeaderSpec header;
  std::vector<Blob> events;
  for (const Counted& c : counted) {
    support::EventSpec event;
    event.stamp = header.origin_stamp + c.after_start;
    event.id = c.id;
    event.keyword = c.keyword;
    event.provider = c.provider;
    event.payload = support::CounterPayload(c.counter);
    events.push_back(support::Event(event));
  }
  Blob file = support::HeaderBuffer(header);
  support::Append(&file, support::Buffer({}, events));
  return file;
}

class TraceGapsTest : public testing::Test {
 protected:
  CommandResult Gaps(const std::vector<Blob>& contents) {
    TraceGapsOptions options;
    for (std::size_t i = 0; i < contents.size(); ++i) {
      options.files.push_back(folder_.Put(std::to_string(i) + ".etl", contents[i]));
    }
    return RunCommand(TraceGaps, options);
  }
  TemporaryFolder folder_;
};

TEST_F(TraceGapsTest, ASequenceWithoutAGapIsGood) {
  const CommandResult result = Gaps({FileOf({{10, 1}, {20, 2}, {30, 3}})});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "ProviderSample {D8909C24-5BE9-4502-98CA-AB7BDC24899D} module 0x80: 3 events, counter 1 at "
            "2020-11-16T11:33:20.0000010Z to 3 at 2020-11-16T11:33:20.0000030Z\n"
            "3 events in 1 sequences of 1 files: 0 gaps (0 missing), 0 repeats, 0 late, 0 restarts, 0 wraps\n");
}

TEST_F(TraceGapsTest, AGapIsShownWithItsCountersAndTheTimesAroundIt) {
  const CommandResult result = Gaps({FileOf({{10, 1}, {20, 2}, {30, 5}})});
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.out, HasSubstr("  gap: counters 3 to 4, 2 missing, between 2020-11-16T11:33:20.0000020Z and "
                                    "2020-11-16T11:33:20.0000030Z\n"));
  EXPECT_THAT(result.out, HasSubstr(": 1 gaps (2 missing), "));
}

TEST_F(TraceGapsTest, SequencesAreFollowedByProviderAndModule) {
  const CommandResult result = Gaps({FileOf(
      {{10, 1, 0x81}, {20, 1, 0x101}, {30, 1, 0x81, kIdd}, {40, 2, 0x81}, {50, 2, 0x101}, {60, 2, 0x81, kIdd}})});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.Lines().size(), 4u);
  EXPECT_THAT(result.out, HasSubstr("KelvoIDD {4A234952-2B7D-4221-BADF-12593BD342A8} module 0x80: 2 events"));
}

TEST_F(TraceGapsTest, TheTemplatesOfAModuleShareItsCounter) {
  EXPECT_EQ(Gaps({FileOf({{10, 1, 0x81, kSample, 1}, {20, 2, 0x82, kSample, 2}, {30, 3, 0x84, kSample, 3}})}).code, 0);
}

TEST_F(TraceGapsTest, FilesAreLookedAtTogetherInTimeOrder) {
  EXPECT_EQ(Gaps({FileOf({{30, 3}, {40, 4}}), FileOf({{10, 1}, {20, 2}, {50, 5}})}).code, 0);
  EXPECT_EQ(Gaps({FileOf({{30, 3}, {40, 4}})}).code, 0);
  EXPECT_EQ(Gaps({FileOf({{10, 1}, {20, 2}, {50, 5}})}).code, 3);
}

TEST_F(TraceGapsTest, AnEventInTwoFilesIsARepeat) {
  const CommandResult result = Gaps({FileOf({{10, 1}, {20, 2}, {20, 3}}), FileOf({{20, 2}, {20, 3}, {30, 4}})});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("2 repeats"));
  EXPECT_THAT(result.out, HasSubstr("  repeat: counter 2 at 2020-11-16T11:33:20.0000020Z\n"));
}

TEST_F(TraceGapsTest, RestartsAndWrapsAreShownAndAreNoGaps) {
  const CommandResult result =
      Gaps({FileOf({{10, 1}, {20, 2}, {30, 1}, {40, 2}, {50, 0xFFFFFFFF, 0x101}, {60, 0, 0x101}})});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("  restart: counter 1 at 2020-11-16T11:33:20.0000030Z\n"));
  EXPECT_THAT(result.out, HasSubstr("  wrap: counter 0 at 2020-11-16T11:33:20.0000060Z\n"));
  EXPECT_THAT(result.out, HasSubstr("1 restarts, 1 wraps\n"));
}

TEST_F(TraceGapsTest, ManyRepeatsAreCountedAndNotAllListed) {
  std::vector<Counted> counted;
  for (int i = 0; i < 25; ++i) counted.push_back({10, 1});
  const CommandResult result = Gaps({FileOf(counted)});
  EXPECT_EQ(result.Lines().size(), 1u + 20 + 1 + 1);
  EXPECT_THAT(result.out, HasSubstr("  repeat: 4 more\n"));
}

TEST_F(TraceGapsTest, OtherEventsAreLeftAlone) {
  const GUID other = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  const CommandResult result =
      Gaps({FileOf({{10, 9, 0x81, other}, {20, 9, 0x81, kSample, 4}, {25, 9, 0x81, kSample, 0}})});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("0 events in 0 sequences of 1 files"));
}

TEST_F(TraceGapsTest, AnEventTooShortForACounterIsLeftAlone) {
  support::EventSpec event;
  event.provider = kSample;
  event.payload = Blob(3);
  Blob file = support::HeaderBuffer({});
  support::Append(&file, support::Buffer({}, {support::Event(event)}));
  EXPECT_THAT(Gaps({file}).out, HasSubstr("0 events"));
}

TEST_F(TraceGapsTest, ABadFileIsToldAndTheOthersAreStillRead) {
  const CommandResult result = Gaps({Blob(10), FileOf({{10, 1}, {20, 3}})});
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("wardlet trace gaps: " + folder_.PathOf("0.etl") + ": byte 0: "));
  EXPECT_THAT(result.out, HasSubstr("  gap: counters 2 to 2"));
}

TEST_F(TraceGapsTest, DamageIsTold) {
  Blob file = FileOf({{10, 1}});
  file[4096] = std::byte{1};
  EXPECT_THAT(Gaps({file}).err, HasSubstr("4096 bytes could not be read"));
}

TEST_F(TraceGapsTest, WithoutAFileIsWrongUse) {
  EXPECT_EQ(Gaps({}).code, 2);
}

}  // namespace
}  // namespace varnel::host
