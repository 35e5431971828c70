#include "host/left_over_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "formats/etl_reader.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr std::int64_t kTime = 133'500'000'000'000'000;

LeftOverEvent Parsed(std::string_view text, std::int64_t before = kTime) {
  const auto event = ParseLeftOverEvent(text, before);
  EXPECT_TRUE(event.ok()) << text;
  return event.ok() ? event.value() : LeftOverEvent{};
}

std::string Refused(std::string_view text) {
  const auto event = ParseLeftOverEvent(text, kTime);
  EXPECT_FALSE(event.ok()) << text;
  return event.ok() ? "" : event.error().message;
}

TEST(LeftOverEvent, IsATimeAndACounterAtLeast) {
  const LeftOverEvent event = Parsed("133500000000000001,7");
  EXPECT_EQ(event.time, 133500000000000001);
  EXPECT_EQ(event.counter, 7u);
  EXPECT_EQ(event.text, "#7 left over");
  EXPECT_EQ(event.flags, 8u);
  EXPECT_EQ(event.keyword, 0x80u);
  EXPECT_STREQ(event.provider->name, "ProviderSample");
}

TEST(LeftOverEvent, ATimeCanFollowTheEventBefore) {
  EXPECT_EQ(Parsed("+25,1").time, kTime + 25);
  EXPECT_EQ(Parsed("+0,1").time, kTime);
  EXPECT_EQ(Parsed("0x10,1").time, 16);
}

TEST(LeftOverEvent, TakesItsSettingsByName) {
  const LeftOverEvent event =
      Parsed("1,0xFFFFFFFF,provider=KelvoIDD,keyword=0x100,flags=1,template=wide,text=a, b=c, d");
  EXPECT_EQ(event.counter, 0xFFFFFFFFu);
  EXPECT_STREQ(event.provider->name, "KelvoIDD");
  EXPECT_EQ(event.keyword, 0x100u);
  EXPECT_EQ(event.flags, 1u);
  EXPECT_EQ(event.kind, EmitTemplate::kWide);
  EXPECT_EQ(event.text, "a, b=c, d");
}

TEST(LeftOverEvent, WhatIsNoneIsRefusedWithTheReason) {
  EXPECT_EQ(Refused("soon,1"), "event 'soon,1': 'soon' is no number");
  EXPECT_THAT(Refused("1"), HasSubstr("'' is no number"));
  EXPECT_THAT(Refused("1,2x"), HasSubstr("'2x' is no number"));
  EXPECT_THAT(Refused("1,2,provider=Nobody"), HasSubstr("'Nobody' is none of the seven providers"));
  EXPECT_THAT(Refused("1,2,template=tall"), HasSubstr("template 'tall' is none of ansi, wide, binary"));
  EXPECT_THAT(Refused("1,2,colour=red"), HasSubstr("unknown key 'colour'"));
  EXPECT_THAT(Refused("0xFFFFFFFFFFFFFFFF,2"), HasSubstr("too late"));
  EXPECT_THAT(Refused("1,4294967296"), HasSubstr("'4294967296' does not fit in 32 bits"));
  EXPECT_THAT(Refused("1,2,flags=0x100000008"), HasSubstr("'0x100000008' does not fit in 32 bits"));
}

class LeftOverFile : public testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = testing::TempDir() + "left_over.XXXXXX";
    folder_ = ::mkdtemp(pattern.data());
    path_ = folder_ + "/file.etl";
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string folder_;
  std::string path_;
};

TEST_F(LeftOverFile, ReadsBackWithItsTimesAndCounters) {
  ASSERT_TRUE(WriteLeftOverFile(path_, {Parsed("133500000000000000,5,text=one"),
                                        Parsed("133500000000000001,6,provider=SourceUsb,keyword=0x200")})
                  .ok());
  std::ifstream in(path_, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(in), {}};
  formats::EtlMemorySource source(std::as_bytes(std::span(content)));
  const auto reader = formats::EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  ASSERT_NE(reader.value()->Next(), nullptr);  // the header's own event
  const formats::EtlEventView* event = reader.value()->Next();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->file_time, 133500000000000000);
  EXPECT_EQ(event->provider, ProviderGuid(kProviders[0]));
  EXPECT_EQ(event->id, 1);
  EXPECT_EQ(static_cast<int>(event->payload[0]), 5);
  event = reader.value()->Next();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->file_time, 133500000000000001);
  EXPECT_EQ(event->provider, ProviderGuid(kProviders[1]));
  EXPECT_EQ(event->keyword, 0x200u);
  EXPECT_EQ(reader.value()->Next(), nullptr);
  EXPECT_EQ(reader.value()->account().skipped_bytes, 0u);
}

TEST_F(LeftOverFile, AFileThatIsThereStaysAsItWas) {
  std::ofstream(path_) << "mine";
  const auto written = WriteLeftOverFile(path_, {});
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(written.error().message, path_ + ": File exists");
  std::ifstream in(path_);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "mine");
}

TEST_F(LeftOverFile, AnEventThatFitsNoBufferLeavesNoFileBehind) {
  LeftOverEvent event = Parsed("1,9");
  event.text = std::string(70000, 'x');
  const auto written = WriteLeftOverFile(path_, {event});
  ASSERT_FALSE(written.ok());
  EXPECT_THAT(written.error().message, HasSubstr("the event with counter 9 can't be written"));
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(LeftOverFile, GoesByNameWhereTheModuleLooksForIt) {
  const std::string machine = folder_ + "/m";
  ASSERT_TRUE(embedded::Machine::Create(machine).ok());
  const auto temporary = LeftOverPath("temp", machine);
  const auto another = LeftOverPath("temp", machine);
  const auto automatic = LeftOverPath("auto:7", machine);
  ASSERT_TRUE(temporary.ok() && another.ok() && automatic.ok());
  EXPECT_THAT(temporary.value(),
              MatchesRegex(".*/m/C/Windows/System32/LogFiles/WMI/"
                           "KWDTempTrace\\{4A234956-2B7D-4221-BADF-12593BD342A8\\}\\{[-0-9A-F]{36}\\}\\.etl"));
  EXPECT_NE(temporary.value(), another.value());
  EXPECT_THAT(automatic.value(), EndsWith("/KWDAutoTrace{4A234956-2B7D-4221-BADF-12593BD342A8}.etl.007"));
}

TEST_F(LeftOverFile, AnyOtherTargetIsAPathAndAsksForNoMachine) {
  const auto path = LeftOverPath("./here.etl", "");
  ASSERT_TRUE(path.ok());
  EXPECT_EQ(path.value(), "./here.etl");
  EXPECT_FALSE(LeftOverPath("auto:1000", folder_).ok());
  EXPECT_FALSE(LeftOverPath("temp", folder_).ok());  // no machine
}

}  // namespace
}  // namespace varnel::host
