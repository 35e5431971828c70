#include "platform/embedded/embedded_platform.h"

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

using AssembledPlatform = MachineFixture;

TEST_F(AssembledPlatform, HasEveryPortOfTheMachine) {
  auto opened = EmbeddedPlatform::Open(folder_ + "/m");
  ASSERT_TRUE(opened.ok());
  platform::Platform& ports = opened.value()->record();
  EXPECT_TRUE(ports.files->PathFileExistsW(u"C:\\Windows"));
  platform::HKEY key = nullptr;
  EXPECT_EQ(ports.registry->RegOpenKeyExW(platform::kHkeyLocalMachine, u"SOFTWARE", 0, platform::kKeyRead, &key), 0u);
  EXPECT_EQ(ports.registry->RegCloseKey(key), 0u);
  EXPECT_EQ(ports.tdh->TdhLoadManifest(u"C:\\none.xml"), platform::kErrorFileNotFound);
  for (const void* port : {static_cast<void*>(ports.threads), static_cast<void*>(ports.trace),
                           static_cast<void*>(ports.crypto), static_cast<void*>(ports.system)}) {
    EXPECT_NE(port, nullptr);
  }
}

TEST_F(AssembledPlatform, OfAFolderThatIsNoMachineIsAnErrorThatNamesIt) {
  const auto opened = EmbeddedPlatform::Open(folder_);
  ASSERT_FALSE(opened.ok());
  EXPECT_NE(opened.error().message.find(folder_), std::string::npos);
}

TEST(PlatformWithoutAMachine, AnswersEveryPortWithAFailureAndKeepsWhatNeedsNone) {
  const auto without = EmbeddedPlatform::WithoutMachine();
  platform::Platform& ports = without->record();
  platform::HKEY key = nullptr;
  EXPECT_EQ(ports.registry->RegOpenKeyExW(platform::kHkeyLocalMachine, u"SOFTWARE", 0, platform::kKeyRead, &key),
            platform::kErrorNotSupported);
  EXPECT_EQ(ports.tdh->TdhLoadManifest(u"C:\\none.xml"), platform::kErrorNotSupported);
  EXPECT_EQ(ports.trace->ControlTraceW(0, u"name", nullptr, 0), platform::kErrorNotSupported);
  platform::EVENT_TRACE_LOGFILEW logfile{};
  EXPECT_EQ(ports.trace->OpenTraceW(&logfile), platform::kInvalidProcessTraceHandle);
  EXPECT_EQ(LastError(), platform::kErrorNotSupported);
  EXPECT_FALSE(ports.files->PathFileExistsW(u"C:\\"));
  EXPECT_EQ(ports.system->LoadLibraryW(u"kernel32.dll"), nullptr);
  const auto event = ports.threads->CreateEventW(false, true);
  EXPECT_EQ(ports.threads->WaitForSingleObject(event, 0), platform::kWaitObject0);
  EXPECT_TRUE(ports.system->CloseHandle(event));
}

TEST(SystemsPlatform, WithoutANameInTheEnvironmentSaysWhyAndAnswersFailures) {
  ::unsetenv("VARNEL_MACHINE");
  EXPECT_FALSE(platform::SystemPlatform().files->PathFileExistsW(u"C:\\"));
  EXPECT_NE(SystemPlatformError().find("VARNEL_MACHINE"), std::string::npos);
}

}  // namespace
}  // namespace varnel::embedded
