#include "formats/dump/dump_header.h"

#include <gtest/gtest.h>

#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace varnel::formats {
namespace {

DumpProblem Read(const std::vector<std::byte>& bytes, DumpHeader* out) {
  return ReadDumpHeader(support::DumpFileSource(bytes), out);
}

TEST(DumpHeader, LeavesEmptyWhatTheWriterDidNotKnow) {
  DumpHeader header;
  ASSERT_EQ(Read(support::MakeDumpHeader(6).bytes(), &header), DumpProblem::kNone);
  EXPECT_TRUE(header.is_64_bit);
  EXPECT_EQ(header.type, DumpType::kBitmapKernel);
  EXPECT_EQ(header.machine, kMachineAmd64);
  EXPECT_EQ(header.build, 22631u);
  EXPECT_EQ(header.processors, 1u);
  EXPECT_EQ(header.bug_check_code, 0xD1u);
  EXPECT_EQ(header.bug_check_parameters[3], 0x1003u);
  EXPECT_FALSE(header.pfn_database || header.version_user || header.debugger_data_block || header.physical_memory);
  EXPECT_FALSE(header.context || header.exception || header.required_dump_space || header.system_time);
  EXPECT_FALSE(header.comment || header.system_up_time || header.mini_dump_fields || header.secondary_data_state);
  EXPECT_FALSE(header.product_type || header.suite_mask || header.writer_status || header.attributes);
  EXPECT_FALSE(header.boot_id || header.kd_secondary_version);
}

TEST(DumpHeader, ReadsEachFieldAtItsPlace) {
  support::GrowingBytes bytes = support::MakeDumpHeader(1);
  bytes.Put<std::uint64_t>(0x18, 0x18);
  bytes.Put<std::uint64_t>(0x20, 0x20);
  bytes.Put<std::uint64_t>(0x28, 0x28);
  bytes.PutText(0x60, std::string_view("user\0", 5));
  bytes.Put<std::uint64_t>(0x80, 0x80);
  bytes.Put<std::uint32_t>(0x88, 2);
  bytes.Put<std::uint64_t>(0x90, 30);
  for (std::size_t i = 0; i < 4; ++i) bytes.Put<std::uint64_t>(0x98 + 8 * i, 10 + i);
  bytes.Put<std::uint32_t>(0x348 + 0x30, 0x10001F);
  bytes.Put<std::uint64_t>(0x348 + 0x98, 0x4000);
  bytes.Put<std::uint32_t>(0xF00, 0xC0000005);
  bytes.Put<std::uint32_t>(0xF04, 1);
  bytes.Put<std::uint64_t>(0xF10, 0xF10);
  bytes.Put<std::uint32_t>(0xF18, 2);
  bytes.Put<std::uint64_t>(0xF20, 8);
  bytes.Put<std::uint64_t>(0xF28, 9);
  bytes.Put<std::uint64_t>(0xFA0, 0xFA0);
  bytes.Put<std::uint64_t>(0xFA8, 0xFA8);
  bytes.PutText(0xFB0, std::string_view("comment\0", 8));
  bytes.Put<std::uint64_t>(0x1030, 0x1030);
  for (std::size_t at = 0x1038; at <= 0x1048; at += 4) bytes.Put<std::uint32_t>(at, static_cast<std::uint32_t>(at));
  bytes.Put<std::uint8_t>(0x104D, 2);  // its neighbours stay filler
  bytes.Put<std::uint32_t>(0x1050, 0x40);
  bytes.Put<std::uint32_t>(0x1054, 7);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.pfn_database, 0x18u);
  EXPECT_EQ(header.loaded_module_list, 0x20u);
  EXPECT_EQ(header.active_process_head, 0x28u);
  EXPECT_EQ(header.version_user, "user");
  EXPECT_EQ(header.debugger_data_block, 0x80u);
  ASSERT_TRUE(header.physical_memory && header.context && header.exception);
  EXPECT_EQ(header.physical_memory->number_of_pages, 30u);
  ASSERT_EQ(header.physical_memory->runs.size(), 2u);
  EXPECT_EQ(header.physical_memory->runs[1].base_page, 12u);
  EXPECT_EQ(header.physical_memory->runs[1].page_count, 13u);
  EXPECT_EQ(header.context->Rsp(), 0x4000u);
  EXPECT_EQ(header.exception->code, 0xC0000005u);
  EXPECT_EQ(header.exception->flags, 1u);
  EXPECT_EQ(header.exception->address, 0xF10u);
  EXPECT_EQ(header.exception->parameters, (std::vector<std::uint64_t>{8, 9}));
  EXPECT_EQ(header.required_dump_space, 0xFA0u);
  EXPECT_EQ(header.system_time, 0xFA8u);
  EXPECT_EQ(header.comment, "comment");
  EXPECT_EQ(header.system_up_time, 0x1030u);
  EXPECT_EQ(header.mini_dump_fields, 0x1038u);
  EXPECT_EQ(header.secondary_data_state, 0x103Cu);
  EXPECT_EQ(header.product_type, 0x1040u);
  EXPECT_EQ(header.suite_mask, 0x1044u);
  EXPECT_EQ(header.writer_status, 0x1048u);
  EXPECT_EQ(header.kd_secondary_version, 2u);
  EXPECT_EQ(header.attributes, 0x40u);
  EXPECT_EQ(header.boot_id, 7u);
}

