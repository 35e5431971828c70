// What the dump analyzer keeps in a registry that is no scripted one, byte for byte: the same text for every platform.
// It clears the module's key of the machine that it runs on, and leaves the machine's dump settings as they were.
#include <gtest/gtest.h>

#include <optional>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "platform/platform.h"
#include "tests/layout/registry_dump.h"

namespace varnel {
namespace {

using testing::DumpOf;
using testing::ExpectGolden;
using testing::HexOf;
using testing::kModuleKey;

const std::u16string kProduct = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

class AnalyzerLayout : public ::testing::Test {
 protected:
  void SetUp() override { testing::DeleteKeys({kModuleKey}); }
  void TearDown() override { testing::DeleteKeys({kModuleKey}); }

  CrashDumpConfigManager manager;
};

/// Two files in the folder for temporary ones.
class FirstRunLayout : public AnalyzerLayout {
 protected:
  void SetUp() override {
    AnalyzerLayout::SetUp();
    for (std::size_t i = 0; i < 2; ++i) {
      const platform::HANDLE file =
          platform::FilesPort().CreateFileW(kDumps[i].c_str(), 0x40000000, 0, platform::kCreateAlways, 128);
      ASSERT_NE(file, platform::kInvalidHandleValue);
      std::uint32_t written = 0;
      EXPECT_TRUE(platform::FilesPort().WriteFile(file, "dump", static_cast<std::uint32_t>(3 + i), &written, nullptr));
      platform::SystemPort().CloseHandle(file);
      ASSERT_EQ(CalcDumpIdentity(kDumps[i], &identities[i]), 0);
      ASSERT_EQ(identities[i].size(), 32u);
    }
  }
  void TearDown() override {
    for (const std::u16string& dump : kDumps) platform::FilesPort().DeleteFileW(dump.c_str());
    AnalyzerLayout::TearDown();
  }

  /// The identities hold the files' times, so that their names stand for them.
  std::string Layout() const {
    return Replaced(Replaced(DumpOf(kModuleKey), HexOf(identities[0]), "(first)"), HexOf(identities[1]), "(second)");
  }

  const std::u16string kDumps[2] = {u"C:\\Windows\\Temp\\layout-0.dmp", u"C:\\Windows\\Temp\\layout-1.dmp"};
  std::u16string identities[2];
};

TEST_F(FirstRunLayout, OfABatchOfWhichOneIsDoneIsTheSameOnEveryPlatform) {
  ASSERT_EQ(manager.SaveFirstRunFileList(kProduct, true, {kDumps[0], kDumps[1]}), 0);
  ASSERT_EQ(manager.MarkFirstRunDumpCompleted(kProduct, true, kDumps[1]), 0);
  ASSERT_EQ(manager.SaveFirstRunFileList(kProduct, false, {kDumps[0]}), 0);
  ExpectGolden(Layout(), "first_run.txt");
  std::uint32_t to_do = 7;
  EXPECT_EQ(manager.QueryFirstRunStatus(kProduct, true, &kDumps[0], &to_do), 0);
  EXPECT_EQ(to_do, 1u);
  EXPECT_EQ(manager.QueryFirstRunStatus(kProduct, true, &kDumps[1], &to_do), 0);
  EXPECT_EQ(to_do, 0u);
}

TEST_F(FirstRunLayout, OfAFinishedBatchIsTheSameOnEveryPlatform) {
  ASSERT_EQ(manager.SaveFirstRunFileList(kProduct, true, {kDumps[0]}), 0);
  ASSERT_EQ(manager.CompleteFirstRun(kProduct, true), 0);
  ExpectGolden(Layout(), "first_run_completed.txt");
}

/// The machine's dump settings, put back as they were.
class KeptSettings {
 public:
  KeptSettings() {
    platform::RegistryPort().RegCreateKeyExW(platform::kHkeyLocalMachine, kCrashControl,
                                             platform::kRegOptionNonVolatile, platform::kKeyRead | platform::kKeyWrite,
                                             &key_, nullptr);
    for (Value& value : values_) {
      std::uint32_t size = sizeof value.data;
      value.known = platform::RegistryPort().RegQueryValueExW(key_, value.name, &value.type, value.data, &size) == 0;
      value.size = size;
    }
  }
  ~KeptSettings() {
    for (const Value& value : values_) {
      if (value.known) {
        platform::RegistryPort().RegSetValueExW(key_, value.name, value.type, value.data, value.size);
      } else {
        platform::RegistryPort().RegDeleteValueW(key_, value.name);
      }
    }
    platform::RegistryPort().RegCloseKey(key_);
  }
  KeptSettings(const KeptSettings&) = delete;
  KeptSettings& operator=(const KeptSettings&) = delete;

  void Set(const char16_t* name, std::uint32_t value) const {
    EXPECT_EQ(platform::RegistryPort().RegSetValueExW(key_, name, platform::kRegDword, &value, sizeof value), 0u);
  }
  void Set(const char16_t* name, const std::u16string& text) const {
    const auto size = static_cast<std::uint32_t>((text.size() + 1) * sizeof(char16_t));
    EXPECT_EQ(platform::RegistryPort().RegSetValueExW(key_, name, platform::kRegExpandSz, text.c_str(), size), 0u);
  }

 private:
  struct Value {
    const char16_t* name;
    bool known = false;
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    unsigned char data[2048] = {};
  };

  platform::HKEY key_ = nullptr;
  Value values_[7] = {{u"CrashDumpEnabled"}, {u"MinidumpDir"}, {u"MinidumpsCount"}, {u"DumpFile"},
                      {u"AutoReboot"},       {u"SendAlert"},   {u"LogEvent"}};
};

std::string Today() {
  platform::SYSTEMTIME now = {};
  platform::SystemPort().GetLocalTime(&now);
  const std::uint32_t date = std::uint32_t{now.wYear} << 16 | std::uint32_t{now.wMonth} << 8 | now.wDay;
  std::vector<unsigned char> bytes;
  for (unsigned shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(date >> shift));
  return testing::Hex(bytes);
}

class BackupLayout : public AnalyzerLayout {
 protected:
  void SetUp() override {
    AnalyzerLayout::SetUp();
    settings.Set(u"MinidumpDir", u"%SystemRoot%\\Minidump");
    settings.Set(u"MinidumpsCount", 50);
    settings.Set(u"DumpFile", u"D:\\MEMORY.DMP");
    settings.Set(u"AutoReboot", 1);
    settings.Set(u"SendAlert", 0);
    settings.Set(u"LogEvent", 1);
  }
  /// What a backup of the settings leaves; the date stands as "(today)".
  std::string BackedUp() const {
    std::string before = Today();
    EXPECT_EQ(CrashDumpConfigManager().BackupCurrentConfig(platform::kHkeyLocalMachine, kModuleKey), 0);
    const std::string dump = DumpOf(kModuleKey);
    // The day may end meanwhile.
    if (dump.find(before) == std::string::npos) before = Today();
    return Replaced(dump, before, "(today)");
  }

  KeptSettings settings;
};

TEST_F(BackupLayout, OfSmallDumpsIsTheSameOnEveryPlatform) {
  settings.Set(u"CrashDumpEnabled", 3);
  ExpectGolden(BackedUp(), "backup_small.txt");
}

TEST_F(BackupLayout, OfOtherDumpsIsTheSameOnEveryPlatform) {
  settings.Set(u"CrashDumpEnabled", 7);
  ExpectGolden(BackedUp(), "backup_automatic.txt");
}

}  // namespace
}  // namespace varnel
