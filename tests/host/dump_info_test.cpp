#include "host/dump_info.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/exit_code.h"
#include "tests/host/golden_json.h"
#include "tests/host/small_dump.h"
#include "tests/host/trace_command.h"

namespace varnel::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class InfoOfASample : public testing::TestWithParam<const char*> {};

// The golden files come from the bytes by way of golden/dump_info/from_bytes.py, which shares nothing with the program.
TEST_P(InfoOfASample, TellsWhatItsBytesSay) {
  const std::filesystem::path sample = std::filesystem::path(VARNEL_SAMPLES_DIR) / "dmp" / GetParam();
  if (!std::filesystem::exists(sample)) GTEST_SKIP() << "the sample files are not there";
  const CommandResult result = RunCommand(DumpInfo, {{sample.string()}, true});
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.err, "");
  const Json told = ParsedJson(result.out);
  ASSERT_NE(told, nullptr) << result.out;
  EXPECT_EQ(cJSON_GetStringValue(cJSON_GetObjectItem(told.get(), "file")), sample.string());
  cJSON_ReplaceItemInObject(told.get(), "file", cJSON_CreateString(GetParam()));
  const Json golden = GoldenJson("dump_info/" + std::string(GetParam()) + ".json");
  ASSERT_NE(golden, nullptr);
  EXPECT_EQ(FirstDifference(told.get(), golden.get(), ""), "");
}

INSTANTIATE_TEST_SUITE_P(DumpInfo, InfoOfASample,
                         testing::Values("040124-5218-01.dmp", "040124-5515-01.dmp", "082325-12593-01.dmp",
                                         "083125-14875-01.dmp", "100623-4953-01.dmp", "102622-12546-01.dmp",
                                         "102622-15671-01.dmp", "102622-30093-01.dmp",
                                         "coredump_win10_64bit_stripped.raw", "coredump_win7_32bit_stripped.raw",
                                         "triage_x64.dmp"),
                         [](const testing::TestParamInfo<const char*>& info) {
                           std::string name = info.param;
                           for (char& c : name) {
                             if (c == '-' || c == '.') c = '_';
                           }
                           return name;
                         });

TEST(DumpInfo, IsTextForAPersonWithoutTheOption) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", SmallDump());
  const CommandResult result = RunCommand(DumpInfo, {{path}, false});
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_EQ(result.Lines().front(), path);
  EXPECT_THAT(result.out, HasSubstr("  form           small, 9220 bytes\n"));
  EXPECT_THAT(result.out, HasSubstr("  stop code      0x1000007E SYSTEM_THREAD_EXCEPTION_NOT_HANDLED_M\n"));
  EXPECT_THAT(result.out, HasSubstr("  complete       yes\n"));
  EXPECT_THAT(result.out, HasSubstr("  0xFFFF800000000020  0xFFFFF80000300FFF  a.sys+0xFFF\n"));
}

TEST(DumpInfo, AFileThatIsCutShortIsShownWithWhatItHas) {
  TemporaryFolder folder;
  DumpBytes bytes = SmallDump();
  bytes.resize(0x2300);
  const CommandResult result = RunCommand(DumpInfo, {{folder.Put("a.dmp", bytes)}, true});
  EXPECT_EQ(result.code, kExitGood);
  EXPECT_THAT(result.out, HasSubstr("\"completeness\":{\"complete\":false,"));
  EXPECT_THAT(result.out, HasSubstr("\"stack\":{\"start\":\"0xFFFF800000000010\",\"bytes\":48,"));
}

TEST(DumpInfo, AFileThatEndsWithinItsHeaderIsToldWithThePlace) {
  TemporaryFolder folder;
  DumpBytes bytes = SmallDump();
  bytes.resize(100);
  const std::string path = folder.Put("a.dmp", bytes);
  const CommandResult result = RunCommand(DumpInfo, {{path}, true});
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("wardlet dump info: " + path + ": byte 100: "));
}

TEST(DumpInfo, ABadFileIsToldAndTheOthersAreStillShown) {
  TemporaryFolder folder;
  const std::string none = folder.PathOf("none.dmp");
  const std::string other = folder.Put("other.dmp", DumpBytes(0x2000));
  const std::string good = folder.Put("good.dmp", HeaderOf32Bits());
  const CommandResult result = RunCommand(DumpInfo, {{none, other, good}, true});
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, HasSubstr("wardlet dump info: " + none + ": No such file or directory\n"));
  EXPECT_THAT(result.err, HasSubstr("wardlet dump info: " + other + ": byte 0: "));
  ASSERT_EQ(result.Lines().size(), 1u);
  EXPECT_THAT(result.out, HasSubstr("\"machine\":\"x86\""));
}

TEST(DumpInfo, OfAFormThatCantBeReadTheHeaderIsShownAndThePlaceTold) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", HeaderOf(10));
  const CommandResult result = RunCommand(DumpInfo, {{path}, true});
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, StartsWith("wardlet dump info: " + path + ": byte 3992: "));
  EXPECT_THAT(result.out, HasSubstr("\"form\":\"ranges\",\"dump_type\":10,"));
}

TEST(DumpInfo, OfADamagedListOfMemoryRunsItsPlaceInTheHeaderIsTold) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.dmp", HeaderOf(1));
  const CommandResult result = RunCommand(DumpInfo, {{path}, true});
  EXPECT_EQ(result.code, kExitFailed);
  EXPECT_THAT(result.err, StartsWith("wardlet dump info: " + path + ": byte 136: "));
  EXPECT_THAT(result.out, HasSubstr("\"form\":\"complete\""));
}

TEST(DumpInfo, WithoutAFileIsWrongUse) {
  const CommandResult result = RunCommand(DumpInfo, {{}, false});
  EXPECT_EQ(result.code, kExitWrongUse);
  EXPECT_EQ(result.err, "wardlet dump info: no file was named\n");
}

TEST(DumpInfo, AnOutputThatTakesNothingIsAFailure) {
  TemporaryFolder folder;
  std::FILE* const full = std::fopen("/dev/full", "w");
  std::FILE* const err = std::tmpfile();
  const int code = DumpInfo({{folder.Put("a.dmp", SmallDump())}, true}, full, err);
  std::fclose(full);
  EXPECT_EQ(code, kExitFailed);
  EXPECT_THAT(Drain(err), HasSubstr("wardlet dump info: the output could not be written: "));
}

}  // namespace
}  // namespace varnel::host
