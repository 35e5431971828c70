// Handles, environment, libraries, GUIDs, identity, heap, guarded calls.
#include "platform/system.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>

#include "temp_folder.h"

namespace varnel::platform {
namespace {

using namespace std::string_literals;

TEST(CloseHandle, WhatIsNoOpenHandleAnswers6) {
  const HANDLE event = ThreadsPort().CreateEventW(false, false);
  EXPECT_TRUE(SystemPort().CloseHandle(event));
  ForgetError();
  EXPECT_FALSE(SystemPort().CloseHandle(event));
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  ForgetError();
  EXPECT_FALSE(SystemPort().CloseHandle(nullptr));
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
}

TEST(SystemDirectory, IsNamedWithItsLengthAndTheRoomThatItNeeds) {
  char16_t buffer[260];
  const std::uint32_t length = SystemPort().GetSystemDirectoryW(buffer, 260);
  EXPECT_EQ(length, std::u16string(buffer).size());
  EXPECT_EQ(std::u16string(buffer).substr(1, 2), u":\\");
  EXPECT_EQ(SystemPort().GetSystemDirectoryW(nullptr, 0), length + 1);
  EXPECT_EQ(SystemPort().GetSystemDirectoryW(buffer, length), length + 1);
  EXPECT_EQ(SystemPort().GetSystemDirectoryW(buffer, length + 1), length);
  EXPECT_EQ(FilesPort().GetFileAttributesW(buffer) & kFileAttributeDirectory, kFileAttributeDirectory);
}

std::u16string Expand(const char16_t* text) {
  char16_t buffer[512];
  const std::uint32_t size = SystemPort().ExpandEnvironmentStringsW(text, buffer, 512);
  EXPECT_EQ(size, std::u16string(buffer).size() + 1);
  return buffer;
}

TEST(Environment, AVariableIsSetReadAndRemovedWithoutRegardToCase) {
  char16_t buffer[32];
  EXPECT_TRUE(SystemPort().SetEnvironmentVariableW(u"Varnel_Test", u"value"));
  EXPECT_EQ(SystemPort().GetEnvironmentVariableW(u"VARNEL_TEST", buffer, 32), 5u);
  EXPECT_EQ(std::u16string(buffer), u"value");
  EXPECT_EQ(SystemPort().GetEnvironmentVariableW(u"varnel_test", buffer, 5), 6u);
  EXPECT_TRUE(SystemPort().SetEnvironmentVariableW(u"vArNeL_tEsT", nullptr));
  ForgetError();
  EXPECT_EQ(SystemPort().GetEnvironmentVariableW(u"Varnel_Test", buffer, 32), 0u);
  EXPECT_EQ(LastError(), 203u);
}

TEST(Environment, AnEmptyNameOrOneWithAnEqualsSignIsRefused) {
  ForgetError();
  EXPECT_FALSE(SystemPort().SetEnvironmentVariableW(u"", u"value"));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  ForgetError();
  EXPECT_FALSE(SystemPort().SetEnvironmentVariableW(u"a=b", u"value"));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
}

TEST(Environment, NamesBetweenPercentSignsAreReplacedByTheirValues) {
  SystemPort().SetEnvironmentVariableW(u"VARNEL_TEST", u"x y");
  EXPECT_EQ(Expand(u"a%VARNEL_TEST%b%varnel_test%"), u"ax ybx y");
  SystemPort().SetEnvironmentVariableW(u"VARNEL_TEST", nullptr);
}

TEST(Environment, UnknownNamesAndLonePercentSignsStayAsTheyAre) {
  EXPECT_EQ(Expand(u"a%VARNEL_NO_SUCH%b"), u"a%VARNEL_NO_SUCH%b");
  EXPECT_EQ(Expand(u"50%"), u"50%");
  EXPECT_EQ(Expand(u""), u"");
}

TEST(Environment, ExpansionTellsTheRoomThatItNeeds) {
  SystemPort().SetEnvironmentVariableW(u"VARNEL_TEST", u"12345");
  char16_t buffer[4];
  EXPECT_EQ(SystemPort().ExpandEnvironmentStringsW(u"%VARNEL_TEST%", nullptr, 0), 6u);
  EXPECT_EQ(SystemPort().ExpandEnvironmentStringsW(u"%VARNEL_TEST%", buffer, 4), 6u);
  SystemPort().SetEnvironmentVariableW(u"VARNEL_TEST", nullptr);
}

TEST(Environment, TheSystemRootIsTheFolderAboveTheSystemFolder) {
  char16_t system[260];
  SystemPort().GetSystemDirectoryW(system, 260);
  std::u16string folder = Expand(u"%SystemRoot%\\System32");
  const auto lower = [](std::u16string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char16_t unit) { return unit < 128 ? static_cast<char16_t>(std::tolower(unit)) : unit; });
    return text;
  };
  EXPECT_EQ(lower(folder), lower(system));
}

