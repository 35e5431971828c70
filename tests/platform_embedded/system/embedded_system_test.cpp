#include "platform/embedded/system/embedded_system.h"

#include <vector>

#include "machine_fixture.h"
#include "platform/embedded/threads/embedded_threads.h"

namespace varnel::embedded {
namespace {

class SystemOfAMachine : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeFile("Windows/System32/kernel32.dll");
    system_ = std::make_unique<EmbeddedSystem>(machine_, &environment_);
  }
  void TearDown() override {
    SetDebugSink({});
    system_.reset();
    MachineFixture::TearDown();
  }
  std::u16string HostImage() {
    char16_t buffer[260];
    system_->GetModuleFileNameW(nullptr, buffer, 260);
    return buffer;
  }

  std::unique_ptr<EmbeddedSystem> system_;
};

struct RegistryKeyLike : Object {
  RegistryKeyLike() : Object(Kind::kRegistryKey) {}
};

TEST_F(SystemOfAMachine, ClosesAnyKindOfHandleButThoseWithACallOfTheirOwn) {
  EmbeddedThreads threads;
  MakeFile("file");
  const auto file = files_->CreateFileW(u"C:\\file", platform::kGenericRead, 1, platform::kOpenExisting, 0);
  const auto thread = threads.CreateThread([](void*) -> std::uint32_t { return 0; }, nullptr);
  threads.WaitForSingleObject(thread, ~0u);
  for (const auto handle : {file, thread, threads.CreateEventW(true, true)}) EXPECT_TRUE(system_->CloseHandle(handle));
  platform::WIN32_FIND_DATAW data;
  const auto find = files_->FindFirstFileW(u"C:\\*", &data);
  const auto key = Handles().Insert(std::make_shared<RegistryKeyLike>());
  const auto library = system_->LoadLibraryW(u"kernel32.dll");
  for (const auto handle : {find, key, library}) {
    SetLastError(0);
    EXPECT_FALSE(system_->CloseHandle(handle));
    EXPECT_EQ(LastError(), platform::kErrorInvalidHandle);
    EXPECT_NE(Handles().Find(handle), nullptr);
  }
  Handles().Remove(key);
  files_->FindClose(find);
}

TEST_F(SystemOfAMachine, TheHostStandsAtItsPlaceOnEveryMachineUnlessTheProcessSaysOtherwise) {
  EXPECT_EQ(HostImage(), u"C:\\Program Files\\Varnel\\Host\\wardlet.exe");
  system_->SetHostImage(u"C:\\Other\\host.exe");
  EXPECT_EQ(HostImage(), u"C:\\Other\\host.exe");
}

TEST_F(SystemOfAMachine, TheHostsOwnEnvironmentCanPlaceTheHostImage) {
  ::setenv("VARNEL_HOST_IMAGE", "C:\\From\\Host\\wardlet.exe", 1);
  system_ = std::make_unique<EmbeddedSystem>(machine_, &environment_);
  ::unsetenv("VARNEL_HOST_IMAGE");
  EXPECT_EQ(HostImage(), u"C:\\From\\Host\\wardlet.exe");
}

TEST_F(SystemOfAMachine, BareLibraryNamesAreLookedForBesideTheHost) {
  MakeFolder("Other");
  MakeFile("Other/mine.dll");
  EXPECT_EQ(system_->LoadLibraryW(u"mine.dll"), nullptr);
  system_->SetHostImage(u"C:\\Other\\host.exe");
  const auto library = system_->LoadLibraryW(u"mine.dll");
  ASSERT_NE(library, nullptr);
  char16_t buffer[260];
  EXPECT_EQ(system_->GetModuleFileNameW(library, buffer, 260), 17u);
  EXPECT_EQ(std::u16string(buffer), u"C:\\Other\\mine.dll");
}

TEST_F(SystemOfAMachine, WhatIsNoModuleHasNoFileName) {
  char16_t buffer[260];
  EXPECT_EQ(system_->GetModuleFileNameW(platform::kInvalidHandleValue, buffer, 260), 0u);
  EXPECT_EQ(LastError(), platform::kErrorModNotFound);
}

