#include "platform/embedded/eventlog/embedded_event_log.h"

#include "formats/text_encoding.h"
#include "log_files.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/threads.h"

namespace varnel::embedded {
namespace {

using namespace platform;

constexpr char16_t kCrashes[] = u"*[System[(EventID=12 or EventID=41)]]";
constexpr std::uint32_t kReverse = kEvtQueryChannelPath | kEvtQueryReverseDirection;

class EmbeddedEventLogTest : public LogFiles {
 protected:
  void SetUp() override {
    LogFiles::SetUp();
    machine_ = Machine::Create(folder_ + "/m").value();
    logs_ = machine_->DrivePath('C') + "/Windows/System32/winevt/Logs";
    std::filesystem::create_directories(logs_);
    port_ = std::make_unique<EmbeddedEventLog>(machine_);
    SetLastError(0);
  }
  void Put(const std::string& name, const std::string& bytes) { std::ofstream(logs_ + "/" + name) << bytes; }

  std::uint32_t QueryError(const char16_t* path, const char16_t* query, std::uint32_t flags) {
    const EVT_HANDLE handle = port_->EvtQuery(nullptr, path, query, flags);
    EXPECT_EQ(handle, nullptr);
    return LastError();
  }
  /// The next event's text; empty at the end, with the last error set.
  std::u16string NextText(EVT_HANDLE set) {
    EVT_HANDLE event = nullptr;
    std::uint32_t returned = 0;
    if (!port_->EvtNext(set, 1, &event, kInfinite, 0, &returned)) return {};
    std::uint32_t used = 0;
    std::uint32_t properties = 9;
    EXPECT_FALSE(port_->EvtRender(nullptr, event, kEvtRenderEventXml, 0, nullptr, &used, &properties));
    EXPECT_EQ(LastError(), kErrorInsufficientBuffer);
    std::u16string text(used / 2, u'x');
    EXPECT_TRUE(port_->EvtRender(nullptr, event, kEvtRenderEventXml, used, text.data(), &used, &properties));
    EXPECT_EQ(properties, 0u);
    EXPECT_EQ(text.back(), u'\0') << "the size counts the end";
    EXPECT_TRUE(port_->EvtClose(event));
    text.pop_back();
    return text;
  }

  std::shared_ptr<Machine> machine_;
  std::string logs_;
  std::unique_ptr<EmbeddedEventLog> port_;
};

TEST_F(EmbeddedEventLogTest, GivesTheChannelNewestNumberFirstInTheReverseDirection) {
  Put("System.xml", Xml(12, 12, 900) + Xml(10, 12, 1000));
  Put("system-machine.xml", Xml(13, 41, 5) + "\r\n" + Xml(14, 7, 5) + "\r\n");
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"system", kCrashes, kReverse);
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(NextText(set), formats::Utf8ToUtf16(Xml(13, 41, 5)));
  EXPECT_EQ(NextText(set), formats::Utf8ToUtf16(Xml(12, 12, 900)));
  EXPECT_EQ(NextText(set), formats::Utf8ToUtf16(Xml(10, 12, 1000)));
  EXPECT_EQ(NextText(set), u"");
  EXPECT_EQ(LastError(), kErrorNoMoreItems);
  EXPECT_TRUE(port_->EvtClose(set));
}

TEST_F(EmbeddedEventLogTest, AMachineWithoutALogHasAnEmptyOne) {
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"System", nullptr, kEvtQueryChannelPath);
  ASSERT_NE(set, nullptr);
  EVT_HANDLE event = nullptr;
  std::uint32_t returned = 7;
  EXPECT_FALSE(port_->EvtNext(set, 1, &event, 0, 0, &returned));
  EXPECT_EQ(LastError(), kErrorNoMoreItems);
  EXPECT_EQ(returned, 0u);
  port_->EvtClose(set);
}

TEST_F(EmbeddedEventLogTest, RefusesWhatIsNoQuery) {
  EXPECT_EQ(QueryError(u"Application", u"*", kReverse), kErrorEvtChannelNotFound);
  EXPECT_EQ(QueryError(u"System", u"*[System[contains(EventID,'4')]]", kReverse), kErrorEvtInvalidQuery);
  EXPECT_EQ(QueryError(u"System", u"<QueryList></QueryList>", kReverse), kErrorEvtInvalidQuery);
  EXPECT_EQ(QueryError(nullptr, u"*", kReverse), kErrorInvalidParameter);
  EXPECT_EQ(QueryError(u"System", u"*", 0), kErrorInvalidParameter) << "neither a channel nor a file";
  EXPECT_EQ(QueryError(u"System", u"*", 3), kErrorInvalidParameter) << "both";
  EXPECT_EQ(QueryError(u"System", u"*", kReverse | kEvtQueryForwardDirection), kErrorInvalidParameter);
  EXPECT_EQ(QueryError(u"System", u"*", kReverse | 0x8000), kErrorInvalidParameter);
  EXPECT_EQ(port_->EvtQuery(port_.get(), u"System", u"*", kReverse), nullptr);
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
}

TEST_F(EmbeddedEventLogTest, ReadsOneFileByItsPath) {
  Put("x.xml", Xml(1) + Xml(2));
  const EVT_HANDLE set =
      port_->EvtQuery(nullptr, u"C:\\Windows\\System32\\winevt\\Logs\\x.xml", u"*", kEvtQueryFilePath);
  ASSERT_NE(set, nullptr);
  EXPECT_EQ(NextText(set), formats::Utf8ToUtf16(Xml(1)));
  port_->EvtClose(set);
  EXPECT_EQ(QueryError(u"C:\\Windows\\none.evtx", u"*", kEvtQueryFilePath), kErrorFileNotFound);
  EXPECT_EQ(QueryError(u"C:\\none\\none.evtx", u"*", kEvtQueryFilePath), kErrorPathNotFound);
  EXPECT_EQ(QueryError(u"C:\\Windows", u"*", kEvtQueryFilePath), kErrorAccessDenied);
}

