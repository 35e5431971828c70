#include "platform/embedded/registry/value_cells.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <random>
#include <thread>

#include "platform/types.h"

namespace varnel::embedded {
namespace {

// Offsets of docs/formats/registry.md.
constexpr std::size_t kFileSize = 128 + 64 * 192;
constexpr std::size_t kFirstCell = 128;
constexpr std::size_t kData = 64;

RecordPlace Place(std::uint64_t name) {
  return {7, RecordTag::kValue, name, 0};
}

std::span<const std::byte> Bytes(const std::string& text) {
  return std::as_bytes(std::span(text.data(), text.size()));
}

class ValueCellsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-cells-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    path_ = folder_ + "/cells";
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::unique_ptr<ValueCells> Open(std::uint64_t epoch = 1, bool alone = true) {
    auto cells = std::make_unique<ValueCells>();
    EXPECT_EQ(cells->Open(path_, epoch, alone), 0u);
    return cells;
  }
  /// Leaves a file with one dirty cell, "two" over "one".
  void LeaveDirty() {
    const auto cells = Open();
    const ValueCells::Hold hold(cells.get());
    const auto binding = cells->Bind(Place(1), 3, 3);
    ASSERT_TRUE(cells->Put(binding, Bytes("one")));
    ASSERT_TRUE(cells->Put(binding, Bytes("two")));
  }
  std::string ReadFile() const {
    std::ifstream in(path_, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }
  void WriteFile(const std::string& bytes) const { std::ofstream(path_, std::ios::binary | std::ios::trunc) << bytes; }
  /// What the dirty cells hold, one after another.
  static std::string DirtyData(ValueCells& cells) {
    const ValueCells::Hold hold(&cells);
    std::string all;
    for (std::uint32_t i = 0; i < ValueCells::kCells; ++i) {
      ValueCells::Content content;
      if (!cells.Dirty(i, &content)) continue;
      all.append(reinterpret_cast<const char*>(content.data.data()), content.data.size());
    }
    return all;
  }

  std::string folder_;
  std::string path_;
};

TEST_F(ValueCellsTest, WhatWasPutLastCountsUntilItIsMarkedClean) {
  const auto cells = Open();
  EXPECT_FALSE(cells->is_dirty());
  {
    const ValueCells::Hold hold(cells.get());
    const auto binding = cells->Bind(Place(1), 3, 3);
    EXPECT_TRUE(cells->Put(binding, Bytes("one")));
    EXPECT_TRUE(cells->Put(binding, Bytes("two")));
    EXPECT_TRUE(cells->Put(binding, Bytes("thr")));
  }
  EXPECT_TRUE(cells->is_dirty());
  EXPECT_EQ(DirtyData(*cells), "thr");
  {
    const ValueCells::Hold hold(cells.get());
    cells->MarkClean([] {});
  }
  EXPECT_FALSE(cells->is_dirty());
  EXPECT_EQ(DirtyData(*cells), "");
}

TEST_F(ValueCellsTest, AnEndedBindingTakesNothing) {
  const auto cells = Open();
  const ValueCells::Hold hold(cells.get());
  EXPECT_FALSE(cells->Put({}, Bytes("one")));
  const auto first = cells->Bind(Place(1), 3, 3);
  cells->UnbindAll();
  EXPECT_FALSE(cells->Put(first, Bytes("one")));
  const auto second = cells->Bind(Place(2), 3, 3);
  EXPECT_EQ(second.cell, first.cell);
  EXPECT_FALSE(cells->Put(first, Bytes("one")));
  EXPECT_FALSE(cells->is_dirty());
}

TEST_F(ValueCellsTest, AValueKeepsItsCellWhileItsShapeStays) {
  const auto cells = Open();
  const ValueCells::Hold hold(cells.get());
  const auto first = cells->Bind(Place(1), 3, 3);
  cells->UnbindUnless(Place(1), 3, 3);
  EXPECT_EQ(cells->Bind(Place(1), 3, 3).number, first.number);
  cells->UnbindUnless(Place(2), 3, 4);
  EXPECT_TRUE(cells->Put(first, Bytes("one")));
  cells->MarkClean([] {});
  cells->UnbindUnless(Place(1), 4, 3);
  EXPECT_FALSE(cells->Put(first, Bytes("one")));
  const auto second = cells->Bind(Place(1), 4, 3);
  cells->UnbindUnless(Place(1), 4, 2);
  EXPECT_FALSE(cells->Put(second, Bytes("one")));
}

TEST_F(ValueCellsTest, WithoutAFreeCellAnotherValueLosesItsOwn) {
  const auto cells = Open();
  const ValueCells::Hold hold(cells.get());
  std::vector<ValueCells::Binding> bindings;
  for (std::uint64_t i = 0; i < ValueCells::kCells + 1; ++i) bindings.push_back(cells->Bind(Place(i), 3, 3));
  int lost = 0;
  for (const auto& binding : bindings) lost += cells->Put(binding, Bytes("one")) ? 0 : 1;
  EXPECT_EQ(lost, 1);
  EXPECT_TRUE(cells->Put(bindings.back(), Bytes("two")));
}

TEST_F(ValueCellsTest, WhatAnEarlierProcessPutIsTakenOver) {
  LeaveDirty();
  const auto cells = Open();
  EXPECT_TRUE(cells->is_dirty());
  EXPECT_EQ(DirtyData(*cells), "two");
}

TEST_F(ValueCellsTest, ASlotThatWasHalfWrittenDoesNotCount) {
  LeaveDirty();
  std::string bytes = ReadFile();
  ASSERT_EQ(bytes.size(), kFileSize);
  const std::size_t two = bytes.find("two");
  ASSERT_EQ((two - kFirstCell - kData) % 64, 0u);
  bytes.replace(two == kFirstCell + kData ? two + 64 : two - 64, 3, "xne");
  WriteFile(bytes);
  EXPECT_EQ(DirtyData(*Open()), "two");
}

TEST_F(ValueCellsTest, APutNeverTouchesTheDataThatCounts) {
  LeaveDirty();
  const std::string bytes = ReadFile();
  // Whichever of the two a kill leaves as the one that counts, it is whole.
  EXPECT_NE(bytes.find("one"), std::string::npos);
  EXPECT_NE(bytes.find("two"), std::string::npos);
}

TEST_F(ValueCellsTest, CellsOfAnotherStoreAreDiscarded) {
  LeaveDirty();
  EXPECT_FALSE(Open(2)->is_dirty());
  EXPECT_FALSE(Open(1)->is_dirty());
}

TEST_F(ValueCellsTest, AFileThatIsNoneOfOursIsMadeAnewByAnOpenerThatIsAlone) {
  for (const std::size_t at : {0u, 8u, 12u, 16u}) {  // magic, version, number of cells, epoch
    std::filesystem::remove(path_);
    LeaveDirty();
    std::string bytes = ReadFile();
    bytes[at] ^= 0x40;
    WriteFile(bytes);
    const auto cells = Open();
    EXPECT_FALSE(cells->is_dirty()) << at;
    const ValueCells::Hold hold(cells.get());
    EXPECT_TRUE(cells->Put(cells->Bind(Place(1), 3, 3), Bytes("new")));
  }
}

TEST_F(ValueCellsTest, AFileThatIsMissingCutOrOfAnotherStoreGives1015ToAnOpenerThatIsNotAlone) {
  ValueCells missing;
  EXPECT_EQ(missing.Open(path_, 1, false), platform::kErrorRegistryCorrupt);
  EXPECT_FALSE(std::filesystem::exists(path_));
  LeaveDirty();
  const std::string bytes = ReadFile();
  ValueCells other;
  EXPECT_EQ(other.Open(path_, 2, false), platform::kErrorRegistryCorrupt);
  EXPECT_EQ(ReadFile(), bytes);
  WriteFile(bytes.substr(0, 1000));
  ValueCells cut;
  EXPECT_EQ(cut.Open(path_, 1, false), platform::kErrorRegistryCorrupt);
}

TEST_F(ValueCellsTest, ACellWithAFieldThatCannotBeIsDropped) {
  struct Damage {
    const char* field;
    std::size_t at;
  };
  for (const Damage& damage : {Damage{"number", 7}, Damage{"state", 9}, Damage{"size", 17}, Damage{"slot", 22}}) {
    std::filesystem::remove(path_);
    LeaveDirty();
    std::string bytes = ReadFile();
    bytes[kFirstCell + damage.at] = 0x7F;
    WriteFile(bytes);
    EXPECT_FALSE(Open()->is_dirty()) << damage.field;
  }
  std::filesystem::remove(path_);
  LeaveDirty();
  std::string bytes = ReadFile();
  bytes.replace(kFirstCell + 24, 8, std::string(8, '\0'));  // the key
  WriteFile(bytes);
  EXPECT_FALSE(Open()->is_dirty());
}

TEST_F(ValueCellsTest, NoiseBehindTheHeaderIsReadWithoutHarm) {
  std::mt19937 random(11);
  for (int round = 0; round < 200; ++round) {
    std::filesystem::remove(path_);
    LeaveDirty();
    std::string bytes = ReadFile();
    for (int i = 0; i < 400; ++i) bytes[24 + random() % (bytes.size() - 24)] = static_cast<char>(random());
    WriteFile(bytes);
    const auto cells = Open();
    EXPECT_LE(DirtyData(*cells).size(), ValueCells::kCells * ValueCells::kMaxData);
    const ValueCells::Hold hold(cells.get());
    cells->MarkClean([] {});
    const auto binding = cells->Bind(Place(1), 3, 3);
    EXPECT_TRUE(cells->Put(binding, Bytes("new")));
  }
}

TEST_F(ValueCellsTest, AHolderThatEndedLeavesWhatItPut) {
  const auto cells = Open();
  ValueCells::Binding binding;
  {
    const ValueCells::Hold hold(cells.get());
    binding = cells->Bind(Place(1), 3, 3);
  }
  std::thread([&] {
    alignas(ValueCells::Hold) std::byte never_ended[sizeof(ValueCells::Hold)];
    new (never_ended) ValueCells::Hold(cells.get());
    cells->Put(binding, Bytes("one"));
  }).join();
  EXPECT_TRUE(cells->is_dirty());
  EXPECT_EQ(DirtyData(*cells), "one");
  const ValueCells::Hold hold(cells.get());
  EXPECT_EQ(hold.error(), 0u);
  EXPECT_TRUE(cells->Put(binding, Bytes("two")));
}

TEST_F(ValueCellsTest, TwoMappingsOfOneFileSeeEachOthersPuts) {
  const auto first = Open();
  const auto second = Open(1, false);
  ValueCells::Binding binding;
  {
    const ValueCells::Hold hold(first.get());
    binding = first->Bind(Place(1), 3, 3);
  }
  {
    const ValueCells::Hold hold(second.get());
    EXPECT_TRUE(second->Put(binding, Bytes("two")));
  }
  EXPECT_TRUE(first->is_dirty());
  EXPECT_EQ(DirtyData(*first), "two");
}

}  // namespace
}  // namespace varnel::embedded