TEST(Modules, TheHostProgramHasAFullPath) {
  char16_t buffer[260];
  const std::uint32_t length = SystemPort().GetModuleFileNameW(nullptr, buffer, 260);
  EXPECT_EQ(length, std::u16string(buffer).size());
  EXPECT_EQ(std::u16string(buffer).substr(1, 2), u":\\");
}

TEST(Modules, APathThatDoesNotFitIsCutAndAnswers122) {
  char16_t buffer[5];
  ForgetError();
  EXPECT_EQ(SystemPort().GetModuleFileNameW(nullptr, buffer, 5), 5u);
  EXPECT_EQ(LastError(), kErrorInsufficientBuffer);
  EXPECT_EQ(std::u16string(buffer).size(), 4u);
}

TEST(Libraries, TheSystemsOwnIsLoadedByItsBareNameAndGivesThePreciseClock) {
  const HMODULE library = SystemPort().LoadLibraryW(u"kernel32.dll");
  ASSERT_NE(library, nullptr);
  const auto clock =
      reinterpret_cast<TimeFunction>(SystemPort().GetProcAddress(library, "GetSystemTimePreciseAsFileTime"));
  ASSERT_NE(clock, nullptr);
  FILETIME precise{};
  FILETIME coarse{};
  clock(&precise);
  SystemPort().GetSystemTimeAsFileTime(&coarse);
  const std::int64_t apart = static_cast<std::int64_t>(ToUint64(coarse) - ToUint64(precise));
  EXPECT_LT(std::abs(apart), 60ll * 10000000);
  FILETIME direct{};
  SystemPort().GetSystemTimePreciseAsFileTime(&direct);
  EXPECT_LT(std::abs(static_cast<std::int64_t>(ToUint64(direct) - ToUint64(precise))), 60ll * 10000000);
  EXPECT_TRUE(SystemPort().FreeLibrary(library));
}

TEST(Libraries, AnUnknownProcedureAnswers127) {
  const HMODULE library = SystemPort().LoadLibraryW(u"KERNEL32");
  ASSERT_NE(library, nullptr);
  ForgetError();
  EXPECT_EQ(SystemPort().GetProcAddress(library, "VarnelNoSuchProcedure"), nullptr);
  EXPECT_EQ(LastError(), kErrorProcNotFound);
  EXPECT_TRUE(SystemPort().FreeLibrary(library));
}

TEST(Libraries, AFileThatIsNotThereAnswers126) {
  for (const char16_t* path : {u"varnel-no-such-library.dll", u"C:\\varnel\\no\\such.dll"}) {
    ForgetError();
    EXPECT_EQ(SystemPort().LoadLibraryW(path), nullptr);
    EXPECT_EQ(LastError(), kErrorModNotFound);
  }
}

TEST(Guids, EachNewOneIsDifferent) {
  GUID first{};
  GUID second{};
  EXPECT_EQ(SystemPort().CoCreateGuid(&first), 0);
  EXPECT_EQ(SystemPort().CoCreateGuid(&second), 0);
  EXPECT_NE(std::memcmp(&first, &second, sizeof first), 0);
}

