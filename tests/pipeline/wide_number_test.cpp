#include "pipeline/wide_number.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace varnel {
namespace {

struct Row {
  const char16_t* text;
  std::uint64_t value;
};

class ParseWideUint64Table : public ::testing::TestWithParam<Row> {};

TEST_P(ParseWideUint64Table, ReadsTheNumberAsItsPrefixSays) {
  EXPECT_EQ(ParseWideUint64(GetParam().text), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Texts, ParseWideUint64Table,
                         ::testing::Values(Row{u"0x0000000000000080", 0x80}, Row{u"0X10", 0x10}, Row{u"16", 16},
                                           Row{u"020", 16}, Row{u"0", 0}, Row{u"", 0}, Row{u"abc", 0},
                                           Row{u"0xabCDef", 0xABCDEF}, Row{u"0x", 0}, Row{u"0xg", 0},
                                           Row{u" \t\n+12", 12}, Row{u"12abc", 12}, Row{u"089", 0}, Row{u"-1", ~0ull},
                                           Row{u"0xFFFFFFFFFFFFFFFF", ~0ull}, Row{u"0x10000000000000000", ~0ull},
                                           Row{u"18446744073709551615", ~0ull}, Row{u"18446744073709551616", ~0ull},
                                           Row{u"0x12 34", 0x12}));

}  // namespace
}  // namespace varnel