TEST_F(EmbeddedEventLogTest, GivesSeveralAtATimeAndFewerAtTheEnd) {
  Put("System.xml", Xml(1) + Xml(2) + Xml(3));
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"System", u"*", kEvtQueryChannelPath);
  EVT_HANDLE events[4] = {};
  std::uint32_t returned = 0;
  ASSERT_TRUE(port_->EvtNext(set, 2, events, kInfinite, 0, &returned));
  EXPECT_EQ(returned, 2u);
  ASSERT_TRUE(port_->EvtNext(set, 4, events + 2, kInfinite, 0, &returned));
  EXPECT_EQ(returned, 1u);
  EXPECT_FALSE(port_->EvtNext(set, 0, events, kInfinite, 0, &returned));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_FALSE(port_->EvtNext(set, 1, nullptr, kInfinite, 0, &returned));
  EXPECT_FALSE(port_->EvtNext(set, 1, events, kInfinite, 0, nullptr));
  EXPECT_FALSE(port_->EvtNext(set, 1, events, kInfinite, 1, &returned));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_EQ(EmbeddedEventLog::CountsOf(set)->records, 3u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(port_->EvtClose(events[i]));
  port_->EvtClose(set);
}

TEST_F(EmbeddedEventLogTest, AnswersThatTheTimeIsOverAndGoesOn) {
  std::string text;
  for (int id = 1; id <= 500; ++id) text += Xml(id, id == 500 ? 41 : 7);
  Put("System.xml", text);
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"System", kCrashes, kEvtQueryChannelPath);
  EVT_HANDLE event = nullptr;
  std::uint32_t returned = 0;
  int waits = 0;
  while (!port_->EvtNext(set, 1, &event, 0, 0, &returned) && waits < 500) {
    ASSERT_EQ(LastError(), kErrorTimeout);
    ++waits;
  }
  EXPECT_GT(waits, 0);
  EXPECT_EQ(returned, 1u);
  port_->EvtClose(event);
  port_->EvtClose(set);
}

TEST_F(EmbeddedEventLogTest, AHandleThatIsClosedOrOfAnotherKindIs6) {
  Put("System.xml", Xml(1));
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"System", u"*", kEvtQueryChannelPath);
  EVT_HANDLE event = nullptr;
  std::uint32_t returned = 0;
  std::uint32_t used = 0;
  ASSERT_TRUE(port_->EvtNext(set, 1, &event, kInfinite, 0, &returned));
  EXPECT_FALSE(port_->EvtNext(event, 1, &event, kInfinite, 0, &returned));
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  EXPECT_FALSE(port_->EvtRender(nullptr, set, kEvtRenderEventXml, 0, nullptr, &used, nullptr));
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  EXPECT_FALSE(port_->EvtRender(set, event, kEvtRenderEventXml, 0, nullptr, &used, nullptr));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_FALSE(port_->EvtRender(nullptr, event, kEvtRenderEventXml, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(LastError(), kErrorInvalidParameter);
  EXPECT_FALSE(port_->EvtRender(nullptr, event, kEvtRenderEventValues, 0, nullptr, &used, nullptr));
  EXPECT_EQ(LastError(), kErrorNotSupported);
  EXPECT_TRUE(port_->EvtClose(set));
  EXPECT_FALSE(port_->EvtClose(set));
  EXPECT_EQ(LastError(), kErrorInvalidHandle);
  EXPECT_FALSE(port_->EvtRender(nullptr, event, kEvtRenderEventXml, 2, &used, &used, nullptr));
  EXPECT_EQ(LastError(), kErrorInsufficientBuffer) << "an event outlives its result set";
  EXPECT_TRUE(port_->EvtClose(event));
  EXPECT_FALSE(port_->EvtClose(nullptr));
  EXPECT_FALSE(EmbeddedEventLog::CountsOf(set));
}

TEST_F(EmbeddedEventLogTest, DamageNeverFailsTheNextEvent) {
  std::string log = Evtx(1, 1000);
  for (std::size_t at = 5000; at < 4096 + 65536; at += 997) log[at] = '\x55';
  Put("System.evtx", log);
  Put("System.xml", Xml(2000) + Xml(2001).substr(0, 90));
  const EVT_HANDLE set = port_->EvtQuery(nullptr, u"System", u"*", kReverse);
  ASSERT_NE(set, nullptr);
  std::size_t count = 0;
  while (!NextText(set).empty()) ++count;
  EXPECT_EQ(LastError(), kErrorNoMoreItems);
  EXPECT_GT(count, 500u);
  EXPECT_GT(EmbeddedEventLog::CountsOf(set)->skipped, 0u);
  port_->EvtClose(set);
}

TEST_F(EmbeddedEventLogTest, ALogWhoseReaderCannotBeStartedIs1500) {
  std::string log = Evtx(1, 3);
  log[4096 + 600] = '\x55';
  Put("System.evtx", log);
  EmbeddedEventLog port(machine_, {folder_ + "/none", 1000});
  EXPECT_EQ(port.EvtQuery(nullptr, u"System", u"*", kReverse), nullptr);
  EXPECT_EQ(LastError(), 1500u);
}

}  // namespace
}  // namespace varnel::embedded