TEST(Guids, TheTextIsBracedUpperCaseAnd39CharactersWithItsNul) {
  const GUID guid = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
  char16_t buffer[39];
  EXPECT_EQ(SystemPort().StringFromGUID2(guid, buffer, 39), 39);
  EXPECT_EQ(std::u16string(buffer), u"{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(SystemPort().StringFromGUID2(guid, buffer, 38), 0);
}

TEST(Identity, EachThreadHasANumberOfItsOwnInOneProcess) {
  struct Numbers {
    std::uint32_t process = 0;
    std::uint32_t thread = 0;
  } other;
  const HANDLE thread = ThreadsPort().CreateThread(
      [](void* parameter) -> std::uint32_t {
        *static_cast<Numbers*>(parameter) = {SystemPort().GetCurrentProcessId(), SystemPort().GetCurrentThreadId()};
        return 0;
      },
      &other);
  EXPECT_EQ(ThreadsPort().WaitForSingleObject(thread, 60000), kWaitObject0);
  EXPECT_EQ(other.process, SystemPort().GetCurrentProcessId());
  EXPECT_NE(other.thread, SystemPort().GetCurrentThreadId());
  EXPECT_EQ(SystemPort().GetCurrentThreadId(), SystemPort().GetCurrentThreadId());
  EXPECT_TRUE(SystemPort().CloseHandle(thread));
}

TEST(Com, AThreadThatHasStartedItStartsItAgainWithTheOtherSuccess) {
  constexpr std::uint32_t kMultiThreaded = 0;
  constexpr std::uint32_t kApartment = 2;
  EXPECT_EQ(SystemPort().CoInitializeEx(kMultiThreaded), 0);
  EXPECT_EQ(SystemPort().CoInitializeEx(kMultiThreaded), 1);
  EXPECT_EQ(static_cast<std::uint32_t>(SystemPort().CoInitializeEx(kApartment)), 0x80010106u);
  SystemPort().CoUninitialize();
  SystemPort().CoUninitialize();
  EXPECT_EQ(SystemPort().CoInitializeEx(kApartment), 0);
  SystemPort().CoUninitialize();
}

TEST(ErrorMode, TheOldModeComesBack) {
  const std::uint32_t before = SystemPort().SetErrorMode(1);
  EXPECT_EQ(SystemPort().SetErrorMode(before), 1u);
}

TEST(Heap, ABlockHoldsWhatItWasAskedForAndNullCanBeFreed) {
  auto* block = static_cast<char*>(SystemPort().HeapAlloc(1000));
  ASSERT_NE(block, nullptr);
  std::memset(block, 1, 1000);
  SystemPort().HeapFree(block);
  void* const none = SystemPort().HeapAlloc(0);
  EXPECT_NE(none, nullptr);
  SystemPort().HeapFree(none);
  SystemPort().HeapFree(nullptr);
}

TEST(DebugOutput, TakesTextsOfAnyLength) {
  SystemPort().OutputDebugStringA("");
  SystemPort().OutputDebugStringW(std::u16string(100000, u'x').c_str());
}

TEST(Token, TellsInFourBytesWhetherTheProcessIsElevated) {
  HANDLE token = nullptr;
  ASSERT_TRUE(SystemPort().OpenProcessToken(kTokenQuery, &token));
  std::uint32_t elevated = 99;
  std::uint32_t needed = 0;
  EXPECT_TRUE(SystemPort().GetTokenInformation(token, kTokenElevation, &elevated, sizeof elevated, &needed));
  EXPECT_EQ(needed, 4u);
  EXPECT_LE(elevated, 1u);
  EXPECT_TRUE(SystemPort().CloseHandle(token));
  EXPECT_FALSE(SystemPort().GetTokenInformation(token, kTokenElevation, &elevated, sizeof elevated, &needed));
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidHandle);
}

[[gnu::noinline]] void ReadNowhere(void*) {
  // An address that no program has, so that no check of the compiler's sees it first.
  const volatile char* nowhere = reinterpret_cast<const volatile char*>(std::uintptr_t{0x10});
  (void)*nowhere;
}

[[gnu::noinline]] __attribute__((no_sanitize("undefined"))) void DivideByZero(void* parameter) {
  volatile int zero = 0;
  *static_cast<volatile int*>(parameter) = 100 / zero;
}

