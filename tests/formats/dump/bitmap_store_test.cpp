#include "formats/dump/bitmap_store.h"

#include <gtest/gtest.h>

#include <set>

#include "open_dump.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kFirst = 0x8000;

struct Bitmap {
  std::uint64_t bits = 0;
  std::set<std::uint64_t> pages;
  std::string signature = "SDMPDUMP";
  std::uint64_t first = kFirst;
  std::optional<std::uint64_t> present;

  support::GrowingBytes Bytes() const {
    support::GrowingBytes out = support::MakeDumpHeader(6);
    out.Resize(kFirst);
    out.PutText(0x2000, signature);
    out.Put<std::uint64_t>(0x2020, first);
    out.Put<std::uint64_t>(0x2028, present.value_or(pages.size()));
    out.Put<std::uint64_t>(0x2030, bits);
    for (const std::uint64_t page : pages) {
      const std::size_t at = 0x2038 + page / 8;
      out.Put<std::byte>(at, out.bytes()[at] | std::byte(1u << (page % 8)));
    }
    return out;
  }
};

DumpProblem ProblemOf(const Bitmap& bitmap) {
  const support::DumpFileSource source(bitmap.Bytes().bytes());
  std::unique_ptr<PageStore> store;
  return BitmapStore::Open(source, &store);
}

TEST(BitmapStore, FindsEachPageBehindThoseWithASmallerNumber) {
  Bitmap bitmap;
  bitmap.bits = 40000;
  // Across words, and across what the index counts at once.
  for (std::uint64_t page = 3; page < bitmap.bits; page += page % 7 + 1) bitmap.pages.insert(page);
  const support::DumpFileSource source(bitmap.Bytes().bytes());
  std::unique_ptr<PageStore> store;
  ASSERT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  const auto expect = [&](std::uint64_t page) {
    if (bitmap.pages.count(page) == 0) {
      EXPECT_FALSE(store->OffsetOf(page)) << page;
    } else {
      const auto rank = std::distance(bitmap.pages.begin(), bitmap.pages.find(page));
      ASSERT_EQ(store->OffsetOf(page), kFirst + 0x1000 * static_cast<std::uint64_t>(rank)) << page;
    }
  };
  expect(39998);
  for (std::uint64_t page = 0; page <= bitmap.bits; ++page) expect(page);
  EXPECT_TRUE(store->CountsAgree());
  EXPECT_EQ(store->End(), kFirst + 0x1000 * bitmap.pages.size());
}

TEST(BitmapStore, CountsNoBitsBehindTheEndOfTheBitmap) {
  Bitmap bitmap{4099, {1, 4098, 4099, 4100, 4103}, "FDMPDUMP", kFirst, 2};
  const support::DumpFileSource source(bitmap.Bytes().bytes());
  std::unique_ptr<PageStore> store;
  ASSERT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  EXPECT_EQ(store->OffsetOf(4098), kFirst + 0x1000);
  EXPECT_FALSE(store->OffsetOf(4099));
  EXPECT_TRUE(store->CountsAgree());
}

TEST(BitmapStore, TellsThatTheCountIsNotThatOfTheBits) {
  Bitmap bitmap{4096, {1, 2, 3}, "SDMPDUMP", kFirst, 4};
  const support::DumpFileSource source(bitmap.Bytes().bytes());
  std::unique_ptr<PageStore> store;
  ASSERT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  EXPECT_FALSE(store->CountsAgree());
}

TEST(BitmapStore, MissesThePagesWhoseBitsAreCutOff) {
  Bitmap bitmap{40000, {1, 39000}, "SDMPDUMP", kFirst, {}};
  std::vector<std::byte> bytes = bitmap.Bytes().bytes();
  bytes.resize(0x2038 + 512 + 100);
  const support::DumpFileSource source(bytes);
  std::unique_ptr<PageStore> store;
  ASSERT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  EXPECT_EQ(store->OffsetOf(1), kFirst);
  EXPECT_FALSE(store->OffsetOf(39000));
  EXPECT_TRUE(store->CountsAgree());
}

TEST(BitmapStore, CountsALargeBitmapInFewReads) {
  Bitmap bitmap;
  bitmap.bits = std::uint64_t{1} << 26;  // 256 GiB
  bitmap.first = std::uint64_t{1} << 30;
  bitmap.present = 3;
  support::GrowingBytes bytes = bitmap.Bytes();
  for (const std::size_t page : {std::size_t{5}, std::size_t{700'000}, std::size_t{(1u << 26) - 1}}) {
    bytes.Put<std::uint8_t>(0x2038 + page / 8, static_cast<std::uint8_t>(1u << (page % 8)));
  }
  const SparseSource source(bytes.bytes(), std::uint64_t{1} << 31);
  std::unique_ptr<PageStore> store;
  ASSERT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  EXPECT_EQ(store->OffsetOf((1u << 26) - 1), bitmap.first + 2 * 0x1000);
  EXPECT_EQ(store->OffsetOf(700'000), bitmap.first + 0x1000);
  EXPECT_TRUE(store->CountsAgree());
  EXPECT_LE(source.reads, 200u);
}

TEST(BitmapStore, HasNothingWhereTheFileEndsBeforeIt) {
  const support::DumpFileSource source(support::MakeDumpHeader(6).bytes());
  std::unique_ptr<PageStore> store;
  EXPECT_EQ(BitmapStore::Open(source, &store), DumpProblem::kNone);
  EXPECT_EQ(store, nullptr);
}

TEST(BitmapStore, RefusesWhatItsSignaturesDoNotName) {
  EXPECT_EQ(ProblemOf({16, {1}, "XDMPDUMP", kFirst, {}}), DumpProblem::kDamagedBody);
  EXPECT_EQ(ProblemOf({16, {1}, "SDMPDAMP", kFirst, {}}), DumpProblem::kDamagedBody);
  EXPECT_EQ(ProblemOf({16, {1}, std::string("@\0\0\0RDMPDUMP", 12), kFirst, {}}), DumpProblem::kRanges);
}

TEST(BitmapStore, RefusesPlacesThatContradictEachOther) {
  EXPECT_EQ(ProblemOf({16, {1}, "SDMPDUMP", 0x2039, {}}), DumpProblem::kDamagedBody);  // within the bitmap
  EXPECT_EQ(ProblemOf({16, {1}, "SDMPDUMP", 0x203A, {}}), DumpProblem::kNone);
  EXPECT_EQ(ProblemOf({16, {1}, "SDMPDUMP", ~std::uint64_t{0}, {}}), DumpProblem::kDamagedBody);
  EXPECT_EQ(ProblemOf({16, {1}, "SDMPDUMP", kFirst, 17}), DumpProblem::kDamagedBody);
  EXPECT_EQ(ProblemOf({kMaxPages, {1}, "SDMPDUMP", kFirst << 24, {}}), DumpProblem::kNone);
  EXPECT_EQ(ProblemOf({kMaxPages + 1, {1}, "SDMPDUMP", kFirst << 24, {}}), DumpProblem::kDamagedBody);
}

}  // namespace
}  // namespace varnel::formats
