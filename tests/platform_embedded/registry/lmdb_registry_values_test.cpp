// Values: types, sizes, names, order.
#include "registry_fixture.h"

namespace varnel::embedded {
namespace {

using namespace platform;

class RegistryValuesTest : public RegistryFixture {
 protected:
  void SetUp() override {
    RegistryFixture::SetUp();
    key_ = Create(u"SOFTWARE\\A");
  }
  HKEY key_ = nullptr;
};

TEST_F(RegistryValuesTest, ValuesOfEachTypeComeBackAsTheyWereSet) {
  const std::string text("a\0b\0\0\0", 6);
  const struct {
    const char16_t* name;
    std::uint32_t type;
    std::string data;
  } rows[] = {{u"none", kRegNone, ""},           {u"sz", kRegSz, text},         {u"expand", kRegExpandSz, text},
              {u"binary", kRegBinary, text},     {u"dword", kRegDword, "1234"}, {u"multi", kRegMultiSz, text},
              {u"qword", kRegQword, "12345678"}, {u"odd", 12345, "whatever"}};
  for (const auto& row : rows) ASSERT_EQ(Set(key_, row.name, row.data, row.type), 0u);
  for (const auto& row : rows) {
    std::uint32_t type = 99;
    std::uint32_t size = 0;
    EXPECT_EQ(registry_->RegQueryValueExW(key_, row.name, &type, nullptr, &size), 0u);
    EXPECT_EQ(type, row.type);
    EXPECT_EQ(size, row.data.size());
    EXPECT_EQ(Get(key_, row.name), row.data);
  }
}

TEST_F(RegistryValuesTest, AMissingValueGives2) {
  EXPECT_EQ(Get(key_, u"nothing"), "?2");
  EXPECT_EQ(Get(key_, nullptr), "?2");
  EXPECT_EQ(registry_->RegDeleteValueW(key_, u"nothing"), 2u);
}

TEST_F(RegistryValuesTest, ANullAndAnEmptyNameAreTheDefaultValue) {
  EXPECT_EQ(Set(key_, nullptr, "default"), 0u);
  EXPECT_EQ(Get(key_, u""), "default");
  EXPECT_EQ(Set(key_, u"", "again"), 0u);
  EXPECT_EQ(Get(key_, nullptr), "again");
  EXPECT_EQ(Values(key_), (std::vector<SeenValue>{{u"", kRegBinary, "again"}}));
  EXPECT_EQ(registry_->RegDeleteValueW(key_, nullptr), 0u);
  EXPECT_EQ(Get(key_, nullptr), "?2");
}

TEST_F(RegistryValuesTest, TooLittleRoomGives234WithTheSizeAndTheType) {
  Set(key_, u"v", "0123456789", kRegSz);
  char room[4] = "abc";
  std::uint32_t size = 4;
  std::uint32_t type = 0;
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", &type, room, &size), kErrorMoreData);
  EXPECT_EQ(size, 10u);
  EXPECT_EQ(type, kRegSz);
  EXPECT_STREQ(room, "abc");
}

TEST_F(RegistryValuesTest, DataWithoutASizeGives87AndNeitherAsksForTheTypeAlone) {
  Set(key_, u"v", "x", kRegDword);
  char room[4];
  std::uint32_t type = 0;
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", &type, room, nullptr), 87u);
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", &type, nullptr, nullptr), 0u);
  EXPECT_EQ(type, kRegDword);
}

TEST_F(RegistryValuesTest, ATextStoredWithoutItsZeroGetsOneWhereThereIsRoom) {
  Set(key_, u"v", std::string("h\0i\0", 4), kRegSz);
  char16_t room[4] = {u'#', u'#', u'#', u'#'};
  std::uint32_t size = sizeof room;
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", nullptr, room, &size), 0u);
  EXPECT_EQ(size, 4u);
  EXPECT_EQ(room[2], u'\0');
  EXPECT_EQ(room[3], u'#');
  size = 4;
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", nullptr, room, &size), 0u);
}

TEST_F(RegistryValuesTest, BinaryDataIsNeverEndedForTheReader) {
  Set(key_, u"v", std::string("h\0i\0", 4), kRegBinary);
  char16_t room[4] = {u'#', u'#', u'#', u'#'};
  std::uint32_t size = sizeof room;
  EXPECT_EQ(registry_->RegQueryValueExW(key_, u"v", nullptr, room, &size), 0u);
  EXPECT_EQ(room[2], u'#');
}

TEST_F(RegistryValuesTest, NullDataIsGoodForNoBytesOnly) {
  EXPECT_EQ(registry_->RegSetValueExW(key_, u"empty", kRegBinary, nullptr, 0), 0u);
  EXPECT_EQ(Get(key_, u"empty"), "");
  EXPECT_EQ(registry_->RegSetValueExW(key_, u"v", kRegBinary, nullptr, 4), kErrorNoAccess);
  EXPECT_EQ(Get(key_, u"v"), "?2");
}

TEST_F(RegistryValuesTest, ValuesAreListedInTheOrderInWhichTheyWereFirstSet) {
  for (const char16_t* name : {u"zeta", u"Alpha", u"mid"}) Set(key_, name, "1");
  Set(key_, u"ALPHA", "changed", kRegSz);
  EXPECT_EQ(Values(key_), (std::vector<SeenValue>{
                              {u"zeta", kRegBinary, "1"}, {u"Alpha", kRegSz, "changed"}, {u"mid", kRegBinary, "1"}}));
  registry_->RegDeleteValueW(key_, u"zeta");
  Set(key_, u"zeta", "back");
  EXPECT_EQ(Values(key_).back().name, u"zeta");
  std::uint32_t count = 0;
  EXPECT_EQ(registry_->RegQueryInfoKeyW(key_, nullptr, &count), 0u);
  EXPECT_EQ(count, 3u);
}

TEST_F(RegistryValuesTest, AnEnumeratedNameThatDoesNotFitGives234AndLeavesTheLength) {
  Set(key_, u"Alpha", "123");
  char16_t name[8];
  std::uint32_t length = 5;
  std::uint32_t size = 0;
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, name, &length, nullptr, nullptr, &size), kErrorMoreData);
  EXPECT_EQ(length, 5u);
  EXPECT_EQ(size, 3u);
}

