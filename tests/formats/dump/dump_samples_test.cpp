// Small dumps that Windows wrote, and the headers of two larger ones: each fact was read from the bytes by other means.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "sample_facts.h"
#include "tests/support/dump_file.h"

namespace varnel::formats {
namespace {

std::shared_ptr<support::DumpFileSource> Sample(const std::string& file) {
  auto bytes = support::ReadWholeFile(std::string(VARNEL_SAMPLES_DIR "/dmp/") + file);
  if (bytes.empty()) return nullptr;
  return std::make_shared<support::DumpFileSource>(std::move(bytes));
}

class SmallDumpSample : public ::testing::TestWithParam<SmallDump> {
 protected:
  void SetUp() override {
    auto source = Sample(GetParam().file);
    if (!source) GTEST_SKIP() << "the samples are not here";
    opened_ = KernelDump::Open(source);
    ASSERT_TRUE(opened_.ok()) << DumpProblemText(opened_.problem);
    dump_ = opened_.dump.get();
  }

  OpenedDump opened_;
  const KernelDump* dump_ = nullptr;
};

TEST_P(SmallDumpSample, HasTheHeaderThatItsBytesTell) {
  const DumpHeader& header = dump_->header();
  EXPECT_TRUE(dump_->IsX64());
  EXPECT_EQ(header.type, DumpType::kTriage);
  EXPECT_EQ(dump_->Qualifier(), DumpQualifier::kSmall);
  EXPECT_EQ(header.major_version, 15u);
  EXPECT_EQ(header.build, GetParam().build);
  EXPECT_EQ(header.processors, GetParam().processors);
  EXPECT_EQ(header.bug_check_code, GetParam().bug_check);
  EXPECT_EQ(header.bug_check_parameters, GetParam().parameters);
  EXPECT_FALSE(header.comment);
  ASSERT_TRUE(header.system_time && header.system_up_time);
  if (GetParam().system_time != 0) {
    EXPECT_EQ(*header.system_time, GetParam().system_time);
    EXPECT_EQ(*header.system_up_time, GetParam().up_time);
  }
  ASSERT_TRUE(dump_->triage());
  EXPECT_TRUE(dump_->triage()->marked);
}

TEST_P(SmallDumpSample, HasTheRegistersAndTheThreadOfTheProcessorThatCrashed) {
  ASSERT_TRUE(dump_->header().context);
  EXPECT_EQ(dump_->header().context->Rip(), GetParam().rip);
  EXPECT_EQ(dump_->header().context->Rsp(), GetParam().rsp);
  EXPECT_EQ(dump_->CurrentThread(), GetParam().thread);
  EXPECT_EQ(dump_->CurrentProcess(), GetParam().process);
  EXPECT_EQ(dump_->Cr8(), GetParam().cr8);
  EXPECT_EQ(dump_->CrashingProcessor(), GetParam().processor);
  const auto context = dump_->ContextOf(GetParam().processor);
  ASSERT_TRUE(context);
  EXPECT_EQ(context->Rip(), GetParam().rip);
}

TEST_P(SmallDumpSample, GivesTheStackUpToTheLastByteThatTheDumpHas) {
  std::vector<std::byte> stack(16384);
  EXPECT_EQ(dump_->ReadVirtual(GetParam().rsp, stack), GetParam().above_rsp);
  EXPECT_EQ(dump_->WhyMissing(GetParam().rsp + GetParam().above_rsp - 1), MissingReason::kNone);
  EXPECT_EQ(dump_->WhyMissing(GetParam().rsp + GetParam().above_rsp), MissingReason::kNoMemory);
  EXPECT_TRUE(dump_->KernelStack());
}

TEST_P(SmallDumpSample, ListsItsModules) {
  const auto& modules = dump_->Modules();
  ASSERT_EQ(modules.size(), GetParam().modules);
  const DumpModule& kernel = modules.front();
  EXPECT_EQ(kernel.path, GetParam().first_path);
  EXPECT_EQ(kernel.name, u"ntoskrnl.exe");
  EXPECT_EQ(kernel.base, GetParam().kernel_base);
  EXPECT_EQ(kernel.size, GetParam().kernel_size);
  EXPECT_EQ(kernel.time_date_stamp, GetParam().kernel_stamp);
  EXPECT_EQ(kernel.check_sum, GetParam().kernel_sum);
  EXPECT_EQ(modules[1].name, u"hal.dll");
  EXPECT_EQ(modules.back().path, GetParam().last_path);
  EXPECT_EQ(modules.back().base, GetParam().last_base);
}

TEST_P(SmallDumpSample, ListsWhatWasUnloaded) {
  const auto& unloaded = dump_->UnloadedModules();
  ASSERT_EQ(unloaded.size(), GetParam().unloaded);
  EXPECT_EQ(unloaded.front().name, GetParam().first_unloaded);
  EXPECT_EQ(unloaded.front().start, GetParam().first_unloaded_start);
  EXPECT_GT(unloaded.front().end, unloaded.front().start);
  EXPECT_FALSE(unloaded.front().time);
}

TEST_P(SmallDumpSample, HasSecondaryDataAndIsComplete) {
  EXPECT_EQ(dump_->SecondaryData().size(), GetParam().blobs);
  const DumpCompleteness whole = dump_->Completeness();
  // Where the kernel wrote the file itself, something that is no block stands behind the last one.
  const bool exact = (dump_->header().attributes.value_or(0) & kDumpAttributeKernelGenerated) != 0;
  EXPECT_EQ(whole.expected_size, exact ? whole.file_size : GetParam().blobs_end);
  EXPECT_TRUE(whole.complete());
}

TEST(CutSample, IsIncompleteAtTheEndOfItsOwnPart) {
  std::vector<std::byte> bytes = support::ReadWholeFile(VARNEL_SAMPLES_DIR "/dmp/040124-5515-01.dmp");
  if (bytes.empty()) GTEST_SKIP() << "the samples are not here";
  bytes.resize(0x1EE00);
  const OpenedDump opened = KernelDump::Open(std::make_shared<support::DumpFileSource>(std::move(bytes)));
  ASSERT_TRUE(opened.ok());
  EXPECT_FALSE(opened.dump->Completeness().complete());
  EXPECT_EQ(opened.dump->Completeness().expected_size, 2611780u);
}

TEST_P(SmallDumpSample, HasTheDebuggersBlockInPlain) {
  const DebuggerData* data = dump_->debugger_data();
  ASSERT_TRUE(data);
  EXPECT_EQ(data->size(), GetParam().debugger_data_size);
  EXPECT_FALSE(data->was_encoded());
  EXPECT_EQ(data->PagingLevels(), 4);
  EXPECT_EQ(data->At<std::uint64_t>(debugger_data_field::kKernBase), GetParam().kernel_base);
  EXPECT_EQ(data->At<std::uint64_t>(debugger_data_field::kPsLoadedModuleList), dump_->header().loaded_module_list);
  EXPECT_EQ(data->At<std::uint64_t>(debugger_data_field::kPsActiveProcessHead), dump_->header().active_process_head);
}

TEST_P(SmallDumpSample, HasTheStructuresOfThreadAndProcessAtTheirAddresses) {
  // KTHREAD.ApcState.Process, and KPROCESS.DirectoryTableBase of every build so far.
  std::uint64_t process = 0;
  ASSERT_EQ(dump_->ReadVirtual(GetParam().thread + 0xB8, std::as_writable_bytes(std::span(&process, 1))), 8u);
  EXPECT_EQ(process, GetParam().process);
  std::uint64_t table = 0;
  ASSERT_EQ(dump_->ReadVirtual(process + 0x28, std::as_writable_bytes(std::span(&table, 1))), 8u);
  EXPECT_EQ(table & 0xFFFFFFFFFF000, dump_->header().directory_table_base & 0xFFFFFFFFFF000);
}

INSTANTIATE_TEST_SUITE_P(Samples, SmallDumpSample, ::testing::ValuesIn(kSmallDumps), [](const auto& info) {
  std::string name = std::filesystem::path(info.param.file).stem().string();
  for (char& c : name) {
    if (c == '-') c = '_';
  }
  return name;
});

TEST(HeaderSample, OfACompleteDumpTellsItsRunsAndHasNoMemory) {
  auto source = Sample("coredump_win10_64bit_stripped.raw");
  if (!source) GTEST_SKIP() << "the samples are not here";
  const OpenedDump opened = KernelDump::Open(source);
  ASSERT_TRUE(opened.ok());
  const DumpHeader& header = opened.dump->header();
  EXPECT_EQ(header.type, DumpType::kFull);
  EXPECT_EQ(opened.dump->Qualifier(), DumpQualifier::kFull);
  EXPECT_EQ(header.build, 9200u);
  EXPECT_EQ(header.processors, 8u);
  EXPECT_EQ(header.comment, "LiveKD live system view");
  EXPECT_FALSE(header.version_user);
  EXPECT_FALSE(header.system_up_time);
  EXPECT_FALSE(header.attributes);
  EXPECT_FALSE(header.product_type);
  EXPECT_EQ(header.required_dump_space, 17176129536u);
  ASSERT_TRUE(header.physical_memory);
  EXPECT_EQ(header.physical_memory->number_of_pages, 0x3FFC6Fu);
  ASSERT_EQ(header.physical_memory->runs.size(), 4u);
  EXPECT_EQ(header.physical_memory->runs[3].base_page, 0x100000u);
  EXPECT_EQ(header.physical_memory->runs[3].page_count, 0x380000u);
  ASSERT_TRUE(header.context);
  EXPECT_EQ(header.context->Rip(), 0xFFFFF805197B2F8Fu);
  std::byte one{};
  EXPECT_EQ(opened.dump->ReadVirtual(header.context->Rip(), std::span(&one, 1)), 0u);
  EXPECT_TRUE(opened.dump->Modules().empty());
  const DumpCompleteness whole = opened.dump->Completeness();
  EXPECT_FALSE(whole.complete());
  EXPECT_TRUE(whole.consistent);
  EXPECT_EQ(whole.expected_size, 0x2000 + 0x3FFC6Fu * std::uint64_t{4096});
  EXPECT_EQ(opened.dump->WhyMissing(header.context->Rip()), MissingReason::kNoTablePage);
}

TEST(HeaderSample, OfA32BitDumpTellsItsMachine) {
  auto source = Sample("coredump_win7_32bit_stripped.raw");
  if (!source) GTEST_SKIP() << "the samples are not here";
  const OpenedDump opened = KernelDump::Open(source);
  ASSERT_TRUE(opened.ok());
  EXPECT_FALSE(opened.dump->IsX64());
  EXPECT_FALSE(opened.dump->header().is_64_bit);
  EXPECT_EQ(opened.dump->header().machine, kMachineI386);
  EXPECT_EQ(opened.dump->header().type, DumpType::kFull);
  EXPECT_EQ(opened.dump->header().build, 7601u);
  EXPECT_EQ(opened.dump->header().processors, 2u);
  EXPECT_EQ(opened.dump->header().directory_table_base, 0xBF62F2E0u);
  EXPECT_EQ(opened.dump->header().comment, "LiveKD live system view");
  EXPECT_EQ(opened.dump->header().system_time, 0x01D6509199BF63E0u);
  EXPECT_EQ(opened.dump->header().required_dump_space, 0xBFF7D000u);
  ASSERT_TRUE(opened.dump->header().physical_memory);
  EXPECT_EQ(opened.dump->header().physical_memory->number_of_pages, 0xBFF7Du);
  EXPECT_EQ(opened.dump->Completeness().expected_size, 0x1000 + std::uint64_t{0xBFF7D} * 0x1000);
  EXPECT_FALSE(opened.dump->Completeness().complete());
}

}  // namespace
}  // namespace varnel::formats
