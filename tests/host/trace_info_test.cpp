#include "host/trace_info.h"

#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "tests/host/trace_command.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

using support::Blob;
using testing::HasSubstr;

Blob SmallFile(const support::LogHeaderSpec& header = {}) {
  support::EventSpec event;
  event.stamp = header.origin_stamp + 10;
  event.payload = support::CounterPayload(1);
  Blob file = support::HeaderBuffer(header);
  support::Append(&file, support::Buffer({}, {support::Event(event), support::Event(event)}));
  return file;
}

TEST(TraceInfo, PrintsOneJsonObjectAFileWithEveryKey) {
  TemporaryFolder folder;
  support::LogHeaderSpec header;
  header.mode = 0x8000002;
  header.events_lost = 3;
  header.buffers_lost = 4;
  const std::string path = folder.Put("a.etl", SmallFile(header));
  const CommandResult result = RunCommand(TraceInfo, {{path}, true});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            "{\"file\":\"" + path +
                "\",\"logger_name\":\"TestSession\",\"buffer_size\":4096,\"clock_type\":1,\"perf_freq\":10000000,"
                "\"processors\":2,\"pointer_size\":8,\"log_file_mode\":\"0x08000002\","
                "\"start\":\"2020-11-16T11:33:20.000000Z\",\"end\":\"2020-11-16T11:33:30.000000Z\",\"buffers\":2,"
                "\"events\":3,\"events_lost\":3,\"buffers_lost\":4,\"skipped_bytes\":0,\"providers\":{"
                "\"{11223344-5566-7788-0102-030405060708}\":2,\"{68FDD900-4A3E-11D1-84F4-0000F80464E3}\":1}}\n");
}

TEST(TraceInfo, TimesThatTheHeaderDoesNotHaveAreNull) {
  TemporaryFolder folder;
  support::LogHeaderSpec header;
  header.start_time = 0;
  header.end_time = 0;
  const CommandResult result = RunCommand(TraceInfo, {{folder.Put("a.etl", SmallFile(header))}, true});
  EXPECT_THAT(result.out, HasSubstr("\"start\":null,\"end\":null,"));
}

TEST(TraceInfo, PrintsATableWithoutTheOption) {
  TemporaryFolder folder;
  const std::string path = folder.Put("a.etl", SmallFile());
  const CommandResult result = RunCommand(TraceInfo, {{path}, false});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.Lines().front(), path);
  EXPECT_THAT(result.out, HasSubstr("  session        TestSession\n"));
  EXPECT_THAT(result.out, HasSubstr("  clock          performance counter (1), 10000000 Hz\n"));
  EXPECT_THAT(result.out, HasSubstr("  events         3 read, 0 lost\n"));
  EXPECT_THAT(result.out, HasSubstr("             2   {11223344-5566-7788-0102-030405060708}\n"));
}

TEST(TraceInfo, CountsWhatItSkips) {
  TemporaryFolder folder;
  Blob bytes = SmallFile();
  bytes[4096] = std::byte{1};
  const CommandResult result = RunCommand(TraceInfo, {{folder.Put("a.etl", bytes)}, true});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("\"skipped_bytes\":4096,"));
}

TEST(TraceInfo, ABadFileIsToldAndTheOthersAreStillRead) {
  TemporaryFolder folder;
  const std::string bad = folder.Put("bad", Blob(100));
  const std::string good = folder.Put("good.etl", SmallFile());
  const CommandResult result = RunCommand(TraceInfo, {{bad, good}, true});
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("wardlet trace info: " + bad + ": byte 0: "));
  EXPECT_EQ(result.Lines().size(), 1u);
}

TEST(TraceInfo, NamesThatAreNoTextAreShownWithReplacements) {
#ifdef _WIN32
  GTEST_SKIP() << "names of files are text there";
#endif
  TemporaryFolder folder;
  support::LogHeaderSpec header;
  header.logger_name = std::u16string(1, char16_t{0xD800});
  const CommandResult result = RunCommand(TraceInfo, {{folder.Put("\xFF.etl", SmallFile(header))}, true});
  EXPECT_THAT(result.out, HasSubstr("\"logger_name\":\"\xEF\xBF\xBD\""));
  EXPECT_THAT(result.out, HasSubstr("/\xEF\xBF\xBD.etl\""));
}

TEST(TraceInfo, WithoutAFileIsWrongUse) {
  const CommandResult result = RunCommand(TraceInfo, {{}, false});
  EXPECT_EQ(result.code, 2);
  EXPECT_EQ(result.err, "wardlet trace info: no file was named\n");
}

TEST(TraceInfo, GivesTheFiguresOfAFileThatWindowsPacked) {
  const std::string path = VARNEL_SAMPLES_DIR "/etl/SelfDescribingSingleEvent.etl";
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "the sample files are not there";
  const CommandResult result = RunCommand(TraceInfo, {{path}, true});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("\"buffers\":3,\"events\":23,"));
  EXPECT_THAT(result.out, HasSubstr("\"skipped_bytes\":0,"));
  EXPECT_THAT(result.out, HasSubstr("\"{9B79EE91-B5FD-41C0-A243-4248E266E9D0}\":15"));
}

}  // namespace
}  // namespace varnel::host
