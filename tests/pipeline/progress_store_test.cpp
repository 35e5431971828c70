#include "pipeline/progress_store.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/pipeline/pipeline_fixture.h"

namespace varnel {
namespace {

/// The scripted registry with calls that fail, told by name and number.
class FailingRegistry : public testing::FakeRegistry {
 public:
  struct Failure {
    unsigned nth;
    std::uint32_t code;
  };
  struct Asked {
    std::string operation;
    std::uint32_t options;
    std::uint32_t access;
    bool operator==(const Asked&) const = default;
  };
  std::vector<Asked> asked;  // of each open and create
  std::map<std::string, Failure> failures;
  std::map<std::string, unsigned> calls;
  std::vector<platform::HKEY> closed;

  std::uint32_t RegOpenKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                              platform::HKEY* result) override {
    asked.push_back({"open", options, access});
    if (const auto code = Fails("open")) return *code;
    return FakeRegistry::RegOpenKeyExW(key, sub_key, options, access, result);
  }
  std::uint32_t RegCreateKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                std::uint32_t access, platform::HKEY* result, std::uint32_t* disposition) override {
    asked.push_back({"create", options, access});
    if (const auto code = Fails("create")) return *code;
    return FakeRegistry::RegCreateKeyExW(key, sub_key, options, access, result, disposition);
  }
  std::uint32_t RegEnumValueW(platform::HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                              std::uint32_t* type, void* data, std::uint32_t* data_size) override {
    if (const auto code = Fails("enum")) return *code;
    return FakeRegistry::RegEnumValueW(key, index, name, name_length, type, data, data_size);
  }
  std::uint32_t RegSetValueExW(platform::HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t data_size) override {
    if (const auto code = Fails("set")) return *code;
    return FakeRegistry::RegSetValueExW(key, name, type, data, data_size);
  }
  std::uint32_t RegCloseKey(platform::HKEY key) override {
    closed.push_back(key);
    return FakeRegistry::RegCloseKey(key);
  }

 private:
  std::optional<std::uint32_t> Fails(const std::string& operation) {
    const unsigned nth = ++calls[operation];
    const auto found = failures.find(operation);
    if (found == failures.end() || found->second.nth != nth) return std::nullopt;
    return found->second.code;
  }
};

class ProgressStoreTest : public testing::PipelineTest {
 protected:
  ProgressStoreTest() { platform_.ports.registry = &registry_; }
  ~ProgressStoreTest() override { EXPECT_EQ(registry_.open_keys(), 0u); }

  std::uint32_t Read() {
    ProviderModuleCounter* records = nullptr;
    std::uint32_t count = 99;
    records_.clear();
    const std::uint32_t result = GetTargetProviderModulesCounter(&provider_, &records, &count);
    if (result != 0) {
      EXPECT_EQ(records, nullptr);
      EXPECT_EQ(count, 0u);
    } else {
      records_.assign(records, records + count);
      platform_.system.HeapFree(records);
    }
    return result;
  }

  void Store(const char16_t* name, const ProviderModuleCounter& record, std::size_t size = 24,
             std::uint32_t type = platform::kRegBinary) {
    char bytes[32] = {};
    std::memcpy(bytes, &record, sizeof(record));
    registry_.Set(kKeyWords, name, type, bytes, size);
  }

  std::uint32_t Save(const ProviderModuleCounter& record) {
    return SaveProviderModuleCounter(&provider_, &record, &key_);
  }
  void CloseKey() {
    registry_.RegCloseKey(key_);
    key_ = nullptr;
  }

  FailingRegistry registry_;
  std::vector<ProviderModuleCounter> records_;
};

TEST_F(ProgressStoreTest, AProviderSeenForTheFirstTimeHasNoRecordsAndGetsItsWholePath) {
  EXPECT_EQ(Read(), 0u);
  EXPECT_TRUE(records_.empty());
  EXPECT_TRUE(registry_.HasKey(kKeyWords));
}

TEST_F(ProgressStoreTest, TheKeysOutliveABootAndAreAskedForWithNoMoreThanWhatIsNeeded) {
  ASSERT_EQ(Read(), 0u);
  std::vector<FailingRegistry::Asked> expected;
  for (int level = 0; level < 5; ++level) {
    expected.push_back({"open", 0, 0x2001F});
    expected.push_back({"create", /*non-volatile*/ 0, 0x2001F});
  }
  EXPECT_EQ(registry_.asked, expected);
  registry_.asked.clear();
  ASSERT_EQ(Save({0x80, 1, 1}), 0u);
  CloseKey();
  expected = {{"create", /*non-volatile*/ 0, 0x20006}};
  EXPECT_EQ(registry_.asked, expected);
}

