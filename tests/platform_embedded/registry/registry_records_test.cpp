#include "platform/embedded/registry/registry_records.h"

#include <gtest/gtest.h>

#include "copy_builder.h"

namespace varnel::embedded {
namespace {

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

template <typename Record>
std::string Encoded(const Record& record, std::u16string_view name, std::size_t size) {
  std::string bytes(size, '\0');
  record.Encode(name, reinterpret_cast<std::byte*>(bytes.data()));
  return bytes;
}

TEST(RegistryRecords, APlaceIsWrittenSoThatItsBytesSortAsItsNumbersDo) {
  const RecordPlace place{0x0102030405060708, RecordTag::kValue, 0x1112131415161718, 0x2122};
  const auto bytes = place.Encode();
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()),
            CopyBuilder::Place(0x0102030405060708, 'V', 0x1112131415161718, 0x2122));
  const auto back = RecordPlace::Parse(bytes);
  ASSERT_TRUE(back.has_value());
  EXPECT_EQ(*back, place);
}

TEST(RegistryRecords, APlaceOfAnotherSizeOrTagIsNone) {
  const std::string good = CopyBuilder::Place(1, 'K', 2);
  EXPECT_TRUE(RecordPlace::Parse(Bytes(good)).has_value());
  EXPECT_FALSE(RecordPlace::Parse(Bytes(good.substr(1))).has_value());
  EXPECT_FALSE(RecordPlace::Parse(Bytes(good + "x")).has_value());
  EXPECT_FALSE(RecordPlace::Parse(Bytes(CopyBuilder::Place(1, 'k', 2))).has_value());
  EXPECT_FALSE(RecordPlace::Parse({}).has_value());
}

TEST(RegistryRecords, AKeyIsWrittenAndReadAsTheFormatHasIt) {
  const std::string expected = CopyBuilder::Key(42, u"Name", 7, 1);
  EXPECT_EQ(Encoded(KeyRecord{42, 7, true, {}}, u"Name", KeyRecord::EncodedSize(4)), expected);
  const auto key = KeyRecord::Parse(Bytes(expected));
  ASSERT_TRUE(key.has_value());
  EXPECT_EQ(key->id, 42u);
  EXPECT_EQ(key->next_order, 7u);
  EXPECT_TRUE(key->is_volatile);
  EXPECT_EQ(key->name.Text(), u"Name");
}

TEST(RegistryRecords, AValueIsWrittenAndReadAsTheFormatHasIt) {
  const std::string expected = CopyBuilder::Value(9, 3, u"v\u00E4", "data");
  ValueRecord record;
  record.order = 9;
  record.type = 3;
  const std::string data = "data";
  record.data = Bytes(data);
  EXPECT_EQ(Encoded(record, u"v\u00E4", ValueRecord::EncodedSize(2, 4)), expected);
  const auto value = ValueRecord::Parse(Bytes(expected));
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->order, 9u);
  EXPECT_EQ(value->type, 3u);
  EXPECT_EQ(value->name.Text(), u"v\u00E4");
  EXPECT_EQ(value->data.size(), 4u);
}

TEST(RegistryRecords, ARecordCutAnywhereInItsHeadOrNameIsNone) {
  const std::string key = CopyBuilder::Key(42, u"Name");
  for (std::size_t size = 0; size < key.size(); ++size) {
    EXPECT_FALSE(KeyRecord::Parse(Bytes(key.substr(0, size))).has_value()) << size;
  }
  const std::string value = CopyBuilder::Value(9, 3, u"Name", "");
  for (std::size_t size = 0; size < value.size(); ++size) {
    EXPECT_FALSE(ValueRecord::Parse(Bytes(value.substr(0, size))).has_value()) << size;
  }
  const std::string store = CopyBuilder::Store(1, 3);
  for (std::size_t size = 0; size < store.size(); ++size) {
    EXPECT_FALSE(StoreRecord::Parse(Bytes(store.substr(0, size))).has_value()) << size;
  }
}

TEST(RegistryRecords, NamesAreComparedWithoutRegardToCase) {
  const std::string key = CopyBuilder::Key(42, u"Na\u00E4me");
  const auto record = KeyRecord::Parse(Bytes(key));
  ASSERT_TRUE(record.has_value());
  EXPECT_TRUE(record->name.EqualsFolded(u"NA\u00C4ME"));
  EXPECT_FALSE(record->name.EqualsFolded(u"NA\u00C4M"));
  EXPECT_FALSE(record->name.EqualsFolded(u"NAAME"));
}

TEST(RegistryRecords, NamesThatDifferInCaseHaveOneHash) {
  EXPECT_EQ(HashFoldedName(u"Keywords"), HashFoldedName(u"KEYWORDS"));
  EXPECT_EQ(HashFoldedName(u"KEYWORDS"), CopyBuilder::Hash(u"KEYWORDS"));
  EXPECT_NE(HashFoldedName(u"KEYWORDS"), HashFoldedName(u"KEYWORD"));
}

}  // namespace
}  // namespace varnel::embedded
