#include "platform/embedded/crashdump/crash_dump.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/platform_embedded/crashdump/read_dump.h"

namespace varnel::embedded {
namespace {

class CrashDumpTest : public EachForm {};

TEST_P(CrashDumpTest, TheHeaderTellsTheMachineAndTheStop) {
  const DumpedMachine made(SomeCrash(), Form());
  const formats::DumpHeader& header = made.dump->header();
  EXPECT_TRUE(made.dump->IsX64());
  EXPECT_EQ(header.build, 19041u);
  EXPECT_EQ(header.major_version, 15u);
  EXPECT_EQ(header.processors, 2u);
  EXPECT_EQ(header.directory_table_base, made.machine.map.root());
  EXPECT_EQ(header.bug_check_code, 0xD1u);
  EXPECT_EQ(header.bug_check_parameters, SomeCrash().parameters);
  EXPECT_EQ(header.debugger_data_block, made.machine.kernel.Export("KdDebuggerDataBlock"));
  EXPECT_EQ(header.loaded_module_list, made.machine.kernel.Export("PsLoadedModuleList"));
  EXPECT_EQ(header.active_process_head, made.machine.kernel.Export("PsActiveProcessHead"));
  EXPECT_EQ(header.system_time, SomeCrash().system_time);
  EXPECT_EQ(header.system_up_time, SomeCrash().up_time);
  EXPECT_EQ(header.required_dump_space, made.bytes.size());
}

TEST_P(CrashDumpTest, WhatTheWriterDoesNotKnowIsAbsent) {
  const DumpedMachine made(SomeCrash(), Form());
  EXPECT_FALSE(made.dump->header().comment.has_value());
  EXPECT_FALSE(made.dump->header().version_user.has_value());
  EXPECT_FALSE(made.dump->header().attributes.has_value());
  EXPECT_FALSE(made.dump->header().boot_id.has_value());
}

TEST_P(CrashDumpTest, AttributesAreThereWhenTheyAreAskedFor) {
  CrashedMachineOptions crash = SomeCrash();
  crash.attributes = 0x40;
  EXPECT_EQ(DumpedMachine(crash, Form()).dump->header().attributes, 0x40u);
}

TEST_P(CrashDumpTest, TheHeaderTellsTheRunsOfPages) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto& memory = made.dump->header().physical_memory;
  ASSERT_TRUE(memory.has_value());
  EXPECT_EQ(memory->number_of_pages, made.machine.memory.page_count());
  ASSERT_EQ(memory->runs.size(), 2u);
  EXPECT_EQ(memory->runs[1].base_page, made.machine.memory.runs()[1].first);
  EXPECT_EQ(memory->runs[1].page_count, made.machine.memory.runs()[1].count);
}

TEST_P(CrashDumpTest, NamedBlocksStandBehind) {
  const DumpedMachine made(SomeCrash(), Form());
  const auto& blocks = made.dump->SecondaryData();
  ASSERT_EQ(blocks.size(), made.machine.blobs.size());
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    const SecondaryBlob& planted = made.machine.blobs[i];
    EXPECT_EQ(std::memcmp(&blocks[i].tag, planted.tag.data(), planted.tag.size()), 0) << i;
    std::vector<std::byte> data(blocks[i].size);
    EXPECT_EQ(made.dump->ReadSecondaryData(blocks[i], data), data.size());
    EXPECT_EQ(data, planted.data) << i;
  }
}

TEST_P(CrashDumpTest, AllOfItIsThereUntilALastByteIsCut) {
  const DumpedMachine made(SomeCrash(), Form());
  EXPECT_TRUE(made.dump->Completeness().complete());
  EXPECT_EQ(made.dump->Completeness().expected_size, made.bytes.size());
  std::vector<std::byte> cut = made.bytes;
  cut.pop_back();
  EXPECT_FALSE(ReadBack(cut)->Completeness().complete());
}

TEST_P(CrashDumpTest, WithoutNamedBlocksItEndsBefore) {
  const DumpedMachine made(SomeCrash(), {GetParam(), true, false});
  EXPECT_TRUE(made.dump->SecondaryData().empty());
  EXPECT_TRUE(made.dump->Completeness().complete());
}

TEST_P(CrashDumpTest, TheSameCrashGivesTheSameBytes) {
  EXPECT_EQ(DumpedMachine(SomeCrash(), Form()).bytes, DumpedMachine(SomeCrash(), Form()).bytes);
}

INSTANTIATE_TEST_SUITE_P(Forms, CrashDumpTest, kFormsWithMemory, FormName);

TEST(CrashDump, AHeaderAloneHasAllThatAHeaderHas) {
  const DumpedMachine made(SomeCrash(), {CrashDumpForm::kHeaderOnly, true, true});
  EXPECT_EQ(made.bytes.size(), 0x2000u);
  EXPECT_EQ(made.dump->header().type, formats::DumpType::kHeaderOnly);
  EXPECT_EQ(made.dump->header().bug_check_code, 0xD1u);
}

class FullSink final : public DumpSink {
 public:
  formats::Status SetSize(std::uint64_t /*size*/) override { return formats::Error{"full"}; }
  formats::Status Write(std::uint64_t /*offset*/, std::span<const std::byte> /*bytes*/) override {
    ADD_FAILURE() << "nothing is written where there is no room";
    return formats::Error{"full"};
  }
};

TEST(CrashDump, TellsThatThereIsNoRoom) {
  const CrashedMachine machine(SomeCrash());
  for (const CrashDumpForm form : {CrashDumpForm::kSmall, CrashDumpForm::kKernel, CrashDumpForm::kComplete,
                                   CrashDumpForm::kCompleteRuns, CrashDumpForm::kHeaderOnly}) {
    FullSink sink;
    const formats::Status written = WriteCrashDump(machine, {form, true, true}, &sink);
    ASSERT_FALSE(written.ok());
    EXPECT_EQ(written.error().message, "full");
  }
}

}  // namespace
}  // namespace varnel::embedded
