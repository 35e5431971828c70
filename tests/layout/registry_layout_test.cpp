// What the module writes into a registry that is no scripted one, byte for byte: the same text for every platform. It
// clears the module's keys of the machine that it runs on.
#include <gtest/gtest.h>

#include <cstring>

#include "crash/event_time_mark.h"
#include "interfaces/wardlet_tool.h"
#include "pipeline/progress_store.h"
#include "platform/platform.h"
#include "session/autologger.h"
#include "tests/layout/registry_dump.h"

namespace varnel {
namespace {

constexpr GUID kProvider = {0x4A234950, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
constexpr char16_t kAutoLogger[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";

using testing::DumpOf;
using testing::ExpectGolden;

class RegistryLayout : public ::testing::Test {
 protected:
  void SetUp() override { testing::DeleteKeys({kAutoLogger, testing::kModuleKey}); }
  void TearDown() override { testing::DeleteKeys({kAutoLogger, testing::kModuleKey}); }
};

TEST_F(RegistryLayout, TheRegistrationOfTheBootTimeSessionIsTheSameOnEveryPlatform) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  ExpectGolden(DumpOf(kAutoLogger), "autologger.txt");
  ASSERT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_EQ(DumpOf(kAutoLogger), "no such key\n");
}

TEST_F(RegistryLayout, ThePositionOfAConsumerIsTheSameOnEveryPlatform) {
  ProviderModuleCounter record;
  std::memset(static_cast<void*>(&record), 0, sizeof record);
  record.dwKeyWord = 0x8000000000000018;
  record.dwTimeStamp = 0x01DD79BD7968B9E1;
  record.dwCounter = 0x01020304;
  platform::HKEY key = nullptr;
  ASSERT_EQ(SaveProviderModuleCounter(&kProvider, &record, &key), 0u);
  record.dwKeyWord = 0x20;
  ASSERT_EQ(SaveProviderModuleCounter(&kProvider, &record, &key), 0u);
  platform::RegistryPort().RegCloseKey(key);
  ExpectGolden(DumpOf(testing::kModuleKey), "positions.txt");

  ProviderModuleCounter* records = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(GetTargetProviderModulesCounter(&kProvider, &records, &count), 0u);
  EXPECT_EQ(count, 2u);
  platform::SystemPort().HeapFree(records);
}

TEST_F(RegistryLayout, TheTimeUpToWhichCrashesAreToldIsTheSameOnEveryPlatform) {
  WriteLastEventTimeStamp(0x01DD79BD7968B9E1);
  ExpectGolden(DumpOf(testing::kModuleKey), "event_time_stamp.txt");
  std::uint64_t mark = 0;
  EXPECT_EQ(ReadLastEventTimeStamp(&mark), 0u);
  EXPECT_EQ(mark, 0x01DD79BD7968B9E1u);
}

}  // namespace
}  // namespace varnel