TEST(DumpHeader, KeepsNoMoreRunsThanItHasRoomFor) {
  support::GrowingBytes bytes = support::MakeDumpHeader(1);
  bytes.Put<std::uint32_t>(0x88, 0x40000000);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.physical_memory->number_of_runs, 0x40000000u);
  EXPECT_EQ(header.physical_memory->runs.size(), 42u);
}

TEST(DumpHeader, KeepsNoMoreExceptionParametersThanItHasRoomFor) {
  support::GrowingBytes bytes = support::MakeDumpHeader(1);
  bytes.Put<std::uint32_t>(0xF00, 0x80000003);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.exception->parameters.size(), 15u);
}

TEST(DumpHeader, TakesATextWithoutANullWhole) {
  support::GrowingBytes bytes = support::MakeDumpHeader(1);
  bytes.PutText(0x60, std::string(32, 'x'));
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.version_user, std::string(32, 'x'));
}

TEST(DumpHeader, ReadsNoRegistersOfAnotherMachine) {
  support::GrowingBytes bytes = support::MakeDumpHeader(6);
  bytes.Put<std::uint32_t>(0x30, 0xAA64);
  bytes.Put<std::uint32_t>(0x348 + 0x30, 0x10001F);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.machine, 0xAA64u);
  EXPECT_FALSE(header.context);
}

TEST(DumpHeader, ReadsTheFirstFieldsOfA32BitDump) {
  support::GrowingBytes bytes(0x1000);
  bytes.PutText(0, "PAGEDUMP");
  bytes.Put<std::uint32_t>(0x0C, 2600);
  bytes.Put<std::uint32_t>(0x20, 0x14C);
  bytes.Put<std::uint32_t>(0x24, 2);
  bytes.Put<std::uint32_t>(0x28, 0x7F);
  bytes.Put<std::uint32_t>(0x38, 4);
  bytes.Put<std::uint32_t>(0xF88, 4);
  bytes.Put<std::uint32_t>(0x14, 0x82000000);
  bytes.Put<std::uint32_t>(0x64, 2);
  bytes.Put<std::uint32_t>(0x68, 7);
  for (std::uint32_t i = 0; i < 4; ++i) bytes.Put<std::uint32_t>(0x6C + 4 * i, 1 + i);
  bytes.PutText(0x820, "words");
  bytes.Put<std::uint64_t>(0xFA0, 0x7000);
  bytes.Put<std::uint64_t>(0xFC0, 0x01D6509199BF63E0);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_FALSE(header.is_64_bit);
  EXPECT_EQ(header.build, 2600u);
  EXPECT_EQ(header.machine, kMachineI386);
  EXPECT_EQ(header.processors, 2u);
  EXPECT_EQ(header.bug_check_code, 0x7Fu);
  EXPECT_EQ(header.bug_check_parameters[3], 4u);
  EXPECT_EQ(header.type, DumpType::kTriage);
  EXPECT_EQ(header.pfn_database, 0x82000000u);
  ASSERT_TRUE(header.physical_memory);
  EXPECT_EQ(header.physical_memory->number_of_pages, 7u);
  ASSERT_EQ(header.physical_memory->runs.size(), 2u);
  EXPECT_EQ(header.physical_memory->runs[1].base_page, 3u);
  EXPECT_EQ(header.physical_memory->runs[1].page_count, 4u);
  EXPECT_EQ(header.comment, "words");
  EXPECT_EQ(header.required_dump_space, 0x7000u);
  EXPECT_EQ(header.system_time, 0x01D6509199BF63E0u);
}

TEST(DumpHeader, HasNoRunsOfA32BitDumpThatNobodyWrote) {
  support::GrowingBytes bytes(0x1000);
  bytes.PutText(0, "PAGEDUMP");
  bytes.Put<std::uint32_t>(0x64, 0x45474150);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_FALSE(header.physical_memory);
}

TEST(DumpHeader, KeepsNoMoreRunsOfA32BitDumpThanItHasRoomFor) {
  support::GrowingBytes bytes(0x1000);
  bytes.PutText(0, "PAGEDUMP");
  bytes.Put<std::uint32_t>(0x64, 0xFFFFFFFF);
  DumpHeader header;
  ASSERT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNone);
  EXPECT_EQ(header.physical_memory->runs.size(), 86u);
}

TEST(DumpHeader, RefusesAFileThatEndsBeforeIt) {
  DumpHeader header;
  std::vector<std::byte> bytes = support::MakeDumpHeader(1).bytes();
  EXPECT_EQ(Read({}, &header), DumpProblem::kTooShort);
  EXPECT_EQ(Read({bytes.begin(), bytes.begin() + 7}, &header), DumpProblem::kTooShort);
  EXPECT_EQ(Read({bytes.begin(), bytes.end() - 1}, &header), DumpProblem::kTooShort);
  support::GrowingBytes small(0xFFF);
  small.PutText(0, "PAGEDUMP");
  EXPECT_EQ(Read(small.bytes(), &header), DumpProblem::kTooShort);
}

TEST(DumpHeader, RefusesAFileWithoutBothSignatures) {
  for (const std::size_t at : {0u, 4u}) {
    support::GrowingBytes bytes = support::MakeDumpHeader(1);
    bytes.Put<std::uint8_t>(at, 'x');
    DumpHeader header;
    EXPECT_EQ(Read(bytes.bytes(), &header), DumpProblem::kNotADump);
  }
}

TEST(DumpHeader, TellsThePlainStopCodeOfASmallDump) {
  EXPECT_EQ(PlainBugCheckCode(0x1000007E), 0x7Eu);
  EXPECT_EQ(PlainBugCheckCode(0xC000021A), 0xC000021Au);
}

}  // namespace
}  // namespace varnel::formats
