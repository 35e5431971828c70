#include "host/error_text.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "formats/text_encoding.h"

namespace varnel::host {
namespace {

TEST(ErrorText, OfAnErrorOfTheSystemIsOneLineOfUtf8WithoutAnEnd) {
  for (const int number : {2, 5}) {  // no such file and no access, or another; every system has texts for both
    const std::string text = ErrorText({number, std::system_category()});
    EXPECT_GT(text.size(), 4u);
    EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos) << text;
    EXPECT_NE(text.back(), '.') << text;
    EXPECT_NE(text.back(), ' ') << text;
    EXPECT_EQ(formats::ToValidUtf8(text), text);
  }
}

TEST(ErrorText, DiffersFromErrorToError) {
  EXPECT_NE(ErrorText({2, std::system_category()}), ErrorText({5, std::system_category()}));
}

TEST(ErrorText, NamesANumberThatTheSystemDoesNotKnow) {
  const std::string text = ErrorText({0x1FFFF, std::system_category()});
  EXPECT_NE(text.find("131071"), std::string::npos) << text;
}

TEST(ErrorText, OfTheCLibrarysOwnErrorsIsTheirs) {
  const std::error_code error = std::make_error_code(std::errc::no_such_file_or_directory);
  EXPECT_EQ(ErrorText(error), error.message());
}

}  // namespace
}  // namespace varnel::host
