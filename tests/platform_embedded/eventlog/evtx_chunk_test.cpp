#include "platform/embedded/eventlog/evtx_chunk.h"

#include <gtest/gtest.h>

#include "tests/support/evtx_builder.h"

namespace varnel::embedded::evtx {
namespace {

std::string ChunkOf(std::uint64_t first, std::uint64_t last) {
  testing::EvtxBuilder builder;
  for (std::uint64_t id = first; id <= last; ++id) {
    testing::EvtxEvent event;
    event.record_id = id;
    event.time = id * 10;
    builder.Add(event);
  }
  return builder.LastChunk();
}

TEST(EvtxChunk, TellsTheRecordsOfASoundChunk) {
  const auto keys = KeysOfSoundChunk(ChunkOf(5, 9));
  ASSERT_EQ(keys.size(), 5u);
  for (std::uint32_t i = 0; i < keys.size(); ++i) {
    EXPECT_EQ(keys[i].record_id, 5u + i);
    EXPECT_EQ(keys[i].written_time, 10u * (5 + i));
    EXPECT_EQ(keys[i].index, i);
  }
  EXPECT_EQ(ClaimedRecords(ChunkOf(5, 9)), 5u);
}

TEST(EvtxChunk, BelievesNoChunkWithAByteChanged) {
  const std::string chunk = ChunkOf(1, 3);
  for (const std::size_t at : {0u, 8u, 48u, 60u, 130u, 512u, 516u, 700u}) {
    std::string changed = chunk;
    changed[at] = static_cast<char>(changed[at] ^ 0x10);
    EXPECT_TRUE(KeysOfSoundChunk(changed).empty()) << at;
  }
  EXPECT_TRUE(KeysOfSoundChunk(chunk.substr(0, 60000)).empty());
  EXPECT_TRUE(KeysOfSoundChunk("").empty());
}

TEST(EvtxChunk, DoesNotBelieveNumbersThatNoChunkCanHave) {
  std::string chunk = ChunkOf(1, 3);
  chunk[18] = '\x7F';
  EXPECT_EQ(ClaimedRecords(chunk), 0u);
  EXPECT_TRUE(IsChunk(chunk));
  EXPECT_FALSE(IsEmptyChunk(chunk));
  EXPECT_TRUE(IsEmptyChunk(testing::EvtxBuilder().LastChunk()));
}

}  // namespace
}  // namespace varnel::embedded::evtx
