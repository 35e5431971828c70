// The flushed copy's reader and writer.
#include "platform/embedded/registry/registry_copy.h"

#include <gtest/gtest.h>

#include <map>

#include "copy_builder.h"

namespace varnel::embedded {
namespace {

using formats::Result;

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

Result<RegistryCopy> Parse(const std::string& bytes) {
  return RegistryCopy::Parse(Bytes(bytes), HashFoldedName);
}

// Keeps what is written in memory.
class MemoryIo : public CopyIo {
 public:
  struct File : CopyFile {
    explicit File(std::string* bytes) : bytes_(bytes) {}
    int Write(std::span<const std::byte> bytes) override {
      bytes_->append(reinterpret_cast<const char*>(bytes.data()), bytes.size());
      return 0;
    }
    int Sync() override { return 0; }
    std::string* bytes_;
  };
  std::unique_ptr<CopyFile> Create(const std::string& path, int*) override {
    files[path].clear();
    return std::make_unique<File>(&files[path]);
  }
  int Rename(const std::string& from, const std::string& to) override {
    files[to] = files[from];
    files.erase(from);
    return 0;
  }
  int SyncFolder(const std::string&) override { return 0; }

  std::map<std::string, std::string> files;
};

TEST(RegistryCopy, ACopyThatFollowsTheFormatIsRead) {
  const std::string bytes = SmallCopy();  // the records point into it
  const auto copy = Parse(bytes);
  ASSERT_TRUE(copy.ok()) << copy.error().message << copy.error().offset;
  EXPECT_EQ(copy.value().header, (CopyHeader{1, 5, 77}));
  EXPECT_EQ(copy.value().store.next_id, 4u);
  ASSERT_EQ(copy.value().records.size(), 5u);
  const auto value = ValueRecord::Parse(copy.value().records[3].bytes);
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->name.Text(), u"v");
  EXPECT_EQ(value->type, 4u);
}

TEST(RegistryCopy, TheWriterWritesTheFormat) {
  const std::string expected = SmallCopy();
  const auto copy = Parse(expected);
  ASSERT_TRUE(copy.ok());
  MemoryIo io;
  CopyWriter writer(&io, "f");
  ASSERT_EQ(writer.Begin(copy.value().header), 0);
  bool store_written = false;
  for (const CopyRecord& record : copy.value().records) {
    if (!store_written && record.place.parent != kNoKey) {
      const auto store = copy.value().store.Encode();
      writer.Add(StoreRecord::Place().Encode(), store);
      store_written = true;
    }
    writer.Add(record.place.Encode(), record.bytes);
  }
  ASSERT_EQ(writer.Finish(), 0);
  EXPECT_EQ(io.files.size(), 1u);
  EXPECT_EQ(io.files["f/copy"], expected);
}

TEST(RegistryCopy, EveryChangedByteIsNoticed) {
  const std::string good = SmallCopy();
  for (std::size_t i = 0; i < good.size(); ++i) {
    for (const char flip : {'\x01', '\x80', '\xFF'}) {
      std::string bad = good;
      bad[i] = static_cast<char>(bad[i] ^ flip);
      // The time alone tells nothing about the records, but the sum covers it too.
      EXPECT_FALSE(Parse(bad).ok()) << i;
    }
  }
}

TEST(RegistryCopy, ACopyCutAnywhereIsNoticed) {
  const std::string good = SmallCopy();
  for (std::size_t size = 0; size < good.size(); ++size) EXPECT_FALSE(Parse(good.substr(0, size)).ok()) << size;
  EXPECT_FALSE(Parse(good + '\0').ok());
}

struct DamageRow {
  const char* what;
  CopyBuilder copy;
};

TEST(RegistryCopy, WhatDoesNotFitTogetherIsRefusedUnderAGoodChecksum) {
  using B = CopyBuilder;
  const auto start = [] { return CopyBuilder().Header().Roots(9); };
  const auto name = [](const std::u16string& text) { return B::Hash(text); };
  const DamageRow rows[] = {
      {"no roots", B().Header().Record(B::Place(0, 'S', 0), B::Store(1, 3))},
      {"no store record", B().Header().Record(B::Place(0, 'K', name(u"USER")), B::Key(2, u"USER"))},
      {"a third root", start().Record(B::Place(0, 'K', name(u"X"), 1), B::Key(3, u"X"))},
      {"a place of another size", start().Record(B::Place(1, 'K', name(u"X")) + "x", B::Key(3, u"X"))},
      {"an unknown tag", start().Record(B::Place(1, 'Q', name(u"X")), B::Key(3, u"X"))},
      {"records out of order", start()
                                   .Record(B::Place(2, 'K', name(u"X")), B::Key(3, u"X"))
                                   .Record(B::Place(1, 'K', name(u"Y")), B::Key(4, u"Y"))},
      {"the same record twice", start()
                                    .Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"X"))
                                    .Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"X"))},
      {"an id used twice", start()
                               .Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"X"))
                               .Record(B::Place(2, 'K', name(u"Y")), B::Key(3, u"Y"))},
      {"an id that was never given out", start().Record(B::Place(1, 'K', name(u"X")), B::Key(9, u"X"))},
      {"a child with a lower id than its parent", start().Record(B::Place(1, 'K', name(u"X")), B::Key(1, u"X"))},
      {"a parent that is not there", start().Record(B::Place(5, 'K', name(u"X")), B::Key(6, u"X"))},
      {"a value of a key that is not there", start().Record(B::Place(5, 'V', name(u"X")), B::Value(0, 1, u"X", ""))},
      {"a name that does not fit its hash", start().Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"Y"))},
      {"a key without a name", start().Record(B::Place(1, 'K', name(u"")), B::Key(3, u""))},
      {"a separator in a key's name", start().Record(B::Place(1, 'K', name(u"A\\B")), B::Key(3, u"A\\B"))},
      {"a key's name of 256 characters",
       start().Record(B::Place(1, 'K', name(std::u16string(256, u'X'))), B::Key(3, std::u16string(256, u'X')))},
      {"unknown flags", start().Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"X", 0, 2))},
      {"bytes behind a key's name", start().Record(B::Place(1, 'K', name(u"X")), B::Key(3, u"X") + "x")},
      {"a value shorter than its name",
       start().Record(B::Place(1, 'V', name(u"XX")), B::Value(0, 1, u"XX", "").substr(0, 16))},
      {"a store record elsewhere", start().Record(B::Place(1, 'S', 0), B::Store(1, 9))},
      {"a store of another version", B().Header().Record(B::Place(0, 'S', 0), B::Little(2, 4) + B::Little(0, 20))},
  };
  for (const DamageRow& row : rows) {
    const auto copy = Parse(row.copy.Build());
    EXPECT_FALSE(copy.ok()) << row.what;
  }
}

