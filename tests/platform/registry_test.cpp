// Keys and values.
#include "platform/registry.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

constexpr char16_t kPlace[] = u"SOFTWARE\\VarnelConformance";

class RegistryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    RegistryPort().RegDeleteTreeW(kHkeyLocalMachine, kPlace);
    key_ = Create(kHkeyLocalMachine, kPlace);
  }
  void TearDown() override {
    EXPECT_EQ(RegistryPort().RegCloseKey(key_), kErrorSuccess);
    EXPECT_EQ(RegistryPort().RegDeleteTreeW(kHkeyLocalMachine, kPlace), kErrorSuccess);
  }

  static HKEY Create(HKEY parent, const char16_t* path, std::uint32_t* disposition = nullptr) {
    HKEY key = nullptr;
    EXPECT_EQ(RegistryPort().RegCreateKeyExW(parent, path, kRegOptionNonVolatile, kKeyRead | kKeyWrite | kDelete, &key,
                                             disposition),
              kErrorSuccess);
    return key;
  }
  void CreateBelow(const char16_t* path) { RegistryPort().RegCloseKey(Create(key_, path)); }
  static std::uint32_t OpenError(HKEY parent, const char16_t* path) {
    HKEY key = nullptr;
    const std::uint32_t error = RegistryPort().RegOpenKeyExW(parent, path, 0, kKeyRead, &key);
    if (error == kErrorSuccess) RegistryPort().RegCloseKey(key);
    return error;
  }
  std::uint32_t Set(const char16_t* name, std::u16string_view text) {
    return RegistryPort().RegSetValueExW(key_, name, kRegSz, text.data(),
                                         static_cast<std::uint32_t>((text.size() + 1) * 2));
  }
  std::u16string Get(const char16_t* name) {
    char16_t buffer[64] = {};
    std::uint32_t size = sizeof buffer - 2;
    const std::uint32_t error = RegistryPort().RegQueryValueExW(key_, name, nullptr, buffer, &size);
    return error == kErrorSuccess ? std::u16string(buffer) : u"<none>";
  }

  HKEY key_ = nullptr;
};
using RegistryKeys = RegistryTest;
using RegistryValues = RegistryTest;

TEST_F(RegistryKeys, AreMadeWithAllThatIsMissingAboveThemAndThenOpened) {
  std::uint32_t disposition = 0;
  RegistryPort().RegCloseKey(Create(key_, u"a\\b\\c", &disposition));
  EXPECT_EQ(disposition, kRegCreatedNewKey);
  RegistryPort().RegCloseKey(Create(key_, u"a\\b\\c", &disposition));
  EXPECT_EQ(disposition, kRegOpenedExistingKey);
  EXPECT_EQ(OpenError(key_, u"a\\b"), kErrorSuccess);
}

TEST_F(RegistryKeys, AreFoundWithoutRegardToCaseAndKeepTheirNames) {
  CreateBelow(u"MiXed");
  EXPECT_EQ(OpenError(key_, u"mIXED"), kErrorSuccess);
  char16_t name[16];
  std::uint32_t length = 16;
  EXPECT_EQ(RegistryPort().RegEnumKeyExW(key_, 0, name, &length), kErrorSuccess);
  EXPECT_EQ(std::u16string(name, length), u"MiXed");
}

TEST_F(RegistryKeys, AMissingOneAnswers2) {
  EXPECT_EQ(OpenError(key_, u"none"), kErrorFileNotFound);
  EXPECT_EQ(OpenError(key_, u"none\\none"), kErrorFileNotFound);
}

TEST_F(RegistryKeys, AnEmptyOrNullNameOpensTheKeyOnceMore) {
  EXPECT_EQ(OpenError(key_, nullptr), kErrorSuccess);
  EXPECT_EQ(OpenError(key_, u""), kErrorSuccess);
}

TEST_F(RegistryKeys, AreCountedAndListedByIndexUpTo259) {
  for (const char16_t* name : {u"b", u"a", u"c"}) CreateBelow(name);
  std::uint32_t keys = 0;
  std::uint32_t values = 7;
  EXPECT_EQ(RegistryPort().RegQueryInfoKeyW(key_, &keys, &values), kErrorSuccess);
  EXPECT_EQ(keys, 3u);
  EXPECT_EQ(values, 0u);
  std::vector<std::u16string> names;
  char16_t name[16];
  std::uint32_t length = 16;
  while (RegistryPort().RegEnumKeyExW(key_, static_cast<std::uint32_t>(names.size()), name, &length) == 0) {
    names.emplace_back(name, length);
    length = 16;
  }
  EXPECT_EQ(names, (std::vector<std::u16string>{u"a", u"b", u"c"}));
  EXPECT_EQ(RegistryPort().RegEnumKeyExW(key_, 3, name, &length), kErrorNoMoreItems);
}

