#include "host/dump_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

namespace varnel::host {
namespace {

using testing::HasSubstr;
using testing::Not;

TEST(DumpText, BeginsWithTheFileAndTellsFormMachineAndBuild) {
  DumpSummary summary;
  summary.file = "a.dmp";
  summary.size = 8192;
  summary.header.type = formats::DumpType::kHeaderOnly;
  summary.header.machine = 0x8664;
  summary.header.processors = 16;
  summary.header.major_version = 0xC;
  summary.header.build = 19041;
  summary.header.product_type = 3;
  summary.crashing_processor = 5;
  EXPECT_THAT(DumpAsText(summary), testing::StartsWith("a.dmp\n"
                                                       "  form           header only, 8192 bytes\n"
                                                       "  machine        x64, 16 processors, number 5 crashed\n"
                                                       "  build          19041, checked, server\n"
                                                       "  stop code      none\n"));
}

TEST(DumpText, TellsEachParameterOfTheStopCodeWithItsMeaning) {
  DumpSummary summary;
  summary.header.bug_check_code = 0x4A;
  summary.header.bug_check_parameters = {1, 2, 3, 4};
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  stop code      0x0000004A IRQL_GT_ZERO_AT_SYSTEM_SERVICE\n"
                                             "  parameter 1    0x0000000000000001  system call routine\n"
                                             "  parameter 2    0x0000000000000002  IRQL on the way back to user mode\n"
                                             "  parameter 3    0x0000000000000003\n"
                                             "  parameter 4    0x0000000000000004\n"));
}

TEST(DumpText, NamesTheModuleThatTheInstructionAndAParameterLieIn) {
  DumpSummary summary;
  summary.modules.resize(2);
  summary.modules[0].base = 0xFFFFF80000200000;
  summary.modules[0].size = 0x1000;
  summary.modules[0].name = u"b.sys";
  summary.modules[1].base = 0xFFFFF80000100000;
  summary.modules[1].size = 0x2000;
  summary.modules[1].name = u"a.sys";
  summary.header.bug_check_code = 0x1E;
  summary.header.bug_check_parameters = {0xFFFFFFFFC0000005, 0xFFFFF80000101FFF, 0xFFFFF80000102000,
                                         0xFFFFF80000200000};
  summary.header.context.emplace();
  const std::string text = DumpAsText(summary);
  EXPECT_THAT(text, HasSubstr("  parameter 2    0xFFFFF80000101FFF  instruction that raised it\n"
                              "                                     a.sys+0x1FFF\n"));
  EXPECT_THAT(text, HasSubstr("  parameter 3    0xFFFFF80000102000  the exception's first own parameter\n"
                              "  parameter 4    0xFFFFF80000200000  the exception's second own parameter\n"
                              "                                     b.sys+0x0\n"));
  EXPECT_THAT(text, HasSubstr("  instruction    0x0000000000000000\n"));
}

TEST(DumpText, TheMeaningOfAParameterIsWrappedAtTheWidthOfATerminal) {
  for (const std::uint32_t code : {0x1Au, 0x9Fu, 0x133u, 0x139u, 0x1C7u, 0xD1u}) {
    DumpSummary summary;
    summary.header.bug_check_code = code;
    std::istringstream text(DumpAsText(summary));
    for (std::string line; std::getline(text, line);) EXPECT_LE(line.size(), 80u) << line;
  }
}

TEST(DumpText, AStopCodeWithoutANameStandsAlone) {
  DumpSummary summary;
  summary.header.bug_check_code = 0x0F000000;
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  stop code      0x0F000000\n"));
}

TEST(DumpText, ControlCharactersOfADumpAreBlanks) {
  DumpSummary summary;
  summary.header.comment = "a\x1B[2Jb\nc";
  formats::DumpModule module;
  module.name = u"\u001B]0;x\u0007.sys";
  summary.modules.push_back(module);
  const std::string text = DumpAsText(summary);
  EXPECT_THAT(text, HasSubstr("  comment        a [2Jb c\n"));
  EXPECT_THAT(text, HasSubstr("   ]0;x .sys\n"));
}

TEST(DumpText, SaysHowMuchIsMissing) {
  DumpSummary summary;
  summary.completeness = formats::DumpCompleteness{100, 250, true};
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  complete       no, at least 150 bytes are missing at the end\n"));
  summary.completeness = formats::DumpCompleteness{100, 250, false};
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  complete       no, at least 150 bytes are missing at the end\n"));
  summary.completeness = formats::DumpCompleteness{250, 250, false};
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  complete       no, it contradicts itself\n"));
  summary.completeness = formats::DumpCompleteness{300, 250, true};
  EXPECT_THAT(DumpAsText(summary), HasSubstr("  complete       yes\n"));
}

TEST(DumpText, LeavesOutWhatTheDumpDoesNotHave) {
  const std::string text = DumpAsText(DumpSummary{});
  for (const char* row : {"time ", "uptime", "cr8", "thread", "complete", "comment", "modules", "stack", "secondary"}) {
    EXPECT_THAT(text, Not(HasSubstr(std::string("\n  ") + row))) << row;
    EXPECT_THAT(text, Not(HasSubstr(std::string("\n") + row))) << row;
  }
}

TEST(DumpText, ListsModulesStackAndSecondaryDataAtTheEnd) {
  DumpSummary summary;
  formats::DumpModule module;
  module.base = 0xFFFFF80000100000;
  module.size = 0x1000;
  module.time_date_stamp = 0x93DAD125;
  module.name = u"a.sys";
  summary.modules.push_back(module);
  module.path = u"\\x\\a.sys";
  summary.modules.push_back(module);
  summary.unloaded.push_back({u"b.sys", 0x1000, 0x2000, {}});
  summary.unloaded.push_back({u"c.sys", 0x3000, 0x4000, 132'583'535'027'654'321});
  summary.stack = DumpStack{0x10, 24, {{0x18, 0xFFFFF80000100004, u"a.sys", 4}}};
  summary.secondary_data.push_back({GUID{}, 0x3000, 5});
  EXPECT_THAT(DumpAsText(summary),
              testing::EndsWith("modules: base, size, time stamp, file\n"
                                "  0xFFFFF80000100000  0x00001000  0x93DAD125  a.sys\n"
                                "  0xFFFFF80000100000  0x00001000  0x93DAD125  \\x\\a.sys\n"
                                "unloaded modules: start, end, time, name\n"
                                "  0x0000000000001000  0x0000000000002000  b.sys\n"
                                "  0x0000000000003000  0x0000000000004000  2021-02-21T03:58:22.765432Z  c.sys\n"
                                "stack from 0x0000000000000010, 24 bytes: address, value, place in a module\n"
                                "  0x0000000000000018  0xFFFFF80000100004  a.sys+0x4\n"
                                "secondary data\n"
                                "  {00000000-0000-0000-0000-000000000000}  5 bytes         at byte 12288\n"));
}

}  // namespace
}  // namespace varnel::host
