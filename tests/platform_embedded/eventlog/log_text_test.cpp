#include "platform/embedded/eventlog/log_text.h"

#include "log_files.h"

namespace varnel::embedded {
namespace {

class LogTextTest : public LogFiles {
 protected:
  std::unique_ptr<LogText> Open(const std::string& bytes, const std::string& otherwise = {}) const {
    auto text = LogText::Open(Write("System.xml", bytes), otherwise);
    EXPECT_TRUE(text.ok()) << (text.ok() ? "" : text.error().message);
    return text.ok() ? std::move(text).value() : nullptr;
  }
  static std::string All(const LogText& text) {
    std::string all(text.size() + 10, '\0');
    all.resize(text.ReadAt(0, all));
    return all;
  }
  /// Each byte in front of a zero.
  static std::string Utf16(const std::string& ascii) {
    std::string wide;
    for (const char c : ascii) wide.append({c, '\0'});
    return wide;
  }
};

TEST_F(LogTextTest, IsAUtf8FileAsItStands) {
  const auto text = Open("<Events>\xC3\xA4</Events>");
  EXPECT_EQ(All(*text), "<Events>\xC3\xA4</Events>");
  EXPECT_EQ(text->size(), 19u);
  EXPECT_EQ(text->replaced(), 0u);
}

TEST_F(LogTextTest, LeavesTheByteOrderMarkOut) {
  const auto text = Open("\xEF\xBB\xBFtext");
  EXPECT_EQ(text->size(), 4u);
  EXPECT_EQ(All(*text), "text");
}

TEST_F(LogTextTest, IsReadByPlaceAndToItsEndOnly) {
  const auto text = Open(
      "\xEF\xBB\xBF"
      "0123456789");
  char into[4];
  EXPECT_EQ(text->ReadAt(3, into), 4u);
  EXPECT_EQ(std::string(into, 4), "3456");
  EXPECT_EQ(text->ReadAt(8, into), 2u);
  EXPECT_EQ(std::string(into, 2), "89");
  EXPECT_EQ(text->ReadAt(10, into), 0u);
  EXPECT_EQ(text->ReadAt(~std::uint64_t{0}, into), 0u);
}

TEST_F(LogTextTest, OfTwoBytesACharacterIsConverted) {
  EXPECT_EQ(All(*Open("\xFF\xFE" + Utf16("<Events/>"))), "<Events/>");
  const std::string euro("\xFF\xFE\xAC\x20", 4);
  EXPECT_EQ(All(*Open(euro)), "\xE2\x82\xAC");
}

TEST_F(LogTextTest, ACharacterOnTheSeamOfTwoPiecesIsWhole) {
  // The first piece of 256 KiB ends inside of the sign: three bytes into the text behind the declaration.
  const std::string declaration = "<?xml version='1.0' encoding='EUC-JP'?>";
  const std::size_t piece = 256u << 10;
  const std::string before = declaration + std::string(piece - declaration.size() - 1, 'x');
  const auto text = Open(before +
                         "\xC6\xFC"
                         "end");
  EXPECT_EQ(All(*text), before +
                            "\xE6\x97\xA5"
                            "end");
  EXPECT_EQ(text->replaced(), 0u);
}

TEST_F(LogTextTest, CountsWhatItReplacesAndGoesOn) {
  // The second half of a pair without its first one; then a character that the file's end cuts.
  const auto text = Open(std::string("\xFF\xFE", 2) + Utf16("a") + std::string("\x00\xDC", 2) + Utf16("b") + "c");
  EXPECT_EQ(All(*text),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD");
  EXPECT_EQ(text->replaced(), 2u);
}

TEST_F(LogTextTest, TakesTheNamedEncodingOnlyWhereNothingElseHolds) {
  EXPECT_EQ(All(*Open("\xE4", "WINDOWS-1252")), "\xC3\xA4");
  EXPECT_EQ(All(*Open("\xC3\xA4", "WINDOWS-1252")), "\xC3\xA4") << "it is UTF-8 already";
  const std::string stated = "<?xml version='1.0' encoding='UTF-8'?>\xE4";
  EXPECT_EQ(All(*Open(stated, "WINDOWS-1252")), stated) << "it says that it is UTF-8";
  EXPECT_EQ(All(*Open("\xE4")), "\xE4") << "nobody names another one";
}

TEST_F(LogTextTest, AnEmptyFileIsAnEmptyText) {
  EXPECT_EQ(Open("")->size(), 0u);
  EXPECT_EQ(Open("", "WINDOWS-1252")->size(), 0u);
  EXPECT_EQ(Open("\xFF\xFE")->size(), 0u);
}

TEST_F(LogTextTest, WhatCannotBeReadIsAnErrorThatNamesIt) {
  const auto missing = LogText::Open(folder_ + "/none.xml", {});
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().message, folder_ + "/none.xml: No such file or directory");
  const auto folder = LogText::Open(folder_, {});
  ASSERT_FALSE(folder.ok());
  EXPECT_EQ(folder.error().message, folder_ + ": is no file");
  const auto unknown = LogText::Open(Write("a.xml", "<?xml version='1.0' encoding='KLINGON'?>"), {});
  ASSERT_FALSE(unknown.ok());
  EXPECT_EQ(unknown.error().message, folder_ + "/a.xml: the encoding KLINGON is not known");
}

TEST_F(LogTextTest, LeavesNoFileBehindItsConversion) {
  const std::string temporary = folder_ + "/tmp";
  std::filesystem::create_directory(temporary);
  ::setenv("TMPDIR", temporary.c_str(), 1);
  const auto text = Open("\xFF\xFE" + Utf16("text"));
  ::unsetenv("TMPDIR");
  EXPECT_EQ(All(*text), "text");
  EXPECT_TRUE(std::filesystem::is_empty(temporary));
}

}  // namespace
}  // namespace varnel::embedded