TEST_F(RegistryKeys, ANameThatDoesNotFitAnswers234) {
  CreateBelow(u"12345");
  char16_t name[8];
  std::uint32_t length = 5;
  EXPECT_EQ(RegistryPort().RegEnumKeyExW(key_, 0, name, &length), kErrorMoreData);
  length = 6;
  EXPECT_EQ(RegistryPort().RegEnumKeyExW(key_, 0, name, &length), kErrorSuccess);
  EXPECT_EQ(length, 5u);
}

TEST_F(RegistryKeys, OneWithKeysBelowItIsDeletedAsATreeOnly) {
  CreateBelow(u"a\\b");
  EXPECT_EQ(RegistryPort().RegDeleteKeyW(key_, u"a"), kErrorAccessDenied);
  EXPECT_EQ(RegistryPort().RegDeleteTreeW(key_, u"a"), kErrorSuccess);
  EXPECT_EQ(OpenError(key_, u"a"), kErrorFileNotFound);
  EXPECT_EQ(RegistryPort().RegDeleteTreeW(key_, u"a"), kErrorFileNotFound);
  EXPECT_EQ(RegistryPort().RegDeleteKeyW(key_, u"a"), kErrorFileNotFound);
}

TEST_F(RegistryKeys, AHandleToADeletedOneAnswers1018) {
  const HKEY gone = Create(key_, u"gone");
  EXPECT_EQ(RegistryPort().RegDeleteKeyW(key_, u"gone"), kErrorSuccess);
  std::uint32_t number = 1;
  EXPECT_EQ(RegistryPort().RegSetValueExW(gone, u"value", kRegDword, &number, 4), kErrorKeyDeleted);
  EXPECT_EQ(RegistryPort().RegCloseKey(gone), kErrorSuccess);
}

TEST_F(RegistryKeys, ClosingAPredefinedOneIsHarmless) {
  EXPECT_EQ(RegistryPort().RegCloseKey(kHkeyLocalMachine), kErrorSuccess);
  EXPECT_EQ(OpenError(kHkeyLocalMachine, kPlace), kErrorSuccess);
}

TEST_F(RegistryKeys, ANullHandleAnswers6) {
  EXPECT_EQ(OpenError(nullptr, u"a"), kErrorInvalidHandle);
  EXPECT_EQ(RegistryPort().RegCloseKey(nullptr), kErrorInvalidHandle);
}

TEST_F(RegistryKeys, CantBeClosedAsOtherHandlesAre) {
  SystemPort().SetLastError(0);
  EXPECT_FALSE(SystemPort().CloseHandle(kHkeyLocalMachine));
  EXPECT_EQ(SystemPort().GetLastError(), kErrorInvalidHandle);
}

TEST_F(RegistryKeys, WhatWasWrittenCanBeFlushed) {
  EXPECT_EQ(Set(u"value", u"x"), kErrorSuccess);
  EXPECT_EQ(RegistryPort().RegFlushKey(key_), kErrorSuccess);
}

TEST_F(RegistryValues, OfEachTypeComeBackAsTheyWere) {
  const std::uint32_t number = 0x12345678;
  const std::uint64_t big = 0x123456789ABCDEF0;
  const std::uint8_t bytes[] = {0, 1, 2, 0xFF};
  const struct {
    std::uint32_t type;
    const void* data;
    std::uint32_t size;
  } rows[] = {{kRegDword, &number, 4}, {kRegQword, &big, 8},      {kRegBinary, bytes, 4},
              {kRegSz, u"text", 10},   {kRegExpandSz, u"%a%", 8}, {kRegMultiSz, u"a\0b\0", 10},
              {kRegNone, bytes, 3},    {kRegBinary, nullptr, 0}};
  for (const auto& row : rows) {
    ASSERT_EQ(RegistryPort().RegSetValueExW(key_, u"value", row.type, row.data, row.size), kErrorSuccess);
    std::uint8_t buffer[32];
    std::uint32_t size = sizeof buffer;
    std::uint32_t type = 99;
    ASSERT_EQ(RegistryPort().RegQueryValueExW(key_, u"VALUE", &type, buffer, &size), kErrorSuccess);
    EXPECT_EQ(type, row.type);
    ASSERT_EQ(size, row.size);
    EXPECT_TRUE(size == 0 || std::memcmp(buffer, row.data, size) == 0);
  }
}