TEST(RegistryCopy, AnErrorTellsTheOffsetOfTheRecord) {
  const std::string before = CopyBuilder().Header().Roots(9).Build();
  const auto copy = Parse(CopyBuilder().Header().Roots(9).Record("short", "record").Build());
  ASSERT_FALSE(copy.ok());
  EXPECT_EQ(copy.error().offset, before.size() - 18);
}

TEST(RegistryCopy, ARecordThatReachesBehindTheEndIsRefused) {
  std::string bytes = CopyBuilder().Header().Roots(9).Record(CopyBuilder::Place(1, 'K', 1), "rec").Build();
  const std::size_t size_at = bytes.size() - 18 - 3 - 19 - 4;
  bytes.replace(size_at, 4, CopyBuilder::Little(0xFFFFFFFF, 4));
  bytes.replace(bytes.size() - 8, 8, CopyBuilder::Little(CopyBuilder::Sum(bytes.substr(0, bytes.size() - 8)), 8));
  EXPECT_FALSE(Parse(bytes).ok());
}

TEST(RegistryCopy, AWrongCountIsRefused) {
  std::string bytes = SmallCopy();
  bytes.replace(bytes.size() - 16, 8, CopyBuilder::Little(7, 8));
  bytes.replace(bytes.size() - 8, 8, CopyBuilder::Little(CopyBuilder::Sum(bytes.substr(0, bytes.size() - 8)), 8));
  EXPECT_FALSE(Parse(bytes).ok());
}

}  // namespace
}  // namespace varnel::embedded
