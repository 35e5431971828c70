#include "formats/dump/secondary_data.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

support::SmallDumpBytes ThreeBlocks() {
  support::SmallDumpBytes dump;
  dump.AddSecondary(0x11, Pattern(5, 1), 0, 0);
  dump.AddSecondary(0x00, {}, 0, 3);  // no bytes, and no tag
  dump.AddSecondary(0x33, Pattern(9, 2), 4, 1);
  return dump;
}

TEST(SecondaryData, ReadsAChainWhoseHeadersStandAtAnyPlace) {
  const OpenedDump opened = OpenBytes(ThreeBlocks().Finish());
  ASSERT_TRUE(opened.ok());
  const auto& blocks = opened.dump->SecondaryData();
  ASSERT_EQ(blocks.size(), 3u);
  EXPECT_EQ(blocks[0].tag.Data1, 0x11111111u);
  EXPECT_EQ(blocks[1].size, 0u);
  EXPECT_EQ(blocks[2].tag.Data4[7], 0x33);
  std::vector<std::byte> data(20);
  EXPECT_EQ(opened.dump->ReadSecondaryData(blocks[2], data), 9u);
  data.resize(9);
  EXPECT_EQ(data, Pattern(9, 2));
  EXPECT_TRUE(opened.dump->Completeness().complete());
}

TEST(SecondaryData, EndsAtWhatIsNoHeader) {
  std::vector<std::byte> bytes = ThreeBlocks().Finish();
  bytes.resize(bytes.size() + 64);
  const OpenedDump opened = OpenBytes(bytes);
  EXPECT_EQ(opened.dump->SecondaryData().size(), 3u);
  EXPECT_EQ(opened.dump->Completeness().expected_size, bytes.size() - 64);
}

TEST(SecondaryData, EndsWithTheFileAndTellsThatItIsCut) {
  std::vector<std::byte> bytes = ThreeBlocks().Finish();
  const std::size_t whole = bytes.size();
  bytes.resize(whole - 6);
  const OpenedDump opened = OpenBytes(bytes);
  const auto& blocks = opened.dump->SecondaryData();
  ASSERT_EQ(blocks.size(), 3u);
  std::vector<std::byte> data(9);
  EXPECT_EQ(opened.dump->ReadSecondaryData(blocks[2], data), 4u);
  EXPECT_EQ(opened.dump->Completeness().expected_size, whole);
  EXPECT_FALSE(opened.dump->Completeness().complete());
}

TEST(SecondaryData, HasNoBlocksWhereNoChainBegins) {
  support::SmallDumpBytes dump;
  const OpenedDump opened = OpenBytes(dump.Finish());
  EXPECT_TRUE(opened.dump->SecondaryData().empty());
  EXPECT_TRUE(opened.dump->Completeness().complete());
  const support::DumpFileSource source(Pattern(100, 0));
  EXPECT_FALSE(ReadSecondaryDataChain(source, 4).end);
  EXPECT_FALSE(ReadSecondaryDataChain(source, ~std::uint64_t{0}).end);
}

TEST(SecondaryData, OfSizesThatLeaveTheFileEndTheChain) {
  support::SmallDumpBytes dump;
  dump.AddSecondary(0x11, Pattern(5, 1), 0, 0);
  std::vector<std::byte> bytes = dump.Finish();
  const std::size_t header = bytes.size() - 5 - 0x20;
  for (const std::size_t field : {0x14u, 0x18u, 0x1Cu}) {
    support::GrowingBytes changed;
    changed.PutBytes(0, bytes);
    changed.Put<std::uint32_t>(header + field, 0xFFFFFFFF);
    const OpenedDump opened = OpenBytes(changed.bytes());
    EXPECT_EQ(opened.dump->SecondaryData().size(), 1u);
    EXPECT_FALSE(opened.dump->Completeness().complete());
  }
}

}  // namespace
}  // namespace varnel::formats
