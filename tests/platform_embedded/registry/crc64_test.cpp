#include "platform/embedded/registry/crc64.h"

#include <gtest/gtest.h>

#include <string>

#include "copy_builder.h"

namespace varnel::embedded {
namespace {

std::uint64_t SumOf(const std::string& text) {
  Crc64 sum;
  sum.Add(std::as_bytes(std::span(text.data(), text.size())));
  return sum.value();
}

TEST(Crc64, GivesThePublishedCheckValue) {
  EXPECT_EQ(SumOf("123456789"), 0x995DC9BBDF1939FAu);
  EXPECT_EQ(SumOf(""), 0u);
}

TEST(Crc64, AgreesWithTheDivisionBitByBit) {
  std::string text;
  for (int i = 0; i < 1000; ++i) text.push_back(static_cast<char>(i * 37));
  EXPECT_EQ(SumOf(text), CopyBuilder::Sum(text));
}

TEST(Crc64, PiecesGiveTheSumOfTheWhole) {
  const std::string text = "flushed copy";
  Crc64 sum;
  for (const char& c : text) sum.Add(std::as_bytes(std::span(&c, 1)));
  EXPECT_EQ(sum.value(), SumOf(text));
}

}  // namespace
}  // namespace varnel::embedded