TEST(GuardedCalls, OneThatComesBackAnswers0) {
  int value = 0;
  EXPECT_EQ(SystemPort().GuardedCall([](void* parameter) { *static_cast<int*>(parameter) = 7; }, &value), 0u);
  EXPECT_EQ(value, 7);
}

TEST(GuardedCalls, AnAccessViolationComesBackAsItsCodeAgainAndAgain) {
  for (int i = 0; i < 3; ++i) EXPECT_EQ(SystemPort().GuardedCall(&ReadNowhere, nullptr), 0xC0000005u);
}

TEST(GuardedCalls, ADivisionByZeroComesBackAsItsCode) {
  int result = 0;
  EXPECT_EQ(SystemPort().GuardedCall(&DivideByZero, &result), 0xC0000094u);
}

TEST(GuardedCalls, ACppExceptionComesBackAsItsCode) {
  EXPECT_EQ(SystemPort().GuardedCall([](void*) { throw std::runtime_error("guarded"); }, nullptr), 0xE06D7363u);
}

TEST(GuardedCalls, AnInnerOneTakesTheFaultAndTheOuterOneGoesOn) {
  std::uint32_t codes[2] = {};
  const std::uint32_t outer = SystemPort().GuardedCall(
      [](void* parameter) {
        auto* both = static_cast<std::uint32_t*>(parameter);
        both[0] = SystemPort().GuardedCall(&ReadNowhere, nullptr);
        both[1] = 1;
        ReadNowhere(nullptr);
        both[1] = 2;
      },
      codes);
  EXPECT_EQ(codes[0], 0xC0000005u);
  EXPECT_EQ(codes[1], 1u);
  EXPECT_EQ(outer, 0xC0000005u);
}

TEST(GuardedCalls, EachThreadHasItsOwn) {
  const HANDLE thread = ThreadsPort().CreateThread(
      [](void*) -> std::uint32_t { return SystemPort().GuardedCall(&ReadNowhere, nullptr); }, nullptr);
  EXPECT_EQ(SystemPort().GuardedCall(&ReadNowhere, nullptr), 0xC0000005u);
  EXPECT_EQ(ThreadsPort().WaitForSingleObject(thread, 60000), kWaitObject0);
  std::uint32_t code = 0;
  EXPECT_TRUE(ThreadsPort().GetExitCodeThread(thread, &code));
  EXPECT_EQ(code, 0xC0000005u);
  EXPECT_TRUE(SystemPort().CloseHandle(thread));
}

TEST(Unpacking, AnLznt1BlockOfLiteralsAndACopyIsUnpacked) {
  // One chunk: a header word (packed, 3 bytes of size 4 - 1), a flag byte whose second item is a copy, 'a', and the
  // copy of 7 more from one byte back.
  const std::uint8_t packed[] = {0x03, 0xB0, 0x02, 'a', 0x04, 0x00};
  std::uint8_t out[8] = {};
  std::uint32_t size = 0;
  EXPECT_EQ(SystemPort().RtlDecompressBuffer(2, out, sizeof out, packed, sizeof packed, &size), 0u);
  EXPECT_EQ(size, 8u);
  EXPECT_EQ(std::string(out, out + 8), "aaaaaaaa"s);
}

TEST(Unpacking, AnUnknownFormatIsRefused) {
  std::uint8_t out[8] = {};
  std::uint32_t size = 0;
  EXPECT_EQ(SystemPort().RtlDecompressBuffer(0, out, sizeof out, out, sizeof out, &size), 0xC000000Du);
  EXPECT_EQ(SystemPort().RtlDecompressBuffer(9, out, sizeof out, out, sizeof out, &size), 0xC000025Fu);
}

TEST(Modules, ThreadNotificationsCanBeTurnedOff) {
  const HMODULE library = SystemPort().LoadLibraryW(u"kernel32.dll");
  EXPECT_TRUE(SystemPort().DisableThreadLibraryCalls(library));
  EXPECT_TRUE(SystemPort().FreeLibrary(library));
}

}  // namespace
}  // namespace varnel::platform