TEST_F(RegistryValuesTest, EnumeratedDataOfMoreBytesThanThereIsRoomGives234) {
  Set(key_, u"v", std::string(25, 'x'));
  char16_t name[256];
  std::uint32_t length = 256;
  char data[24];
  std::uint32_t size = sizeof data;
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, name, &length, nullptr, data, &size), kErrorMoreData);
  EXPECT_EQ(size, 25u);
}

TEST_F(RegistryValuesTest, EnumerationBehindTheLastValueGives259) {
  char16_t name[4];
  std::uint32_t length = 4;
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, name, &length, nullptr, nullptr, nullptr), kErrorNoMoreItems);
  EXPECT_EQ(registry_->RegEnumValueW(key_, ~0u, name, &length, nullptr, nullptr, nullptr), kErrorNoMoreItems);
}

TEST_F(RegistryValuesTest, EnumerationWithoutRoomForANameGives87) {
  Set(key_, u"v", "x");
  char16_t name[4];
  std::uint32_t length = 4;
  char data[4];
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, nullptr, &length, nullptr, nullptr, nullptr), 87u);
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, name, nullptr, nullptr, nullptr, nullptr), 87u);
  EXPECT_EQ(registry_->RegEnumValueW(key_, 0, name, &length, nullptr, data, nullptr), 87u);
}

TEST_F(RegistryValuesTest, AValueNameOf16383CharactersIsTakenAndALongerOneRefused) {
  const std::u16string longest(16383, u'n');
  EXPECT_EQ(Set(key_, longest.c_str(), "x"), 0u);
  EXPECT_EQ(Get(key_, longest.c_str()), "x");
  EXPECT_EQ(Set(key_, (longest + u"n").c_str(), "x"), 87u);
  EXPECT_EQ(Get(key_, (longest + u"n").c_str()), "?2");
}

TEST_F(RegistryValuesTest, LargeDataComesBackWhole) {
  std::string large(3'000'000, '\0');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31 >> 3);
  ASSERT_EQ(Set(key_, u"large", large), 0u);
  std::string back(large.size(), '\0');
  auto size = static_cast<std::uint32_t>(back.size());
  ASSERT_EQ(registry_->RegQueryValueExW(key_, u"large", nullptr, back.data(), &size), 0u);
  EXPECT_TRUE(back == large);
}

TEST_F(RegistryValuesTest, ValuesOfOneKeyAreNotSeenInAnother) {
  const HKEY other = Create(u"SOFTWARE\\B");
  Set(key_, u"v", "mine");
  EXPECT_EQ(Get(other, u"v"), "?2");
  EXPECT_TRUE(Values(other).empty());
}

TEST_F(RegistryValuesTest, WhatWasSetIsThereWhenTheRegistryIsOpenedAgain) {
  Set(key_, u"v", "kept");
  Reopen();
  EXPECT_EQ(Get(Open(u"SOFTWARE\\A"), u"v"), "kept");
}

}  // namespace
}  // namespace varnel::embedded
