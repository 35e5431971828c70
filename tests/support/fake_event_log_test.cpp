#include "tests/support/fake_event_log.h"

#include <gtest/gtest.h>

#include "tests/support/last_error.h"

namespace varnel::testing {
namespace {

using platform::EVT_HANDLE;

TEST(FakeEventLog, GivesTheTextsInTheirOrderThen259) {
  FakeEventLog log;
  log.AddEvent(u"<a/>");
  log.AddEvent(u"<b/>");
  const EVT_HANDLE query = log.EvtQuery(nullptr, u"System", u"*", platform::kEvtQueryChannelPath);
  std::uint32_t returned = 0;
  for (const std::u16string text : {u"<a/>", u"<b/>"}) {
    EVT_HANDLE event = nullptr;
    ASSERT_TRUE(log.EvtNext(query, 1, &event, ~0u, 0, &returned));
    EXPECT_EQ(returned, 1u);
    std::uint32_t used = 0;
    std::uint32_t properties = 7;
    EXPECT_FALSE(log.EvtRender(nullptr, event, platform::kEvtRenderEventXml, 0, nullptr, &used, &properties));
    EXPECT_EQ(g_last_error, platform::kErrorInsufficientBuffer);
    EXPECT_EQ(used, 10u);
    char16_t room[5];
    EXPECT_TRUE(log.EvtRender(nullptr, event, platform::kEvtRenderEventXml, sizeof room, room, &used, &properties));
    EXPECT_EQ(room, text);
    EXPECT_TRUE(log.EvtClose(event));
  }
  EVT_HANDLE none = nullptr;
  EXPECT_FALSE(log.EvtNext(query, 1, &none, ~0u, 0, &returned));
  EXPECT_EQ(g_last_error, platform::kErrorNoMoreItems);
  EXPECT_EQ(returned, 0u);
  EXPECT_TRUE(log.EvtClose(query));
  EXPECT_EQ(log.open_handles(), 0u);
}

TEST(FakeEventLog, AHandleThatIsClosedIsNoHandleAnyMore) {
  FakeEventLog log;
  const EVT_HANDLE query = log.EvtQuery(nullptr, u"System", nullptr, platform::kEvtQueryChannelPath);
  EXPECT_EQ(log.open_handles(), 1u);
  EXPECT_TRUE(log.EvtClose(query));
  EXPECT_FALSE(log.EvtClose(query));
  EXPECT_EQ(g_last_error, platform::kErrorInvalidHandle);
  EXPECT_EQ(log.Queries().front().path, u"System");
}

}  // namespace
}  // namespace varnel::testing
