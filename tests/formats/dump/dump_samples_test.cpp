// Small dumps that Windows wrote, and the headers of two larger ones: each fact was read from the bytes by other means.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "tests/support/dump_file.h"

namespace varnel::formats {
namespace {

struct SmallDump {
  const char* file;
  std::uint32_t build;
  std::uint32_t processors;
  std::uint32_t bug_check;
  std::array<std::uint64_t, 4> parameters;
  std::uint64_t system_time;
  std::uint64_t up_time;
  std::uint64_t rip;
  std::uint64_t rsp;
  std::uint64_t thread;
  std::uint64_t process;
  std::uint64_t cr8;
  std::uint32_t processor;
  std::size_t above_rsp;  // bytes that can be read from the stack pointer on
  std::size_t modules;
  std::u16string first_path;
  std::uint64_t kernel_base;
  std::uint32_t kernel_size;
  std::uint32_t kernel_stamp;
  std::uint32_t kernel_sum;
  std::u16string last_path;
  std::uint64_t last_base;
  std::size_t unloaded;
  std::u16string first_unloaded;
  std::uint64_t first_unloaded_start;
  std::size_t blobs;
  std::uint64_t blobs_end;
  std::uint32_t debugger_data_size;
};

void PrintTo(const SmallDump& dump, std::ostream* out) {
  *out << dump.file;
}

const SmallDump kSmallDumps[] = {
    {"triage_x64.dmp",
     19041,
     16,
     0x1000007E,
     {0xFFFFFFFFC0000005, 0xFFFFF8048B58334C, 0xFFFF850429891EE8, 0xFFFF850429891720},
     0x01D707F23DBB3399,
     0x23BC1E9,
     0xFFFFF8048B58334C,
     0xFFFF850429892120,
     0xFFFFC08BDE9E1640,
     0xFFFFC08BDCE94180,
     0,
     0,
     3808,
     151,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8047BA00000,
     0x1046000,
     0x0D8333E6,
     0xA5938C,
     u"\\SystemRoot\\System32\\drivers\\rdpbus.sys",
     0xFFFFF8048B680000,
     4,
     u"dam.sys",
     0xFFFFF80487DE0000,
     20,
     0x160AB4,
     0x380},
    {"082325-12593-01.dmp",
     26100,
     16,
     0x65,
     {0, 0, 0, 0},
     0,
     0,
     0xFFFFF8049ECFEBF0,
     0xFFFFA401D0EC7918,
     0xFFFFA506E4111040,
     0xFFFFA506D7537040,
     0,
     5,
     1768,
     218,
     u"ntoskrnl.exe",
     0xFFFFF8049E800000,
     0x1450000,
     0x93DAD125,
     0xC64ECC,
     u"usbscan.sys",
     0xFFFFF80472780000,
     17,
     u"vwifimp.sys",
     0xFFFFF80472410000,
     27,
     0xD0F23,
     0x3A0},
    {"083125-14875-01.dmp",
     19041,
     1,
     0x4A,
     {0x7FFE7350D0C4, 2, 0, 0xFFFFA704EEB6BEC0},
     0,
     0,
     0xFFFFF8075C00B6F0,
     0xFFFFA704EEB6BC88,
     0xFFFFD20BFC13C080,
     0xFFFFD20BFC53E080,
     2,
     0,
     888,
     156,
     u"ntoskrnl.exe",
     0xFFFFF8075BC0E000,
     0x1046000,
     0x5DEE2B07,
     0xA6C725,
     u"myfault.sys",
     0xFFFFF80761420000,
     9,
     u"dump_storpor",
     0xFFFFF80760960000,
     29,
     0x38995,
     0x380},
    {"100623-4953-01.dmp",
     19041,
     12,
     0x1A,
     {0x402, 0xFFFFA30EBF6F0090, 0x851AF68C0, 0xFFFFA30EBF6F7248},
     0x01D9F858C89DDBB8,
     0x2CABD1D,
     0xFFFFF8047B9FCD70,
     0xFFFF8A8C5DD3F6A8,
     0xFFFFBD0ECAD9E040,
     0xFFFFBD0EC54DF080,
     2,
     7,
     2392,
     149,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8047B600000,
     0x1046000,
     0xCFEE68AF,
     0xA69A0D,
     u"\\SystemRoot\\System32\\Drivers\\dump_dumpfve.sys",
     0xFFFFF804A44C0000,
     6,
     u"dump_storpor",
     0xFFFFF80494170000,
     32,
     0xD60BC,
     0x380},
    {"102622-12546-01.dmp",
     19041,
     16,
     0x1E,
     {0xFFFFFFFFC0000005, 0xFFFFF8031B40F001, 0, 0x289},
     0x01D8E9878118BAAC,
     0x3B6AC5819,
     0xFFFFF8031B5F8F60,
     0xFFFF9100BE79AD88,
     0xFFFFD3042A4DD080,
     0xFFFFD3042F56B080,
     0,
     3,
     8824,
     207,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8031B200000,
     0x1046000,
     0xBF639DC3,
     0xA65EFF,
     u"\\SystemRoot\\System32\\DriverStore\\FileRepository\\asussci2.inf_amd64_60af290ae625a8bf\\ASUSSystemAnalysis\\"
     u"AsusSAIO.sys",
     0xFFFFF803C7A60000,
     10,
     u"MSKSSRV.sys",
     0xFFFFF803C7A40000,
     38,
     0x1915B4,
     0x380},
    {"102622-15671-01.dmp",
     19041,
     16,
     0x50,
     {0xFFFFFFFFFFFFFFB4, 0, 0xFFFFF804206CB873, 2},
     0x01D8E982364C0D55,
     0x4227A19A,
     0xFFFFF8041EBF8F60,
     0xFFFFFD827DF39D88,
     0xFFFFA20F28F85080,
     0xFFFFA20F28EF3080,
     0,
     2,
     4728,
     206,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8041E800000,
     0x1046000,
     0xBF639DC3,
     0xA65EFF,
     u"\\SystemRoot\\system32\\drivers\\wd\\WdNisDrv.sys",
     0xFFFFF804D2460000,
     8,
     u"MSKSSRV.sys",
     0xFFFFF80451AA0000,
     37,
     0x1995B4,
     0x380},
    {"102622-30093-01.dmp",
     19041,
     16,
     0x1E,
     {0xFFFFFFFFC0000005, 0xFFFFF8066B60C222, 0, 0xFFFFFFFFFFFFFFFF},
     0x01D8E981E96B0FF2,
     0x1DB0DBC0E,
     0xFFFFF8066B5F8F60,
     0xFFFF8A806BFBF108,
     0xFFFF8A806BF75440,
     0xFFFF9E0DB6AF60C0,
     13,
     2,
     8192,
     207,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8066B200000,
     0x1046000,
     0xBF639DC3,
     0xA65EFF,
     u"\\SystemRoot\\System32\\DriverStore\\FileRepository\\asussci2.inf_amd64_60af290ae625a8bf\\ASUSSystemAnalysis\\"
     u"AsusSAIO.sys",
     0xFFFFF806D3F60000,
     9,
     u"MSKSSRV.sys",
     0xFFFFF806D3F40000,
     37,
     0x1F438C,
     0x380},
    {"040124-5515-01.dmp",
     19041,
     24,
     0x1C7,
     {0, 0xFFFF85824E1B8000, 0xA9E69D15, 0x2268DA},
     0,
     0,
     0xFFFFF80079DFD890,
     0xFFFFEE80B2C37878,
     0xFFFF85823181E240,
     0xFFFF858231830040,
     0,
     18,
     1928,
     205,
     u"ntoskrnl.exe",
     0xFFFFF80079A00000,
     0x1046000,
     0x3E4EF1D4,
     0xA64E43,
     u"hiber_dumpfve.sys",
     0xFFFFF8038FF90000,
     24,
     u"monitor.sys",
     0xFFFFF8038FF10000,
     37,
     0x2718A7,
     0x380},
    {"040124-5218-01.dmp",
     19041,
     24,
     0x1A,
     {0x41792, 0xFFFFD680A6737650, 0x400000000000, 0},
     0x01DA84239687C327,
     0x613E930F7E,
     0xFFFFF8003C5FD890,
     0xFFFFF1054041F038,
     0xFFFFA88659C3D080,
     0xFFFFA8865775E080,
     2,
     8,
     4040,
     201,
     u"\\SystemRoot\\system32\\ntoskrnl.exe",
     0xFFFFF8003C200000,
     0x1046000,
     0x3E4EF1D4,
     0xA64E43,
     u"\\??\\C:\\ProgramData\\Microsoft\\Windows Defender\\Definition Updates\\{AC3BA5AC-ACDB-4341-975E-6703CE089597}\\"
     u"MpKslDrv.sys",
     0xFFFFF80070530000,
     12,
     u"hiber_storpo",
     0xFFFFF800704D0000,
     37,
     0x33882C,
     0x380},
};

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
  EXPECT_EQ(whole.expected_size, GetParam().blobs_end);
  EXPECT_TRUE(whole.complete());
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
}

}  // namespace
}  // namespace varnel::formats
