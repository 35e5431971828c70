#include "host/machine_report.h"

#include <gtest/gtest.h>

#include "formats/guid_text.h"

namespace varnel::host {
namespace {

embedded::SessionSummary Session() {
  embedded::SessionSummary session;
  session.id = 0x1F;
  session.name = u"Name \u20AC";
  session.guid = formats::ParseGuid("{4A234956-2B7D-4221-BADF-12593BD342A8}").value();
  session.log_file_mode = 0x18000102;
  session.log_file_name = u"C:\\a.etl";
  session.buffer_size = 65536;
  session.buffers = 20;
  session.free_buffers = 19;
  session.buffers_written = 5000000000;
  session.events_lost = 3;
  session.buffers_lost = 1;
  session.start_time = 133'500'000'000'000'000;
  session.providers.push_back(
      {formats::ParseGuid("{4A234950-2B7D-4221-BADF-12593BD342A8}").value(), 5, 0xFFFFFFFFFFFFFFFF, 0});
  return session;
}

TEST(MachineReport, SaysThatNoSessionRuns) {
  EXPECT_EQ(SessionsAsText({}), "no session runs\n");
  EXPECT_EQ(SessionsAsJson({}), "");
}

TEST(MachineReport, ShowsASessionForAPerson) {
  EXPECT_EQ(SessionsAsText({Session()}),
            "Name \xE2\x82\xAC\n"
            "  file       C:\\a.etl\n"
            "  mode       0x18000102\n"
            "  started    2024-01-17T21:20:00.000000Z\n"
            "  buffers    20 of 65536 bytes, 19 free, 5000000000 written\n"
            "  lost       3 events, 1 buffers\n"
            "  provider   SourceUsb, level 5, any of 0xFFFFFFFFFFFFFFFF\n");
}

TEST(MachineReport, ShowsASessionWithoutAFile) {
  auto session = Session();
  session.log_file_name.clear();
  EXPECT_NE(SessionsAsText({session}).find("  file       none\n"), std::string::npos);
}

TEST(MachineReport, ShowsEachSessionAsOneJsonLine) {
  const std::string one =
      "{\"name\":\"Name \xE2\x82\xAC\",\"id\":\"0x1F\",\"guid\":\"{4A234956-2B7D-4221-BADF-12593BD342A8}\","
      "\"log_file_name\":\"C:\\\\a.etl\",\"log_file_mode\":\"0x18000102\",\"start\":\"2024-01-17T21:20:00.000000Z\","
      "\"buffer_size\":65536,\"buffers\":20,\"free_buffers\":19,\"buffers_written\":5000000000,\"events_lost\":3,"
      "\"buffers_lost\":1,\"providers\":[{\"guid\":\"{4A234950-2B7D-4221-BADF-12593BD342A8}\",\"level\":5,"
      "\"match_any\":\"0xFFFFFFFFFFFFFFFF\",\"match_all\":\"0x0\"}]}\n";
  EXPECT_EQ(SessionsAsJson({Session(), Session()}), one + one);
}

}  // namespace
}  // namespace varnel::host
