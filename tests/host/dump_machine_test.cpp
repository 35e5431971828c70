#include "host/dump_machine.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/open_key.h"
#include "tests/host/small_dump.h"
#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

std::u16string Wide(const std::string& ascii) {
  return {ascii.begin(), ascii.end()};
}

TEST(DumpMachine, HasALinkToEachFileWhoseTimesFallInTheOrderGiven) {
  TemporaryFolder folder;
  const std::vector<std::string> files = {folder.Put("b.dmp", SmallDump()), folder.Put("a.raw", HeaderOf(3))};
  const auto dumps = MakeDumpMachine(folder.PathOf("machine"), files);
  ASSERT_TRUE(dumps.ok()) << dumps.error().message;
  ASSERT_EQ(dumps.value().size(), 2u);
  EXPECT_EQ(dumps.value()[0].windows_path, "C:\\Windows\\Minidump\\b.dmp");
  EXPECT_EQ(dumps.value()[1].windows_path, "C:\\Windows\\Minidump\\a.raw.dmp");
  const auto platform = embedded::EmbeddedPlatform::Open(folder.PathOf("machine"));
  ASSERT_TRUE(platform.ok()) << platform.error().message;
  std::uint64_t created[2] = {};
  const std::uint64_t sizes[2] = {SmallDump().size(), 0x2000};
  for (int i = 0; i < 2; ++i) {
    platform::WIN32_FILE_ATTRIBUTE_DATA data{};
    ASSERT_TRUE(platform.value()->files().GetFileAttributesExW(Wide(dumps.value()[i].windows_path).c_str(), &data));
    created[i] = std::uint64_t{data.ftCreationTime.dwHighDateTime} << 32 | data.ftCreationTime.dwLowDateTime;
    EXPECT_EQ(data.nFileSizeLow, sizes[i]);
  }
  EXPECT_EQ(created[0], created[1] + 1);
}

TEST(DumpMachine, WritesSmallDumpsAndHasBothMarkersEmpty) {
  TemporaryFolder folder;
  ASSERT_TRUE(MakeDumpMachine(folder.PathOf("machine"), {}).ok());
  embedded::LmdbRegistry registry(folder.PathOf("machine/registry"));
  const auto key = embedded::OpenKey::Of(registry, platform::kHkeyLocalMachine,
                                         u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", platform::kKeyRead);
  EXPECT_EQ(key.Number(u"CrashDumpEnabled"), 3u);
  EXPECT_EQ(key.Text(u"MinidumpDir"), u"%SystemRoot%\\Minidump");
  const std::filesystem::path markers = std::filesystem::path(folder.PathOf("machine")) /
                                        "C/ProgramData/KelvoVarnels/GlobalCfg/{4A234956-2B7D-4221-BADF-12593BD342A8}";
  for (const char* name : {"analyzed_dumps_nosym.dat", "analyzed_dumps_sym.dat"}) {
    std::ifstream in(markers / name, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "\xFF\xFE") << name;
  }
}

TEST(DumpMachine, TwoFilesOfANameHaveTwoNames) {
  TemporaryFolder folder;
  std::filesystem::create_directory(folder.PathOf("x"));
  const std::vector<std::string> files = {folder.Put("a.dmp", SmallDump()), folder.Put("x/A.DMP", SmallDump()),
                                          folder.Put("x/a", SmallDump())};
  const auto dumps = MakeDumpMachine(folder.PathOf("machine"), files);
  ASSERT_TRUE(dumps.ok());
  EXPECT_EQ(dumps.value()[0].windows_path, "C:\\Windows\\Minidump\\a.dmp");
  EXPECT_EQ(dumps.value()[1].windows_path, "C:\\Windows\\Minidump\\A-2.dmp");
  EXPECT_EQ(dumps.value()[2].windows_path, "C:\\Windows\\Minidump\\a-3.dmp");
}

TEST(DumpMachine, ANameThatIsNoneOnAMachineIsMadeOne) {
  TemporaryFolder folder;
  const auto dumps = MakeDumpMachine(folder.PathOf("machine"), {folder.Put("a b:*\xC3\xA4.dmp", SmallDump())});
  ASSERT_TRUE(dumps.ok());
  EXPECT_EQ(dumps.value()[0].windows_path, "C:\\Windows\\Minidump\\a_b____.dmp") << dumps.value()[0].reason;
}

TEST(DumpMachine, ANameThatAnotherFileHasIsNotMadeUp) {
  TemporaryFolder folder;
  std::filesystem::create_directory(folder.PathOf("x"));
  const auto dumps = MakeDumpMachine(
      folder.PathOf("machine"),
      {folder.Put("a.dmp", SmallDump()), folder.Put("x/a.dmp", SmallDump()), folder.Put("a-2.dmp", SmallDump())});
  ASSERT_TRUE(dumps.ok());
  EXPECT_EQ(dumps.value()[0].windows_path, "C:\\Windows\\Minidump\\a.dmp");
  EXPECT_EQ(dumps.value()[1].windows_path, "C:\\Windows\\Minidump\\a-3.dmp");
  EXPECT_EQ(dumps.value()[2].windows_path, "C:\\Windows\\Minidump\\a-2.dmp");
}

TEST(DumpMachine, ADevicesNameAndAnOverlongOneAreMadeNamesOfFiles) {
  TemporaryFolder folder;
  const std::string overlong(251, 'x');
  const auto dumps = MakeDumpMachine(
      folder.PathOf("machine"), {folder.Put("nul.dmp", SmallDump()), folder.Put("COM1.dmp", SmallDump()),
                                 folder.Put("con.1.dmp", SmallDump()), folder.Put(overlong + ".dmp", SmallDump())});
  ASSERT_TRUE(dumps.ok());
  for (const PlacedDump& dump : dumps.value()) EXPECT_EQ(dump.reason, "");
  EXPECT_EQ(dumps.value()[0].windows_path, "C:\\Windows\\Minidump\\dnul.dmp");
  EXPECT_EQ(dumps.value()[1].windows_path, "C:\\Windows\\Minidump\\dCOM1.dmp");
  EXPECT_EQ(dumps.value()[2].windows_path, "C:\\Windows\\Minidump\\dcon.1.dmp");
  EXPECT_EQ(dumps.value()[3].windows_path, "C:\\Windows\\Minidump\\" + overlong.substr(0, 100) + ".dmp");
}

TEST(DumpMachine, AFileThatIsNotThereHasItsReasonAndTheOthersAreLinked) {
  TemporaryFolder folder;
  const std::string none = folder.PathOf("none.dmp");
  const auto dumps = MakeDumpMachine(folder.PathOf("machine"), {none, folder.Put("a.dmp", SmallDump())});
  ASSERT_TRUE(dumps.ok());
  EXPECT_EQ(dumps.value()[0].windows_path, "");
  EXPECT_EQ(dumps.value()[0].reason, "No such file or directory");
  EXPECT_EQ(dumps.value()[1].reason, "");
}

TEST(DumpMachine, AFolderThatHoldsSomethingIsRefused) {
  TemporaryFolder folder;
  folder.Put("something", {});
  EXPECT_FALSE(MakeDumpMachine(folder.PathOf(""), {}).ok());
}

}  // namespace
}  // namespace varnel::host
