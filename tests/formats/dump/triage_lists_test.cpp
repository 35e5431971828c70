#include "formats/dump/triage_lists.h"

#include <gtest/gtest.h>

#include "open_dump.h"

namespace varnel::formats {
namespace {

support::SmallDumpBytes TwoDrivers() {
  support::SmallDumpBytes dump;
  dump.AddDriver(u"\\SystemRoot\\system32\\ntoskrnl.exe", 0xFFFFF80000000000, 0x1046000, 0x11, 0x22);
  dump.AddDriver(u"hal.dll", 0xFFFFF80010000000, 0x6000, 0x33, 0x44);
  return dump;
}

TEST(TriageLists, GiveModulesWithNamesFromTheStringPool) {
  const OpenedDump opened = OpenBytes(TwoDrivers().Finish());
  const auto& modules = opened.dump->Modules();
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[0].path, u"\\SystemRoot\\system32\\ntoskrnl.exe");
  EXPECT_EQ(modules[0].name, u"ntoskrnl.exe");
  EXPECT_EQ(modules[1].name, u"hal.dll");
  EXPECT_EQ(modules[1].base, 0xFFFFF80010000000u);
  EXPECT_EQ(modules[1].size, 0x6000u);
  EXPECT_EQ(modules[1].time_date_stamp, 0x33u);
  EXPECT_EQ(modules[1].check_sum, 0x44u);
}

TEST(TriageLists, AreEmptyWithoutAPlaceWhateverTheyCount) {
  support::SmallDumpBytes dump = TwoDrivers();
  std::vector<std::byte> bytes = dump.Finish();
  for (const std::size_t field : {0x2030u, 0x2018u}) std::memset(bytes.data() + field, 0, 4);
  const OpenedDump opened = OpenBytes(bytes);
  EXPECT_TRUE(opened.dump->Modules().empty());
  EXPECT_TRUE(opened.dump->UnloadedModules().empty());
}

TEST(TriageLists, EndAtTheFirstEntryThatTheFileDoesNotHoldWhole) {
  support::SmallDumpBytes dump = TwoDrivers();
  std::vector<std::byte> bytes = dump.Finish();
  const std::uint32_t many = 0xFFFFFFFF;
  std::memcpy(bytes.data() + 0x2034, &many, sizeof(many));
  std::uint32_t list = 0;
  std::memcpy(&list, bytes.data() + 0x2030, sizeof(list));
  bytes.resize(list + 0x90 + 0x8F);
  EXPECT_EQ(OpenBytes(bytes).dump->Modules().size(), 1u);
}

TEST(TriageLists, MakeUpTheNameOfAModuleWhoseTextIsMissing) {
  support::SmallDumpBytes dump;
  dump.AddDriver(u"", 0xFFFFF80010000000, 0x6000, 0x33, 0x44);
  EXPECT_EQ(OpenBytes(dump.Finish()).dump->Modules().at(0).name, u"unknown_fffff80010000000");
}

TEST(TriageLists, MakeUpNamesWhenOneLongTextIsNamedTooOften) {
  support::SmallDumpBytes dump;
  const std::u16string name(3000, u'n');
  for (int i = 0; i < 400; ++i) dump.AddDriver(i == 0 ? name : u"", 0x1000u * i, 1, 1, 1);
  std::vector<std::byte> bytes = dump.Finish();
  std::uint32_t list = 0;
  std::memcpy(&list, bytes.data() + 0x2030, sizeof(list));
  for (std::size_t i = 1; i < 400; ++i) std::memcpy(bytes.data() + list + 0x90 * i, bytes.data() + list, 4);
  const OpenedDump opened = OpenBytes(bytes);
  std::size_t units = 0;
  for (const DumpModule& module : opened.dump->Modules()) units += module.path.size();
  EXPECT_EQ(opened.dump->Modules().size(), 400u);
  EXPECT_EQ(opened.dump->Modules()[1].path, name);
  EXPECT_LE(2 * units, bytes.size());
}

TEST(TriageLists, GiveUnloadedModulesWithTwelveCharactersOfTheirNames) {
  support::SmallDumpBytes dump;
  dump.AddUnloaded(u"a_name_of_more_than_twelve.sys", 0x1000, 0x2000);
  dump.AddUnloaded(u"b.sys", 0x3000, 0x4000);
  const OpenedDump opened = OpenBytes(dump.Finish());
  const auto& unloaded = opened.dump->UnloadedModules();
  ASSERT_EQ(unloaded.size(), 2u);
  EXPECT_EQ(unloaded[0].name, u"a_name_of_mo");
  EXPECT_EQ(unloaded[1].name, u"b.sys");
  EXPECT_EQ(unloaded[1].start, 0x3000u);
  EXPECT_EQ(unloaded[1].end, 0x4000u);
  EXPECT_FALSE(unloaded[1].time);
}

TEST(TriageLists, GiveNoMoreUnloadedModulesThanAKernelRemembers) {
  support::SmallDumpBytes dump;
  for (std::uint64_t i = 0; i < 60; ++i) dump.AddUnloaded(u"a.sys", i, i + 1);
  EXPECT_EQ(OpenBytes(dump.Finish()).dump->UnloadedModules().size(), 50u);
}

TEST(TriageLists, AreEmptyWhereTheDumpHasNone) {
  support::SmallDumpBytes dump;
  const OpenedDump opened = OpenBytes(dump.Finish());
  EXPECT_TRUE(opened.dump->Modules().empty());
  EXPECT_TRUE(opened.dump->UnloadedModules().empty());
}

}  // namespace
}  // namespace varnel::formats
