#include "platform/embedded/tools/registry_dump.h"

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class RegistryDumpTest : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
    SetText(u"SOFTWARE\\Dump", nullptr, u"a \"quoted\" \u00E4");
    SetNumber(u"SOFTWARE\\Dump", u"number", 42);
    SetLongNumber(u"SOFTWARE\\Dump", u"long", ~std::uint64_t{0});
    Set(u"SOFTWARE\\Dump\\Sub", u"bytes", platform::kRegBinary, "\x01\xAB", 2);
    const char16_t list[] = u"one\0two\0";
    Set(u"SOFTWARE\\Dump\\Sub", u"list", platform::kRegMultiSz, list, sizeof list);
    Set(u"SOFTWARE\\Dump\\Sub", u"short", platform::kRegDword, "\x01", 1);
    Set(u"SOFTWARE\\Dump\\Sub", u"odd", 77, "", 0);
  }
  std::vector<std::string> Dump(const char* key, DumpForm form) {
    std::vector<std::string> lines;
    const auto status = DumpRegistry(*registry_, key, form, [&](std::string_view line) { lines.emplace_back(line); });
    if (!status.ok()) lines.push_back("error: " + status.error().message);
    return lines;
  }
};

TEST_F(RegistryDumpTest, AsTextAKeyStandsAboveItsValues) {
  EXPECT_EQ(
      Dump("HKLM\\SOFTWARE\\Dump", DumpForm::kText),
      (std::vector<std::string>{"[HKEY_LOCAL_MACHINE\\SOFTWARE\\Dump]", "  @ = REG_SZ \"a \\\"quoted\\\" \xC3\xA4\"",
                                "  \"number\" = REG_DWORD 42", "  \"long\" = REG_QWORD \"18446744073709551615\"",
                                "[HKEY_LOCAL_MACHINE\\SOFTWARE\\Dump\\Sub]", "  \"bytes\" = REG_BINARY \"01ab\"",
                                "  \"list\" = REG_MULTI_SZ [\"one\",\"two\"]", "  \"short\" = REG_DWORD \"01\"",
                                "  \"odd\" = type 77 \"\""}));
}

TEST_F(RegistryDumpTest, AsJsonEachKeyIsOneObjectOnALine) {
  EXPECT_EQ(Dump("hkey_local_machine\\software\\dump\\", DumpForm::kJsonLines),
            (std::vector<std::string>{"{\"key\":\"HKEY_LOCAL_MACHINE\\\\software\\\\dump\",\"values\":["
                                      "{\"name\":\"\",\"type\":\"REG_SZ\",\"data\":\"a \\\"quoted\\\" \xC3\xA4\"},"
                                      "{\"name\":\"number\",\"type\":\"REG_DWORD\",\"data\":42},"
                                      "{\"name\":\"long\",\"type\":\"REG_QWORD\",\"data\":\"18446744073709551615\"}]}",
                                      "{\"key\":\"HKEY_LOCAL_MACHINE\\\\software\\\\dump\\\\Sub\",\"values\":["
                                      "{\"name\":\"bytes\",\"type\":\"REG_BINARY\",\"data\":\"01ab\"},"
                                      "{\"name\":\"list\",\"type\":\"REG_MULTI_SZ\",\"data\":[\"one\",\"two\"]},"
                                      "{\"name\":\"short\",\"type\":\"REG_DWORD\",\"data\":\"01\"},"
                                      "{\"name\":\"odd\",\"type\":\"type 77\",\"data\":\"\"}]}"}));
}

TEST_F(RegistryDumpTest, WithoutAKeyBothRootsArePrinted) {
  const auto lines = Dump("", DumpForm::kText);
  EXPECT_EQ(lines.front(), "[HKEY_LOCAL_MACHINE]");
  EXPECT_NE(std::find(lines.begin(), lines.end(), "[HKEY_USERS]"), lines.end());
  EXPECT_NE(std::find(lines.begin(), lines.end(), "[HKEY_USERS\\S-1-5-18]"), lines.end());
}

TEST_F(RegistryDumpTest, ControlCharactersNeverBreakALine) {
  SetText(u"SOFTWARE\\Line", u"a\nb", u"c\r\nd");
  EXPECT_EQ(Dump("HKLM\\SOFTWARE\\Line", DumpForm::kText)[1], "  \"a\\u000ab\" = REG_SZ \"c\\u000d\\u000ad\"");
}

TEST_F(RegistryDumpTest, AKeyThatIsNotThereIsNamedAndNothingIsPrinted) {
  EXPECT_EQ(Dump("HKLM\\SOFTWARE\\Nothing", DumpForm::kText),
            (std::vector<std::string>{"error: HKLM\\SOFTWARE\\Nothing: no such key"}));
  EXPECT_EQ(Dump("Nowhere\\SOFTWARE", DumpForm::kText),
            (std::vector<std::string>{"error: Nowhere\\SOFTWARE: begins with no root such as HKEY_LOCAL_MACHINE"}));
}

}  // namespace
}  // namespace varnel::embedded
