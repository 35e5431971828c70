#include "host/option_checks.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

TEST(OptionChecks, WholeNumbersOf64BitsAreTakenInBothForms) {
  for (const char* text : {"0", "1", "18446744073709551615", "0x10", "0xFFFFFFFFFFFFFFFF"}) {
    EXPECT_EQ(IsWholeNumber(text), "") << text;
  }
}

TEST(OptionChecks, ANumberThatDoesNotFitIsNoneInsteadOfTheGreatest) {
  EXPECT_EQ(IsWholeNumber("18446744073709551616"), "'18446744073709551616' does not fit in 64 bits");
  EXPECT_EQ(IsWholeNumber("0x10000000000000000"), "'0x10000000000000000' does not fit in 64 bits");
}

TEST(OptionChecks, ANegativeNumberIsNoneInsteadOfAHugeOne) {
  EXPECT_EQ(IsWholeNumber("-1"), "'-1' is negative");
  EXPECT_EQ(IsPositiveNumber("-3"), "'-3' is negative");
}

TEST(OptionChecks, WhatIsNoWholeNumberIsNone) {
  for (const std::string text : {"", "many", "1.5", "3x"}) {
    EXPECT_EQ(IsWholeNumber(text), "'" + text + "' is no whole number");
  }
}

TEST(OptionChecks, APositiveNumberIsAboveZero) {
  EXPECT_EQ(IsPositiveNumber("1"), "");
  EXPECT_EQ(IsPositiveNumber("0"), "'0' is not above 0");
}

}  // namespace
}  // namespace varnel::host