TEST_F(ProgressStoreTest, WhatWasSavedIsReadAgain) {
  EXPECT_EQ(Save({0x80, 0x1DC95B3A1C2D3E0, 77}), 0u);
  EXPECT_EQ(Save({0x100, 5, 6}), 0u);
  CloseKey();
  ASSERT_EQ(Read(), 0u);
  ASSERT_EQ(records_.size(), 2u);
  EXPECT_EQ(records_[0].dwKeyWord, 0x80u);
  EXPECT_EQ(records_[0].dwTimeStamp, 0x1DC95B3A1C2D3E0u);
  EXPECT_EQ(records_[0].dwCounter, 77u);
  EXPECT_EQ(records_[1].dwKeyWord, 0x100u);
}

TEST_F(ProgressStoreTest, ARecordIs24BytesUnderTheKeywordInSixteenDigits) {
  ASSERT_EQ(Save({0x80, 0x1122334455667788, 0xAABBCCDD}), 0u);
  CloseKey();
  const auto value = registry_.Get(kKeyWords, u"0x0000000000000080");
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(value->type, platform::kRegBinary);
  ASSERT_EQ(value->data.size(), 24u);
  const std::vector<std::uint8_t> expected{0x80, 0,    0,    0,    0,    0,    0,    0,    0x88, 0x77,
                                           0x66, 0x55, 0x44, 0x33, 0x22, 0x11, 0xDD, 0xCC, 0xBB, 0xAA};
  EXPECT_TRUE(std::equal(expected.begin(), expected.end(), value->data.begin()));
}

TEST_F(ProgressStoreTest, ThePaddingIsWrittenAsItStandsInMemoryAndIgnoredByReaders) {
  ProviderModuleCounter record;
  std::memset(static_cast<void*>(&record), 0xAB, sizeof(record));
  record.dwKeyWord = 0x80;
  record.dwTimeStamp = 1;
  record.dwCounter = 2;
  ASSERT_EQ(Save(record), 0u);
  CloseKey();
  const auto value = registry_.Get(kKeyWords, u"0x0000000000000080");
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ(std::memcmp(value->data.data(), &record, sizeof(record)), 0);
  ASSERT_EQ(Read(), 0u);
  EXPECT_EQ(records_.at(0).dwCounter, 2u);
}

TEST_F(ProgressStoreTest, TheKeyStaysOpenBetweenWrites) {
  ASSERT_EQ(Save({0x80, 1, 1}), 0u);
  const platform::HKEY key = key_;
  ASSERT_EQ(Save({0x80, 2, 2}), 0u);
  EXPECT_EQ(key_, key);
  EXPECT_EQ(registry_.calls["create"], 1u);
  CloseKey();
}

TEST_F(ProgressStoreTest, ANameIsReadAsANumberAndNotComparedAsText) {
  Store(u"0x10", {0x10, 1, 2});
  ASSERT_EQ(Read(), 0u);
  EXPECT_EQ(records_.size(), 1u);
}

TEST_F(ProgressStoreTest, ANameThatIsNoNumberReadsAsZero) {
  Store(u"abc", {0, 1, 2});
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(records_.size(), 1u);
  Store(u"abc", {8, 1, 2});
  EXPECT_EQ(Read(), 13u);
}

TEST_F(ProgressStoreTest, AValueWhoseNameAndContentDisagreeEndsTheReadForAllKeywords) {
  Store(u"0x0000000000000080", {0x80, 1, 2});
  Store(u"0x0000000000000100", {0x200, 1, 2});
  EXPECT_EQ(Read(), 13u);
}

TEST_F(ProgressStoreTest, ValuesOfAnotherTypeOrLengthAreSkipped) {
  registry_.SetDword(kKeyWords, u"number", 7);
  Store(u"0x0000000000000008", {8, 1, 2}, 24, platform::kRegSz);
  Store(u"0x0000000000000010", {0x10, 1, 2}, 20);
  Store(u"0x0000000000000080", {0x80, 1, 2});
  ASSERT_EQ(Read(), 0u);
  ASSERT_EQ(records_.size(), 1u);
  EXPECT_EQ(records_[0].dwKeyWord, 0x80u);
}

TEST_F(ProgressStoreTest, AValueOfMoreThan24BytesGives234) {
  Store(u"0x0000000000000080", {0x80, 1, 2}, 25);
  EXPECT_EQ(Read(), 234u);
}