TEST_F(SystemOfAMachine, DebugOutputReachesTheSinkAsUtf8) {
  std::vector<std::string> texts;
  SetDebugSink([&](std::string_view text) { texts.emplace_back(text); });
  system_->OutputDebugStringW(u"wide \u00E4\n");
  system_->OutputDebugStringA("narrow\n");
  system_->OutputDebugStringA(nullptr);
  system_->OutputDebugStringW(nullptr);
  EXPECT_EQ(texts, (std::vector<std::string>{"wide \xC3\xA4\n", "narrow\n"}));
}

TEST_F(SystemOfAMachine, DebugOutputGoesToStandardErrorWhereTheHostSaysSo) {
  ::setenv("VARNEL_DEBUG_OUTPUT", "stderr", 1);
  SetDebugSink({});
  ::unsetenv("VARNEL_DEBUG_OUTPUT");
  ::testing::internal::CaptureStderr();
  system_->OutputDebugStringA("seen\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "seen\n");
}

TEST_F(SystemOfAMachine, DebugOutputGoesNowhereElse) {
  SetDebugSink({});
  ::testing::internal::CaptureStderr();
  system_->OutputDebugStringA("unseen\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(SystemOfAMachine, AVariableThatIsEmptyIsToldFromOneThatIsNotThere) {
  char16_t buffer[8];
  environment_.Set(u"empty", u"");
  SetLastError(77);
  EXPECT_EQ(system_->GetEnvironmentVariableW(u"empty", buffer, 8), 0u);
  EXPECT_EQ(LastError(), 0u);
  EXPECT_EQ(system_->GetEnvironmentVariableW(nullptr, buffer, 8), 0u);
  EXPECT_EQ(LastError(), 203u);
  EXPECT_FALSE(system_->SetEnvironmentVariableW(u"none", nullptr));
  EXPECT_EQ(LastError(), 203u);
}

TEST_F(SystemOfAMachine, TheMachinesOwnZoneIsUtc) {
  platform::SYSTEMTIME universal{};
  universal.wYear = 2026;
  universal.wMonth = 7;
  universal.wDay = 1;
  universal.wHour = 12;
  platform::SYSTEMTIME local{};
  EXPECT_TRUE(system_->SystemTimeToTzSpecificLocalTime(nullptr, &universal, &local));
  EXPECT_EQ(local.wHour, 12);
  EXPECT_EQ(local.wDay, 1);
}

TEST_F(SystemOfAMachine, WhoeverUsesAMachineIsItsAdministrator) {
  platform::HANDLE token = nullptr;
  ASSERT_TRUE(system_->OpenProcessToken(platform::kTokenQuery, &token));
  std::uint32_t elevated = 0;
  std::uint32_t needed = 0;
  EXPECT_TRUE(system_->GetTokenInformation(token, platform::kTokenElevation, &elevated, sizeof elevated, &needed));
  EXPECT_EQ(elevated, 1u);
  EXPECT_FALSE(system_->GetTokenInformation(token, platform::kTokenElevation, &elevated, 3, &needed));
  EXPECT_EQ(system_->GetLastError(), platform::kErrorInsufficientBuffer);
  EXPECT_FALSE(system_->GetTokenInformation(token, 1, &elevated, sizeof elevated, &needed));
  EXPECT_EQ(system_->GetLastError(), platform::kErrorInvalidParameter);
  EXPECT_TRUE(system_->CloseHandle(token));
}

TEST_F(SystemOfAMachine, ABlockThatIsCutShortIsRefused) {
  const std::uint8_t packed[] = {0x03, 0xB0, 0x02, 'a'};
  std::uint8_t out[8];
  std::uint32_t size = 0;
  EXPECT_EQ(system_->RtlDecompressBuffer(2, out, sizeof out, packed, sizeof packed, &size), 0xC0000242u);
}

}  // namespace
}  // namespace varnel::embedded
