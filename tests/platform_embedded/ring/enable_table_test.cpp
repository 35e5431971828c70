#include "platform/embedded/ring/enable_table.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using varnel::testing::kTestProvider;
using varnel::testing::TraceMachine;

class EnableTableTest : public ::testing::Test {
 protected:
  EnableTableTest() : path_(machine_.machine().SessionsPath() + "/providers") {
    table_ = EnableTable::OpenOrMake(path_).value();
  }
  TraceMachine machine_;
  std::string path_;
  std::unique_ptr<EnableTable> table_;
};

TEST_F(EnableTableTest, LevelsAndKeywordsPassAsThePlatformHasThem) {
  const struct {
    Enable enable;
    std::uint8_t level;
    std::uint64_t keyword;
    bool passes;
  } rows[] = {{{1, 5, ~0ull, 0}, 5, 1, true}, {{1, 3, ~0ull, 0}, 4, 1, false},   {{1, 0, ~0ull, 0}, 255, 1, true},
              {{1, 3, ~0ull, 0}, 0, 1, true}, {{1, 5, 0x10, 0}, 1, 0x20, false}, {{1, 5, 0x10, 0}, 1, 0, true},
              {{1, 5, 0, 0}, 1, 0x20, true},  {{1, 5, 0, 0x30}, 1, 0x20, false}, {{1, 5, 0, 0x30}, 1, 0x70, true}};
  for (const auto& row : rows) EXPECT_EQ(row.enable.Passes(row.level, row.keyword), row.passes);
}

TEST_F(EnableTableTest, AProviderKeepsItsEntryForEver) {
  const auto entry = table_->FindOrAdd(kTestProvider);
  ASSERT_TRUE(entry);
  EXPECT_EQ(table_->FindOrAdd(kTestProvider), entry);
  EXPECT_EQ(EnableTable::OpenOrMake(path_).value()->Find(kTestProvider), entry);
  EXPECT_FALSE(table_->Find(GUID{}));
}

TEST_F(EnableTableTest, AFullTableTakesNoFurtherProvider) {
  GUID guid{};
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    guid.Data1 = i + 1;
    ASSERT_EQ(table_->FindOrAdd(guid), i);
  }
  guid.Data1 = 0xFFFF;
  EXPECT_FALSE(table_->FindOrAdd(guid));
}

TEST_F(EnableTableTest, ASecondEnableOfASessionReplacesTheFirst) {
  const auto entry = *table_->FindOrAdd(kTestProvider);
  EXPECT_TRUE(table_->Set(entry, {7, 1, 2, 3}));
  EXPECT_TRUE(table_->Set(entry, {7, 4, 5, 6}));
  const auto enables = table_->EnablesOf(entry);
  ASSERT_EQ(enables.size(), 1u);
  EXPECT_EQ(enables[0].level, 4);
  EXPECT_EQ(enables[0].match_any, 5u);
  EXPECT_EQ(enables[0].match_all, 6u);
}

TEST_F(EnableTableTest, WhileEnablesChangeAnotherSessionsOwnAndAReplacedOneAreNeverMissed) {
  const auto index = *table_->FindOrAdd(kTestProvider);
  table_->Set(index, {1, 4, 6, 6});
  std::atomic<bool> done{false};
  std::thread changer([&] {
    for (std::uint64_t i = 0; i < 200'000; ++i) {
      const std::uint64_t keywords = i % 2 == 0 ? 5 : 6;
      table_->Set(index, {1, 4, keywords, keywords});  // replaced
      table_->Set(index, {2, 5, 0, 0});                // comes and goes beside it
      table_->Clear(index, 2);
    }
    done = true;
  });
  int missed = 0;
  while (!done) {
    const auto enables = table_->EnablesOf(index);
    if (enables.empty() || enables[0].session != 1 || !enables[0].Passes(4, 7)) ++missed;
  }
  changer.join();
  EXPECT_EQ(missed, 0);
}

TEST_F(EnableTableTest, EightSessionsCanEnableAProviderAndNoNinthUntilOneLeaves) {
  const auto entry = *table_->FindOrAdd(kTestProvider);
  for (std::uint64_t session = 1; session <= 8; ++session) EXPECT_TRUE(table_->Set(entry, {session, 5, 0, 0}));
  EXPECT_FALSE(table_->Set(entry, {9, 5, 0, 0}));
  table_->ClearSession(3);
  EXPECT_TRUE(table_->Set(entry, {9, 5, 0, 0}));
  EXPECT_EQ(table_->EnablesOf(entry).size(), 8u);
}

TEST_F(EnableTableTest, AChangeThatAKilledProcessLeftUndoneTakesNothingFromTheOtherSessionsAndIsMended) {
  const auto entry = *table_->FindOrAdd(kTestProvider);
  table_->Set(entry, {1, 5, 0, 0});
  table_->Set(entry, {2, 5, 0, 0});
  // As a process leaves it that dies after it took the bit of the second enable away.
  std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
  const std::uint32_t words[2] = {1, 5};
  file.seekp(static_cast<std::streamoff>(EntryPage(entry) + EntryInPage(entry)));
  file.write(reinterpret_cast<const char*>(words), sizeof words);
  file.close();
  ASSERT_EQ(table_->EnablesOf(entry).size(), 1u);
  EXPECT_EQ(table_->EnablesOf(entry)[0].session, 1u);
  const auto mended = EnableTable::OpenOrMake(path_);
  const auto enables = mended.value()->EnablesOf(entry);
  ASSERT_EQ(enables.size(), 1u);
  EXPECT_EQ(enables[0].session, 1u);
}

TEST_F(EnableTableTest, AFileThatIsNoTableIsRefusedAndMadeAnew) {
  for (const std::uintmax_t size : {std::uintmax_t{0}, std::uintmax_t{10}, std::filesystem::file_size(path_) - 1}) {
    std::filesystem::resize_file(path_, size);
    EXPECT_FALSE(EnableTable::Open(path_).ok());
  }
  const auto made = EnableTable::OpenOrMake(path_);
  ASSERT_TRUE(made.ok());
  EXPECT_TRUE(made.value()->Providers().empty());
}

TEST_F(EnableTableTest, SessionNumbersRiseAndTheirLowHalfIsNeverZero) {
  EXPECT_EQ(table_->NewSessionId(0), 1u);
  EXPECT_EQ(table_->NewSessionId(0), 2u);
  EXPECT_EQ(table_->NewSessionId(100), 101u) << "above every one that runs";
  EXPECT_EQ(table_->NewSessionId(0xFFFF), 0x10001u);
}

TEST_F(EnableTableTest, TheLastTimeOnlyRises) {
  table_->RaiseLastTime(100);
  table_->RaiseLastTime(50);
  EXPECT_EQ(table_->last_time(), 100);
  EXPECT_EQ(EnableTable::Open(path_).value()->last_time(), 100);
}

}  // namespace
