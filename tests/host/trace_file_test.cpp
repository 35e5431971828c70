#include "host/trace_file.h"

#include <gtest/gtest.h>

#include "tests/host/trace_command.h"
#include "tests/support/etl_bytes.h"

namespace varnel::host {
namespace {

TEST(TraceFile, TimesAreIsoInUtcCutToTheDigitsAskedFor) {
  EXPECT_EQ(IsoTime(0, TimeDigits::kTicks), "1601-01-01T00:00:00.0000000Z");
  EXPECT_EQ(IsoTime(131190257857870499, TimeDigits::kTicks), "2016-09-22T13:49:45.7870499Z");
  EXPECT_EQ(IsoTime(131190257857870499, TimeDigits::kMicroseconds), "2016-09-22T13:49:45.787049Z");
  EXPECT_EQ(IsoTime(133'536'383'999'999'999, TimeDigits::kTicks), "2024-02-28T23:59:59.9999999Z");
  EXPECT_EQ(IsoTime(133'536'384'000'000'000, TimeDigits::kTicks), "2024-02-29T00:00:00.0000000Z");
  EXPECT_EQ(IsoTime(2650467743999999999, TimeDigits::kTicks), "9999-12-31T23:59:59.9999999Z");
}

TEST(TraceFile, TimesBeyondTheCalendarAreShownAsNumbers) {
  EXPECT_EQ(IsoTime(2650467744000000000, TimeDigits::kTicks), "2650467744000000000");
  EXPECT_EQ(IsoTime(-1, TimeDigits::kTicks), "-1");
  EXPECT_EQ(IsoTime(INT64_MAX, TimeDigits::kTicks), "9223372036854775807");
}

struct Opened {
  bool good = false;
  std::string err;
};
Opened Open(const std::string& path) {
  std::FILE* err = std::tmpfile();
  const auto file = OpenTraceFile(path, "trace x", err);
  return {file != nullptr, Drain(err)};
}

TEST(TraceFile, OneLineTellsFilePlaceAndReasonOfABadFile) {
  TemporaryFolder folder;
  const std::string text = folder.Put("text", support::Blob(4096, std::byte{'t'}));
  EXPECT_EQ(Open(text).err, "wardlet trace x: " + text + ": byte 0: no trace file: no buffer header at its start\n");
  const std::string data = folder.Put("data", support::Buffer({}, {}));
  EXPECT_EQ(Open(data).err,
            "wardlet trace x: " + data + ": byte 72: no trace file: its first event is no log file header\n");
  const std::string none = folder.PathOf("none");
  EXPECT_EQ(Open(none).err, "wardlet trace x: " + none + ": No such file or directory\n");
  EXPECT_EQ(Open(folder.PathOf("")).err, "wardlet trace x: " + folder.PathOf("") + ": is a folder\n");
  const std::string empty = folder.Put("empty", {});
  EXPECT_EQ(Open(empty).err, "wardlet trace x: " + empty + ": byte 0: too short for a trace file\n");
}

TEST(TraceFile, AGoodFileOpensWithoutAWord) {
  TemporaryFolder folder;
  const Opened opened = Open(folder.Put("a.etl", support::HeaderBuffer({})));
  EXPECT_TRUE(opened.good);
  EXPECT_EQ(opened.err, "");
}

TEST(TraceFile, DamageIsToldAfterTheFileWasRead) {
  TemporaryFolder folder;
  support::Blob bytes = support::HeaderBuffer({});
  support::Append(&bytes, support::Buffer({}, {}));
  bytes[4096] = std::byte{3};
  const std::string path = folder.Put("a.etl", bytes);
  std::FILE* err = std::tmpfile();
  const auto file = OpenTraceFile(path, "trace x", err);
  ASSERT_NE(file, nullptr);
  while (file->reader->Next() != nullptr) {
  }
  TellDamage(*file, "trace x", err);
  EXPECT_EQ(Drain(err), "wardlet trace x: " + path + ": 4096 bytes could not be read, in 1 damaged buffers\n");
}

TEST(TraceFile, AnOutputThatCannotBeWrittenIsTold) {
  std::FILE* full = std::fopen("/dev/full", "w");
  if (full == nullptr) GTEST_SKIP() << "this system has no full device";
  std::fputs("text", full);
  std::FILE* err = std::tmpfile();
  EXPECT_FALSE(FinishOutput(full, "trace x", err));
  EXPECT_EQ(Drain(err), "wardlet trace x: the output could not be written: No space left on device\n");
  std::fclose(full);
}

}  // namespace
}  // namespace varnel::host
