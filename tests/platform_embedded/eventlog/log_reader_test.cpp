#include "platform/embedded/eventlog/log_reader.h"

#include "log_files.h"

namespace varnel::embedded {
namespace {

using LogReaderTest = LogFiles;

TEST_F(LogReaderTest, GivesRecordsInTheOrderOfTheirNumbersWhateverTheFilesOrderAndTheirTimes) {
  std::string descending;
  std::string disorder;
  for (int id = 2000; id > 0; --id) descending += Xml(id, 7, 5000 - id) + "\r\n";
  for (int id = 0; id < 2000; ++id) disorder += Xml(1 + id * 7 % 2000, 7, id) + "\n";
  Numbers ascending;
  for (int id = 1; id <= 2000; ++id) ascending.push_back(id);
  for (const std::string& text : {descending, disorder}) {
    const std::string path = Write("System.xml", text);
    EXPECT_EQ(ReadAll({path}).numbers, ascending);
    EXPECT_EQ(ReadAll({path}, Descending()).numbers, Numbers(ascending.rbegin(), ascending.rend()));
  }
}

TEST_F(LogReaderTest, ReadsSeveralFilesAsOneLog) {
  const std::string xml = Write("System.xml", "<Events>" + Xml(5) + Xml(20) + "</Events>");
  const std::string own = Write("System-machine.xml", Xml(21) + "\r\n" + Xml(22) + "\r\n");
  const std::string evtx = Write("System.evtx", Evtx(10, 12));
  EXPECT_EQ(ReadAll({evtx, xml, own}).numbers, (Numbers{5, 10, 11, 12, 20, 21, 22}));
  EXPECT_EQ(ReadAll({evtx, xml, own}, Descending()).numbers, (Numbers{22, 21, 20, 12, 11, 10, 5}));
}

TEST_F(LogReaderTest, TakesTheSameNumberTimeAndProviderAsOneRecord) {
  const std::string a = Write("a.xml", Xml(1, 7, 10) + Xml(2, 7, 10) + Xml(3, 7, 10, "P") + Xml(3, 7, 10, "P"));
  const std::string b = Write("b.xml", Xml(1, 7, 10) + Xml(2, 7, 11) + Xml(3, 7, 10, "Q"));
  const ReadLog read = ReadAll({a, b});
  EXPECT_EQ(read.numbers, (Numbers{1, 2, 2, 3, 3})) << "another time or another provider is another record";
  EXPECT_EQ(read.counts.duplicates, 2u);
  EXPECT_EQ(read.counts.records, 5u);
}

TEST_F(LogReaderTest, GivesOnlyWhatTheQueryAsksFor) {
  LogReaderOptions options = Descending();
  options.filter.query = formats::EventQuery::Parse("*[System[EventID=41]]").value();
  EXPECT_EQ(ReadAll({Write("System.evtx", Evtx(1, 40))}, options).numbers, (Numbers{40, 30, 20, 10}));
}

TEST_F(LogReaderTest, AnEmptyLogHasNothing) {
  EXPECT_TRUE(ReadAll({}).numbers.empty());
  EXPECT_TRUE(ReadAll({Write("System.xml", "")}).numbers.empty());
  const auto reader = LogReader::Open({Write("System.evtx", "")}, {});
  ASSERT_TRUE(reader.ok());
  EXPECT_EQ(reader.value()->HighestRecordId(), 0u);
  EXPECT_EQ(reader.value()->NewestTime(), 0u);
}

TEST_F(LogReaderTest, AFileThatIsNotThereIsAnErrorThatNamesIt) {
  for (const char* name : {"/no/System.xml", "/no/System.evtx"}) {
    const auto reader = LogReader::Open({name}, {});
    ASSERT_FALSE(reader.ok());
    EXPECT_NE(reader.error().message.find(name), std::string::npos);
  }
}

TEST_F(LogReaderTest, StopsWhenTheTimeIsOverAndGoesOnWhereItWas) {
  std::string text;
  for (int id = 1; id <= 1000; ++id) text += Xml(id, id == 1000 ? 41 : 7);
  LogReaderOptions options;
  options.filter.query = formats::EventQuery::Parse("*[System[EventID=41]]").value();
  auto reader = LogReader::Open({Write("System.xml", text)}, options);
  ASSERT_TRUE(reader.ok());
  LogRecord record;
  const auto past = std::chrono::steady_clock::now() - std::chrono::seconds(1);
  int interruptions = 0;
  LogReader::Step step = reader.value()->Next(&record, past);
  while (step == LogReader::Step::kTimeOver && interruptions++ < 1000) step = reader.value()->Next(&record, past);
  EXPECT_EQ(step, LogReader::Step::kRecord);
  EXPECT_GT(interruptions, 1);
  EXPECT_EQ(record.record_id, 1000u);
}

TEST_F(LogReaderTest, TellsTheHighestNumberAndTheNewestTimeOfAllFiles) {
  const std::string a = Write("a.xml", Xml(9, 7, 100) + Xml(3, 7, 500));
  const std::string b = Write("b.evtx", Evtx(20, 30));
  const auto reader = LogReader::Open({a, b}, {});
  EXPECT_EQ(reader.value()->HighestRecordId(), 30u);
  EXPECT_EQ(reader.value()->NewestTime(), 500u);
}

TEST_F(LogReaderTest, AnEmptyLogIsToldFromAFileThatIsNone) {
  using namespace std::string_literals;
  EXPECT_TRUE(BeginsAsEventLog(Write("a.evtx", Evtx(1, 1)), ""));
  for (const char* text : {"<Events/>", "<Events></Events>", "\r\n<?xml version='1.0'?><!-- x --> <Events xmlns='y'>",
                           "<Event xmlns='z'>", "\xEF\xBB\xBF<Events>"}) {
    EXPECT_TRUE(BeginsAsEventLog(Write("a.xml", text), "")) << text;
  }
  EXPECT_TRUE(BeginsAsEventLog(Write("a.xml", "\xFF\xFE<\0E\0v\0e\0n\0t\0s\0/\0>\0"s), "")) << "UTF-16";
  for (const std::string& text :
       {""s, "hello"s, "<EventsOfMine/>"s, "<?xml"s, "<!-- <Events/>"s, "\0\0\0\0\0\0\0\0"s}) {
    EXPECT_FALSE(BeginsAsEventLog(Write("a.xml", text), "")) << text;
    EXPECT_FALSE(BeginsAsEventLog(Write("a.evtx", text), "")) << text;
  }
  EXPECT_FALSE(BeginsAsEventLog("/no/System.xml", ""));
}

TEST_F(LogReaderTest, KnowsBeforeTheFirstRecordWhetherThereIsOne) {
  EXPECT_FALSE(LogReader::Open({Write("a.xml", "<Events/>")}, {}).value()->HasRecords());
  EXPECT_TRUE(LogReader::Open({Write("a.xml", Xml(1))}, {}).value()->HasRecords());
  EXPECT_FALSE(LogReader::Open({Write("a.xml", "<Event>no number</Event>")}, {}).value()->HasRecords())
      << "a damaged one";
  EXPECT_FALSE(LogReader::Open({Write("a.evtx", std::string(70'000, 'x'))}, {}).value()->HasRecords())
      << "blocks that are no chunks";
  EXPECT_TRUE(LogReader::Open({Write("a.evtx", Evtx(1, 3))}, {}).value()->HasRecords());
}

}  // namespace
}  // namespace varnel::embedded