TEST_F(ProgressStoreTest, WithoutMemoryTheResultIs14AndNothingIsLeft) {
  Store(u"0x0000000000000080", {0x80, 1, 2});
  Store(u"0x0000000000000100", {0x100, 1, 2});
  platform_.system.FailAllocation(2);
  EXPECT_EQ(Read(), 14u);
}

TEST_F(ProgressStoreTest, EachLevelThatCantBeCreatedEndsTheReadWithItsError) {
  for (unsigned level = 1; level <= 5; ++level) {
    registry_.RemoveKey(u"SOFTWARE\\KelvoCLSID");
    registry_.calls.clear();
    registry_.failures["create"] = {level, 5};
    EXPECT_EQ(Read(), 5u) << "level " << level;
    EXPECT_EQ(registry_.open_keys(), 0u);
  }
}

TEST_F(ProgressStoreTest, ALevelThatCantBeOpenedIsCreatedWhichOpensIt) {
  Store(u"0x0000000000000080", {0x80, 1, 2});
  registry_.failures["open"] = {3, 5};
  EXPECT_EQ(Read(), 0u);
  EXPECT_EQ(records_.size(), 1u);
}

TEST_F(ProgressStoreTest, AFailedEnumerationEndsTheReadWithItsError) {
  registry_.failures["enum"] = {1, 1018};
  EXPECT_EQ(Read(), 1018u);
}

TEST_F(ProgressStoreTest, TheDeepestKeyIsClosedFirst) {
  ASSERT_EQ(Read(), 0u);
  ASSERT_EQ(registry_.closed.size(), 5u);
  EXPECT_TRUE(std::is_sorted(registry_.closed.rbegin(), registry_.closed.rend()));
}

TEST_F(ProgressStoreTest, NullArgumentsGive87) {
  ProviderModuleCounter* records = nullptr;
  std::uint32_t count = 0;
  const ProviderModuleCounter record{};
  EXPECT_EQ(GetTargetProviderModulesCounter(nullptr, &records, &count), 87u);
  EXPECT_EQ(GetTargetProviderModulesCounter(&provider_, nullptr, &count), 87u);
  EXPECT_EQ(GetTargetProviderModulesCounter(&provider_, &records, nullptr), 87u);
  EXPECT_EQ(SaveProviderModuleCounter(nullptr, &record, &key_), 87u);
  EXPECT_EQ(SaveProviderModuleCounter(&provider_, nullptr, &key_), 87u);
  EXPECT_EQ(SaveProviderModuleCounter(&provider_, &record, nullptr), 87u);
}

TEST_F(ProgressStoreTest, AKeyThatCantBeCreatedGivesItsErrorAndTheNextWriteTriesAgain) {
  registry_.failures["create"] = {1, 5};
  EXPECT_EQ(Save({0x80, 1, 1}), 5u);
  EXPECT_EQ(key_, nullptr);
  EXPECT_EQ(Save({0x80, 1, 1}), 0u);
  CloseKey();
}

TEST_F(ProgressStoreTest, AFailedFirstWriteLeavesAStaleKeyToWhichLaterWritesFail) {
  registry_.failures["set"] = {1, 5};
  EXPECT_EQ(Save({0x80, 1, 1}), 5u);
  EXPECT_NE(key_, nullptr);
  EXPECT_EQ(registry_.open_keys(), 0u) << "the key was closed";
  EXPECT_EQ(Save({0x80, 2, 2}), 6u) << "and stays in use";
  EXPECT_FALSE(registry_.Get(kKeyWords, u"0x0000000000000080").has_value());
  key_ = nullptr;
}

TEST_F(ProgressStoreTest, ALaterWriteThatFailsKeepsTheKeyOpen) {
  ASSERT_EQ(Save({0x80, 1, 1}), 0u);
  registry_.failures["set"] = {2, 5};
  EXPECT_EQ(Save({0x80, 2, 2}), 5u);
  EXPECT_EQ(Save({0x80, 3, 3}), 0u);
  CloseKey();
}

TEST_F(ProgressStoreTest, TwoConsumersOfOneProviderEachFindTheirOwnRecord) {
  ASSERT_EQ(Save({0x80, 10, 1}), 0u);
  CloseKey();
  ASSERT_EQ(Save({0x100, 20, 2}), 0u);
  CloseKey();
  ASSERT_EQ(Read(), 0u);
  ASSERT_EQ(records_.size(), 2u);
  EXPECT_EQ(records_[0].dwTimeStamp, 10u);
  EXPECT_EQ(records_[1].dwTimeStamp, 20u);
}

}  // namespace
}  // namespace varnel
