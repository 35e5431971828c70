#include "host/machine_dump.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "formats/dump/kernel_dump.h"
#include "host/machine_crash.h"
#include "platform/embedded/core/attachment.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/machine_layout.h"
#include "platform/embedded/tools/open_key.h"
#include "tests/host/trace_command.h"
#include "tests/support/dump_file.h"

namespace varnel::host {
namespace {

namespace fs = std::filesystem;
using embedded::CrashDumpForm;
using testing::HasSubstr;
using testing::MatchesRegex;

constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
const embedded::CrashFacts kStop = {0xD1, {8, 2, 1, 0xFFFFF80200031234}, 0};

class MachineDumpTest : public testing::Test {
 protected:
  void SetUp() override {
    const auto made = embedded::NewMachine(Folder());
    ASSERT_TRUE(made.ok());
    machine_ = made.value();
  }
  std::string Folder() const { return folder_.PathOf("m"); }

  void Set(const char16_t* name, std::u16string_view text) {
    embedded::LmdbRegistry registry(machine_->RegistryPath());
    platform::HKEY key = nullptr;
    ASSERT_EQ(registry.RegOpenKeyExW(platform::kHkeyLocalMachine, kCrashControl, 0, platform::kKeyWrite, &key), 0u);
    const std::u16string whole(text);
    const auto size = static_cast<std::uint32_t>(2 * whole.size() + 2);
    EXPECT_EQ(registry.RegSetValueExW(key, name, platform::kRegExpandSz, whole.c_str(), size), 0u);
    registry.RegCloseKey(key);
  }
  void Set(const char16_t* name, std::uint32_t number) {
    embedded::LmdbRegistry registry(machine_->RegistryPath());
    const auto key = embedded::OpenKey::Of(registry, platform::kHkeyLocalMachine, kCrashControl, platform::kKeyWrite);
    EXPECT_EQ(key.SetNumber(name, number), 0u);
  }
  std::optional<std::uint32_t> DumpType() {
    embedded::LmdbRegistry registry(machine_->RegistryPath());
    return embedded::OpenKey::Of(registry, platform::kHkeyLocalMachine, kCrashControl, platform::kKeyRead)
        .Number(u"CrashDumpEnabled");
  }

  LeftDump Leave(CrashDumpForm form) {
    const auto left = LeaveDump(Folder(), kStop, form);
    EXPECT_TRUE(left.ok()) << left.error().message;
    return left.ok() ? left.value() : LeftDump{};
  }
  // Opens what stands at a path below drive C.
  std::unique_ptr<formats::KernelDump> Open(const std::string& path) {
    auto bytes = support::ReadWholeFile(machine_->DrivePath('C') + "/" + path);
    auto opened = formats::KernelDump::Open(std::make_shared<support::DumpFileSource>(std::move(bytes)));
    EXPECT_TRUE(opened.ok()) << formats::DumpProblemText(opened.problem);
    return std::move(opened.dump);
  }

