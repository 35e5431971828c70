#include "host/text_output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;

class TextOutputTest : public testing::Test {
 protected:
  void Put(const std::string& text) const { std::ofstream(path_, std::ios::binary) << text; }
  std::string Get() const {
    std::ostringstream text;
    text << std::ifstream(path_, std::ios::binary).rdbuf();
    return text.str();
  }
  std::unique_ptr<TextOutput> Open() const {
    auto output = TextOutput::AppendTo(path_);
    EXPECT_TRUE(output.ok());
    return std::move(output).value();
  }

  const TemporaryFolder folder_;
  const std::string path_ = folder_.PathOf("texts");
};

TEST_F(TextOutputTest, EachTextIsOneLine) {
  const auto output = Open();
  EXPECT_TRUE(output->Write("{\"a\":1}"));
  EXPECT_TRUE(output->Write("{}"));
  EXPECT_EQ(Get(), "{\"a\":1}\n{}\n");
}

TEST_F(TextOutputTest, ATextIsInTheFileWhenWriteReturns) {
  const auto output = Open();
  EXPECT_TRUE(output->Write("x"));
  EXPECT_EQ(Get(), "x\n");  // with the output still open
}

TEST_F(TextOutputTest, AppendsToWhatIsThere) {
  Put("before\n");
  EXPECT_TRUE(Open()->Write("after"));
  EXPECT_EQ(Get(), "before\nafter\n");
}

TEST_F(TextOutputTest, EndsALineThatWasCutBeforeItAppends) {
  Put("whole\n{\"cut");
  EXPECT_TRUE(Open()->Write("after"));
  EXPECT_EQ(Get(), "whole\n{\"cut\nafter\n");
}

TEST_F(TextOutputTest, AnEmptyFileGetsNoLineEndInFront) {
  Put("");
  EXPECT_TRUE(Open()->Write("first"));
  EXPECT_EQ(Get(), "first\n");
}

TEST_F(TextOutputTest, AFileThatCannotBeOpenedIsNamedWithTheReason) {
  const auto output = TextOutput::AppendTo(folder_.PathOf("none/texts"));
  ASSERT_FALSE(output.ok());
  EXPECT_THAT(output.error().message, HasSubstr(folder_.PathOf("none/texts") + ": No such file or directory"));
  EXPECT_FALSE(TextOutput::AppendTo(folder_.PathOf("")).ok());  // a folder
}

TEST_F(TextOutputTest, BytesThatAreNoUtf8AreReplacedAndCounted) {
  const auto output = Open();
  EXPECT_TRUE(
      output->Write("a\xFF\xFE"
                    "b"));
  EXPECT_TRUE(output->Write("\xE2\x82\xAC"));      // valid: the euro sign
  EXPECT_TRUE(output->Write("\xEF\xBF\xBD\x80"));  // one that was there already, and one more
  EXPECT_EQ(Get(),
            "a\xEF\xBF\xBD\xEF\xBF\xBD"
            "b\n\xE2\x82\xAC\n\xEF\xBF\xBD\xEF\xBF\xBD\n");
  EXPECT_EQ(output->replaced_bytes(), 3u);
}

TEST_F(TextOutputTest, TextsOfSeveralThreadsDoNotMix) {
  const auto output = Open();
  std::vector<std::thread> threads;
  for (char letter = 'a'; letter < 'e'; ++letter) {
    threads.emplace_back([&output, letter] {
      for (int i = 0; i < 500; ++i) output->Write(std::string(300, letter));
    });
  }
  for (std::thread& thread : threads) thread.join();
  std::istringstream lines(Get());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) EXPECT_EQ(line, std::string(300, line[0]));
  EXPECT_EQ(count, 2000);
}

}  // namespace
}  // namespace varnel::host