TEST_F(RegistryValues, TheDefaultOneHasNoName) {
  EXPECT_EQ(Get(nullptr), u"<none>");
  EXPECT_EQ(Set(nullptr, u"default"), kErrorSuccess);
  EXPECT_EQ(Get(u""), u"default");
}

TEST_F(RegistryValues, AMissingOneAnswers2) {
  std::uint32_t size = 0;
  EXPECT_EQ(RegistryPort().RegQueryValueExW(key_, u"none", nullptr, nullptr, &size), kErrorFileNotFound);
  EXPECT_EQ(RegistryPort().RegDeleteValueW(key_, u"none"), kErrorFileNotFound);
}

TEST_F(RegistryValues, TooLittleRoomAnswers234AndTellsTheSize) {
  EXPECT_EQ(Set(u"value", u"text"), kErrorSuccess);
  char16_t buffer[8];
  std::uint32_t size = 9;
  EXPECT_EQ(RegistryPort().RegQueryValueExW(key_, u"value", nullptr, buffer, &size), kErrorMoreData);
  EXPECT_EQ(size, 10u);
  size = 0;
  EXPECT_EQ(RegistryPort().RegQueryValueExW(key_, u"value", nullptr, nullptr, &size), kErrorSuccess);
  EXPECT_EQ(size, 10u);
}

TEST_F(RegistryValues, AreReplacedAndDeleted) {
  EXPECT_EQ(Set(u"value", u"one"), kErrorSuccess);
  EXPECT_EQ(Set(u"VALUE", u"two"), kErrorSuccess);
  EXPECT_EQ(Get(u"value"), u"two");
  EXPECT_EQ(RegistryPort().RegDeleteValueW(key_, u"Value"), kErrorSuccess);
  EXPECT_EQ(Get(u"value"), u"<none>");
}

TEST_F(RegistryValues, AreListedByIndexUpTo259) {
  EXPECT_EQ(Set(u"one", u"1"), kErrorSuccess);
  char16_t name[16];
  std::uint32_t length = 16;
  std::uint32_t type = 0;
  char16_t data[8] = {};
  std::uint32_t size = sizeof data;
  EXPECT_EQ(RegistryPort().RegEnumValueW(key_, 0, name, &length, &type, data, &size), kErrorSuccess);
  EXPECT_EQ(std::u16string(name, length), u"one");
  EXPECT_EQ(type, kRegSz);
  EXPECT_EQ(std::u16string(data), u"1");
  length = 16;
  EXPECT_EQ(RegistryPort().RegEnumValueW(key_, 1, name, &length, nullptr, nullptr, nullptr), kErrorNoMoreItems);
}

TEST_F(RegistryValues, CantBeSetThroughAHandleForReading) {
  HKEY reader = nullptr;
  ASSERT_EQ(RegistryPort().RegOpenKeyExW(key_, nullptr, 0, kKeyQueryValue, &reader), kErrorSuccess);
  const std::uint32_t number = 1;
  EXPECT_EQ(RegistryPort().RegSetValueExW(reader, u"value", kRegDword, &number, 4), kErrorAccessDenied);
  EXPECT_EQ(RegistryPort().RegCloseKey(reader), kErrorSuccess);
}

TEST_F(RegistryValues, CantBeReadThroughAHandleForWriting) {
  EXPECT_EQ(Set(u"value", u"x"), kErrorSuccess);
  HKEY writer = nullptr;
  ASSERT_EQ(RegistryPort().RegOpenKeyExW(key_, nullptr, 0, kKeySetValue, &writer), kErrorSuccess);
  std::uint32_t size = 0;
  EXPECT_EQ(RegistryPort().RegQueryValueExW(writer, u"value", nullptr, nullptr, &size), kErrorAccessDenied);
  EXPECT_EQ(RegistryPort().RegCloseKey(writer), kErrorSuccess);
}

TEST_F(RegistryValues, TheLastErrorOfTheThreadStays) {
  SystemPort().SetLastError(77);
  std::uint32_t size = 0;
  RegistryPort().RegQueryValueExW(key_, u"none", nullptr, nullptr, &size);
  EXPECT_EQ(OpenError(key_, u"none"), kErrorFileNotFound);
  EXPECT_EQ(SystemPort().GetLastError(), 77u);
}

}  // namespace
}  // namespace varnel::platform
