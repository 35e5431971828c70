#include "host/trace_cat.h"

#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/host/trace_command.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

using support::Blob;
using testing::HasSubstr;

constexpr char kManifest[] = R"(<instrumentationManifest xmlns="http://schemas.microsoft.com/win/2004/08/events">
 <instrumentation><events>
  <provider name="Sample" guid="{11223344-5566-7788-0102-030405060708}" symbol="S" resourceFileName="r"
            messageFileName="m">
   <templates><template tid="T"><data name="Counter" inType="win:UInt32"/></template></templates>
   <events><event value="1" symbol="FIRST" template="T"/></events>
  </provider>
 </events></instrumentation></instrumentationManifest>)";

Blob Bytes(std::string_view text) {
  return support::ByteWriter().Text(text).Take();
}

/// Two events of the sample provider and one of another.
Blob SmallFile() {
  support::LogHeaderSpec header;
  support::EventSpec event;
  event.stamp = header.origin_stamp + 10;
  event.payload = support::CounterPayload(41);
  support::EventSpec other = event;
  other.stamp += 10;
  other.provider.Data1 = 0x99;
  Blob file = support::HeaderBuffer(header);
  support::Append(&file, support::Buffer({}, {support::Event(event), support::Event(event), support::Event(other)}));
  return file;
}

class TraceCatTest : public testing::Test {
 protected:
  TraceCatOptions Options() { return {{folder_.Put("a.etl", SmallFile())}, {}, {}, false}; }
  TemporaryFolder folder_;
};

TEST_F(TraceCatTest, PrintsEachEventAsOneLineOfJsonTheHeadersOwnFirst) {
  const CommandResult result = RunCommand(TraceCat, Options());
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  const auto lines = result.Lines();
  ASSERT_EQ(lines.size(), 4u);
  for (const std::string& line : lines) {
    cJSON* json = cJSON_Parse(line.c_str());
    EXPECT_NE(json, nullptr) << line;
    cJSON_Delete(json);
  }
  EXPECT_THAT(lines[0], HasSubstr("\"provider\":\"{68FDD900-4A3E-11D1-84F4-0000F80464E3}\""));
  EXPECT_THAT(lines[1], HasSubstr("\"payload\":\"29000000"));
}

TEST_F(TraceCatTest, DecodesByAManifest) {
  TraceCatOptions options = Options();
  options.manifests = {folder_.Put("m.man", Bytes(kManifest))};
  const auto lines = RunCommand(TraceCat, options).Lines();
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_THAT(lines[1], HasSubstr("\"provider_name\":\"Sample\",\"event\":\"FIRST\""));
  EXPECT_THAT(lines[1], HasSubstr("\"decoded_by\":\"manifest\",\"properties\":{\"Counter\":41"));
  EXPECT_THAT(lines[3], HasSubstr("\"payload\":")) << "another provider";
}

TEST_F(TraceCatTest, TakesTheEventsOfOneProviderOnly) {
  TraceCatOptions options = Options();
  for (const char* text : {"{11223344-5566-7788-0102-030405060708}", "11223344-5566-7788-0102-030405060708"}) {
    options.provider = text;
    EXPECT_EQ(RunCommand(TraceCat, options).Lines().size(), 2u) << text;
  }
}

TEST_F(TraceCatTest, CountsOverAllFilesInsteadOfPrinting) {
  TraceCatOptions options = Options();
  options.files.push_back(options.files.front());
  options.count = true;
  EXPECT_EQ(RunCommand(TraceCat, options).out, "8\n");
  options.provider = "{11223344-5566-7788-0102-030405060708}";
  EXPECT_EQ(RunCommand(TraceCat, options).out, "4\n");
}

TEST_F(TraceCatTest, AProviderThatIsNoGuidIsWrongUse) {
  TraceCatOptions options = Options();
  options.provider = "nobody";
  const CommandResult result = RunCommand(TraceCat, options);
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.err, "wardlet trace cat: \"nobody\" is no GUID\n");
  EXPECT_EQ(result.out, "");
}

TEST_F(TraceCatTest, AManifestThatIsNoneEndsTheCommandBeforeAnyEvent) {
  TraceCatOptions options = Options();
  options.manifests = {folder_.Put("m.man", Bytes("<no"))};
  CommandResult result = RunCommand(TraceCat, options);
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("wardlet trace cat: " + options.manifests[0] + ":"));
  EXPECT_EQ(result.out, "");
  options.manifests = {folder_.PathOf("none.man")};
  result = RunCommand(TraceCat, options);
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err, "wardlet trace cat: " + options.manifests[0] + ": No such file or directory\n");
}

TEST_F(TraceCatTest, ABadFileIsToldAndTheOthersAreStillPrinted) {
  TraceCatOptions options = Options();
  options.files.insert(options.files.begin(), folder_.Put("bad", Blob(5)));
  const CommandResult result = RunCommand(TraceCat, options);
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err, "wardlet trace cat: " + options.files[0] + ": byte 0: too short for a trace file\n");
  EXPECT_EQ(result.Lines().size(), 4u);
}

TEST_F(TraceCatTest, DamageIsTold) {
  Blob file = SmallFile();
  support::Patch16(&file, 4096 + 72, 5);
  TraceCatOptions options;
  options.files = {folder_.Put("b.etl", file)};
  const CommandResult result = RunCommand(TraceCat, options);
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.err, HasSubstr("bytes could not be read, in 1 damaged buffers"));
}

TEST_F(TraceCatTest, WithoutAFileIsWrongUse) {
  EXPECT_EQ(RunCommand(TraceCat, TraceCatOptions{}).code, 2);
}

TEST_F(TraceCatTest, ShowsTheTextsOfAFileThatWindowsWrote) {
  const std::string folder = VARNEL_SAMPLES_DIR;
  if (!std::filesystem::exists(folder + "/etl/HTTP_Server.etl")) GTEST_SKIP() << "the sample files are not there";
  TraceCatOptions options;
  options.files = {folder + "/etl/HTTP_Server.etl"};
  options.manifests = {folder + "/manifests/HTTP_Server.man"};
  const auto lines = RunCommand(TraceCat, options).Lines();
  ASSERT_EQ(lines.size(), 2042u);
  EXPECT_THAT(lines[1], HasSubstr("\"opcode_name\":\"ConnConnect\""));
  EXPECT_THAT(lines[1], HasSubstr("\"ConnectionObj\":\"0xFFFFFA8003E92010\",\"LocalAddrLength\":28"));
}

}  // namespace
}  // namespace varnel::host
