#include "host/dump_summary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <span>
#include <utility>

#include "host/dump_json.h"
#include "host/dump_text.h"
#include "tests/host/golden_json.h"
#include "tests/host/small_dump.h"

namespace varnel::host {
namespace {

class BytesSource final : public formats::DumpSource {
 public:
  explicit BytesSource(DumpBytes bytes) : bytes_(std::move(bytes)) {}
  std::uint64_t Size() const noexcept override { return bytes_.size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    if (offset >= bytes_.size()) return 0;
    const std::size_t n = std::min<std::size_t>(into.size(), bytes_.size() - offset);
    std::copy_n(bytes_.begin() + static_cast<std::ptrdiff_t>(offset), n, into.begin());
    return n;
  }

 private:
  const DumpBytes bytes_;
};

DumpSummary SummaryOf(DumpBytes bytes) {
  const std::uint64_t size = bytes.size();
  const auto opened = formats::KernelDump::Open(std::make_shared<BytesSource>(std::move(bytes)));
  return opened.ok() ? Summarize("x.dmp", size, *opened.dump) : DumpSummary{};
}

TEST(DumpSummary, StackWordsAreThoseInModulesFromTheStackPointerOn) {
  const DumpSummary summary = SummaryOf(SmallDump());
  ASSERT_TRUE(summary.stack);
  EXPECT_EQ(summary.stack->start, 0xFFFF800000000010u);
  EXPECT_EQ(summary.stack->bytes, 0x30u);
  ASSERT_EQ(summary.stack->words.size(), 2u);
  EXPECT_EQ(summary.stack->words[0].address, 0xFFFF800000000010u);
  EXPECT_EQ(summary.stack->words[0].module, u"ntoskrnl.exe");
  EXPECT_EQ(summary.stack->words[0].offset, 0x10u);
  EXPECT_EQ(summary.stack->words[1].address, 0xFFFF800000000020u);
  EXPECT_EQ(summary.stack->words[1].value, 0xFFFFF80000300FFFu);
  EXPECT_EQ(summary.stack->words[1].module, u"a.sys");
  EXPECT_EQ(summary.stack->words[1].offset, 0xFFFu);
}

TEST(DumpSummary, AStackPointerOnAnotherStackIsFollowedToTheFirstGap) {
  DumpBytes bytes = SmallDump();
  PutAt<std::uint64_t>(&bytes, 0x348 + 0x98, 0xFFFF900000000010);
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x78, 0x2180);  // one block of data, of the bytes of the other stack
  PutAt<std::uint32_t>(&bytes, 0x2000 + 0x7C, 1);
  PutAt<std::uint64_t>(&bytes, 0x2180, 0xFFFF900000000000);
  PutAt<std::uint32_t>(&bytes, 0x2188, 0x2100);
  PutAt<std::uint32_t>(&bytes, 0x218C, 0x28);
  const DumpSummary summary = SummaryOf(std::move(bytes));
  ASSERT_TRUE(summary.stack);
  EXPECT_EQ(summary.stack->start, 0xFFFF900000000010u);
  EXPECT_EQ(summary.stack->bytes, 0x18u);
  ASSERT_EQ(summary.stack->words.size(), 2u);
  EXPECT_EQ(summary.stack->words[1].module, u"a.sys");
}

TEST(DumpSummary, AStackPointerToNothingLeavesTheThreadsWholeStack) {
  DumpBytes bytes = SmallDump();
  PutAt<std::uint64_t>(&bytes, 0x348 + 0x98, 0xFFFF900000000000);
  const DumpSummary summary = SummaryOf(std::move(bytes));
  ASSERT_TRUE(summary.stack);
  EXPECT_EQ(summary.stack->start, 0xFFFF800000000000u);
  EXPECT_EQ(summary.stack->bytes, 0x40u);
  EXPECT_EQ(summary.stack->words.size(), 4u);
}

TEST(DumpSummary, AStackThatIsCutOffEndsWhereTheFileEnds) {
  DumpBytes bytes = SmallDump();
  bytes.resize(0x2118);
  const DumpSummary summary = SummaryOf(std::move(bytes));
  ASSERT_TRUE(summary.stack);
  EXPECT_EQ(summary.stack->bytes, 8u);
  EXPECT_TRUE(summary.modules.empty());
  ASSERT_TRUE(summary.completeness);
  EXPECT_FALSE(summary.completeness->complete());
}

TEST(DumpSummary, ADumpWithoutMemoryHasNoStack) {
  const DumpSummary summary = SummaryOf(HeaderOf(3));
  EXPECT_EQ(summary.header.build, 19041u);
  EXPECT_FALSE(summary.stack);
  EXPECT_TRUE(summary.modules.empty());
}

TEST(DumpSummary, DamagedBytesNeitherEndTheProgramNorSpoilTheJson) {
  std::mt19937 random(20'210'221);
  for (int i = 0; i < 400; ++i) {
    DumpBytes bytes = SmallDump();
    for (int changes = 0; changes < 4; ++changes) {
      const std::size_t at = 0x30 + random() % (bytes.size() - 0x30);
      bytes[at] = static_cast<std::byte>(random());
    }
    if (i % 2 == 1) bytes.resize(0x2000 + random() % (bytes.size() - 0x2000));
    const DumpSummary summary = SummaryOf(std::move(bytes));
    const Json json = ParsedJson(DumpAsJson(summary));
    ASSERT_NE(json, nullptr) << i;
    EXPECT_FALSE(DumpAsText(summary).empty()) << i;
  }
}

TEST(DumpSummary, OfAnotherMachinesDumpThereIsTheHeaderAlone) {
  const DumpSummary summary = SummaryOf(HeaderOf(4, 0xAA64));
  EXPECT_EQ(summary.header.machine, 0xAA64u);
  EXPECT_EQ(summary.qualifier, formats::DumpQualifier::kSmall);
  EXPECT_FALSE(summary.completeness);
  EXPECT_FALSE(summary.thread);
}

}  // namespace
}  // namespace varnel::host
