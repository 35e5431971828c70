#include "analyzer/registry_key.h"

#include <gtest/gtest.h>

#include "analyzer/hresult.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using platform::kHkeyLocalMachine;

class RegistryKeyTest : public ::testing::Test {
 protected:
  RegistryKeyTest() { machine.registry.MakeKey(u"SOFTWARE\\Key"); }

  void Store(std::uint32_t type, const void* data, std::size_t size) {
    machine.registry.Set(u"SOFTWARE\\Key", u"value", type, data, size);
    EXPECT_EQ(key.Open(kHkeyLocalMachine, u"SOFTWARE\\Key", platform::kKeyRead), 0u);
  }

  testing::ScriptedPlatform machine;
  testing::FaultPlan plan;
  testing::FaultyPlatform watched{machine.ports, &plan};
  RegistryKey key;
};

TEST_F(RegistryKeyTest, ClosesItselfAndOnlyWhatItOpened) {
  {
    RegistryKey open;
    EXPECT_EQ(open.Open(kHkeyLocalMachine, u"SOFTWARE\\Key", platform::kKeyRead), 0u);
    RegistryKey made;
    EXPECT_EQ(made.Create(kHkeyLocalMachine, u"SOFTWARE\\New\\Key", platform::kKeyWrite), 0u);
    RegistryKey none;
    EXPECT_EQ(none.Open(kHkeyLocalMachine, u"SOFTWARE\\None", platform::kKeyRead), platform::kErrorFileNotFound);
    EXPECT_EQ(none.get(), nullptr);
  }
  EXPECT_EQ(plan.CountOf("RegCloseKey"), 2u);
  EXPECT_EQ(machine.registry.open_keys(), 0u);
}

TEST_F(RegistryKeyTest, ANumberOfAnotherTypeOrLongerThanFourBytesIsRefused) {
  const std::uint64_t number = 7;
  std::uint32_t value = 99;
  Store(platform::kRegBinary, &number, 4);
  EXPECT_EQ(QueryDword(key.get(), u"value", &value), kHresultInvalidArgument);
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegQword, &number, 8);
  EXPECT_EQ(QueryDword(key.get(), u"value", &value), HresultOf(platform::kErrorMoreData));
  EXPECT_EQ(QueryDword(key.get(), u"none", &value), HresultOf(platform::kErrorFileNotFound));
  EXPECT_EQ(value, 99u);
  machine.registry.SetDword(u"SOFTWARE\\Key", u"value", 7);
  EXPECT_EQ(QueryDword(key.get(), u"value", &value), kHresultOk);
  EXPECT_EQ(value, 7u);
}

TEST_F(RegistryKeyTest, ATextIsReadFromBothKindsAndWithoutItsZero) {
  std::u16string text = u"before";
  Store(platform::kRegSz, u"abc", 8);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultOk);
  EXPECT_EQ(text, u"abc");
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegExpandSz, u"%x%y", 8);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultOk);
  EXPECT_EQ(text, u"%x%y");
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegSz, u"ab\0cd", 12);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultOk);
  EXPECT_EQ(text, u"ab") << "ends at its first zero";
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegSz, u"ab", 3);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultOk);
  EXPECT_EQ(text, u"a") << "of half a character nothing is read";
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegSz, u"", 0);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultOk);
  EXPECT_EQ(text, u"");
}

TEST_F(RegistryKeyTest, ATextOfAnotherTypeIsRefusedAndAFailureIsItsError) {
  std::u16string text = u"before";
  Store(platform::kRegMultiSz, u"abc\0", 10);
  EXPECT_EQ(QueryText(key.get(), u"value", &text), kHresultInvalidArgument);
  EXPECT_EQ(QueryText(key.get(), u"none", &text), HresultOf(platform::kErrorFileNotFound));
  machine.registry.Set(u"SOFTWARE\\Key", u"value", platform::kRegSz, u"abc", 8);
  plan.Fail({"RegQueryValueExW", 2, false, 1450});
  EXPECT_EQ(QueryText(key.get(), u"value", &text), HresultOf(1450)) << "the read behind the size";
  EXPECT_EQ(text, u"before");
}

TEST_F(RegistryKeyTest, WritesANumberAndATextWithItsZero) {
  RegistryKey made;
  ASSERT_EQ(made.Create(kHkeyLocalMachine, u"SOFTWARE\\Key", platform::kKeyWrite), 0u);
  EXPECT_EQ(SetDword(made.get(), u"number", 0x12345678), 0u);
  EXPECT_EQ(SetExpandText(made.get(), u"text", u"%SystemRoot%\\x"), 0u);
  EXPECT_EQ(machine.registry.GetDword(u"SOFTWARE\\Key", u"number"), 0x12345678u);
  const auto stored = machine.registry.Get(u"SOFTWARE\\Key", u"text");
  ASSERT_TRUE(stored.has_value());
  EXPECT_EQ(stored->type, platform::kRegExpandSz);
  EXPECT_EQ(stored->data.size(), 14u * 2 + 2);
  plan.Fail("RegSetValueExW", 5);
  EXPECT_EQ(SetDword(made.get(), u"number", 1), 5u);
}

}  // namespace
}  // namespace varnel
