#include "formats/dump/triage_block.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

TEST(TriageBlock, ReadsEachFieldAtItsPlace) {
  support::GrowingBytes bytes = support::MakeDumpHeader(4);
  for (std::uint32_t at = 0; at < 0x80; at += 4) bytes.Put<std::uint32_t>(0x2000 + at, at);
  const auto block = ReadTriageBlock(support::DumpFileSource(bytes.bytes()));
  ASSERT_TRUE(block);
  EXPECT_EQ(block->service_pack_build, 0x00u);
  EXPECT_EQ(block->size_of_dump, 0x04u);
  EXPECT_EQ(block->valid_offset, 0x08u);
  EXPECT_EQ(block->context_offset, 0x0Cu);
  EXPECT_EQ(block->exception_offset, 0x10u);
  EXPECT_EQ(block->mm_offset, 0x14u);
  EXPECT_EQ(block->unloaded_drivers_offset, 0x18u);
  EXPECT_EQ(block->prcb_offset, 0x1Cu);
  EXPECT_EQ(block->process_offset, 0x20u);
  EXPECT_EQ(block->thread_offset, 0x24u);
  EXPECT_EQ(block->call_stack_offset, 0x28u);
  EXPECT_EQ(block->call_stack_size, 0x2Cu);
  EXPECT_EQ(block->driver_list_offset, 0x30u);
  EXPECT_EQ(block->driver_count, 0x34u);
  EXPECT_EQ(block->string_pool_offset, 0x38u);
  EXPECT_EQ(block->string_pool_size, 0x3Cu);
  EXPECT_EQ(block->broken_driver_offset, 0x40u);
  EXPECT_EQ(block->triage_options, 0x44u);
  EXPECT_EQ(block->top_of_stack, 0x4C00000048u);
  EXPECT_EQ(block->data_page_address, 0x6400000060u);
  EXPECT_EQ(block->data_page_offset, 0x68u);
  EXPECT_EQ(block->data_page_size, 0x6Cu);
  EXPECT_EQ(block->debugger_data_offset, 0x70u);
  EXPECT_EQ(block->debugger_data_size, 0x74u);
  EXPECT_EQ(block->data_blocks_offset, 0x78u);
  EXPECT_EQ(block->data_blocks_count, 0x7Cu);
  EXPECT_FALSE(block->marked);
}

TEST(TriageBlock, IsMarkedWhereTheMarkStands) {
  support::SmallDumpBytes dump;
  const auto block = ReadTriageBlock(support::DumpFileSource(dump.Finish()));
  ASSERT_TRUE(block);
  EXPECT_TRUE(block->marked);
}

TEST(TriageBlock, IsNotThereWhenTheFileEndsBeforeItDoes) {
  support::SmallDumpBytes dump;
  std::vector<std::byte> bytes = dump.Finish();
  bytes.resize(0x207F);
  EXPECT_FALSE(ReadTriageBlock(support::DumpFileSource(bytes)));
}

}  // namespace
}  // namespace varnel::formats