  TemporaryFolder folder_;
  std::shared_ptr<embedded::Machine> machine_;
};

TEST_F(MachineDumpTest, FormsAreKnownByTheirNames) {
  EXPECT_EQ(DumpFormByName("small"), CrashDumpForm::kSmall);
  EXPECT_EQ(DumpFormByName("kernel"), CrashDumpForm::kKernel);
  EXPECT_EQ(DumpFormByName("complete"), CrashDumpForm::kComplete);
  EXPECT_FALSE(DumpFormByName("automatic").has_value());
}

TEST_F(MachineDumpTest, TheFormIsSetWhereTheModuleLooks) {
  for (const auto& [form, type] :
       {std::pair{CrashDumpForm::kSmall, 3u}, {CrashDumpForm::kKernel, 2u}, {CrashDumpForm::kComplete, 1u}}) {
    ASSERT_TRUE(ChooseDumpForm(Folder(), form).ok());
    EXPECT_EQ(DumpType(), type);
  }
}

TEST_F(MachineDumpTest, ASmallDumpGoesIntoTheFolderOfSmallDumpsUnderANameOfItsOwn) {
  const LeftDump left = Leave(CrashDumpForm::kSmall);
  EXPECT_THAT(left.windows_path, MatchesRegex(R"(C:\\Windows\\Minidump\\[0-9]+-[0-9]+-01\.dmp)"));
  const auto dump = Open("Windows/Minidump/" + left.windows_path.substr(20));
  EXPECT_EQ(dump->Qualifier(), formats::DumpQualifier::kSmall);
  EXPECT_EQ(dump->header().bug_check_code, 0xD1u);
  EXPECT_EQ(dump->header().bug_check_parameters, kStop.parameters);
  EXPECT_GT(dump->header().system_time, machine_->ReadBoot().value().file_time);
}

TEST_F(MachineDumpTest, ManySmallDumpsStandBesideEachOther) {
  for (int i = 0; i < 4; ++i) Leave(CrashDumpForm::kSmall);
  int count = 0;
  for (const auto& entry : fs::directory_iterator(machine_->DrivePath('C') + "/Windows/Minidump")) {
    EXPECT_EQ(entry.path().extension(), ".dmp");
    ++count;
  }
  EXPECT_EQ(count, 4);
}

TEST_F(MachineDumpTest, OtherFormsAreTheFileThatDumpFileNames) {
  Set(u"DumpFile", u"%SystemRoot%\\Temp\\deep\\er\\whole.dmp");
  EXPECT_EQ(Leave(CrashDumpForm::kComplete).windows_path, R"(C:\Windows\Temp\deep\er\whole.dmp)");
  EXPECT_EQ(Open("Windows/Temp/deep/er/whole.dmp")->Qualifier(), formats::DumpQualifier::kFull);
}

TEST_F(MachineDumpTest, ANewDumpReplacesTheOldOne) {
  Leave(CrashDumpForm::kComplete);
  Leave(CrashDumpForm::kKernel);
  EXPECT_EQ(Open("Windows/MEMORY.DMP")->Qualifier(), formats::DumpQualifier::kKernel);
}

TEST_F(MachineDumpTest, TheOldOneStaysWhereOverwriteIsZero) {
  Leave(CrashDumpForm::kComplete);
  Set(u"Overwrite", 0);
  EXPECT_TRUE(Leave(CrashDumpForm::kKernel).old_one_kept);
  EXPECT_EQ(Open("Windows/MEMORY.DMP")->Qualifier(), formats::DumpQualifier::kFull);
}

TEST_F(MachineDumpTest, ThePlaceMustBeOneForAFile) {
  Set(u"DumpFile", u"nowhere");
  const auto left = LeaveDump(Folder(), kStop, CrashDumpForm::kKernel);
  ASSERT_FALSE(left.ok());
  EXPECT_THAT(left.error().message, HasSubstr("nowhere"));
  Set(u"DumpFile", u"%SystemRoot%\\System32");
  EXPECT_FALSE(LeaveDump(Folder(), kStop, CrashDumpForm::kKernel).ok()) << "a folder stands there";
}

TEST_F(MachineDumpTest, ACrashWithADumpEndsTheBootAndLeavesIt) {
  const auto left = CrashTheMachineWithDump(Folder(), kStop, CrashDumpForm::kSmall);
  ASSERT_TRUE(left.ok());
  const auto mark = embedded::ReadCrashMark(*machine_);
  ASSERT_TRUE(mark.ok() && mark.value().has_value());
  EXPECT_EQ(mark.value()->facts, kStop);
}

TEST_F(MachineDumpTest, NoDumpIsLeftWhileAModuleRuns) {
  const auto attached = embedded::Attachment::AttachShared(*machine_);
  ASSERT_TRUE(attached.ok());
  EXPECT_FALSE(CrashTheMachineWithDump(Folder(), kStop, CrashDumpForm::kKernel).ok());
  EXPECT_FALSE(fs::exists(machine_->DrivePath('C') + "/Windows/MEMORY.DMP"));
}

}  // namespace
}  // namespace varnel::host
