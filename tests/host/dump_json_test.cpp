#include "host/dump_json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using testing::HasSubstr;

TEST(DumpJson, OfAHeaderAloneHasEveryKeyAndNullForWhatIsNotThere) {
  DumpSummary summary;
  summary.file = "a.dmp";
  summary.size = 4096;
  summary.header.type = formats::DumpType::kFull;
  summary.header.machine = 0x14C;
  summary.header.build = 7601;
  EXPECT_EQ(
      DumpAsJson(summary),
      R"({"file":"a.dmp","size":4096,"form":"complete","dump_type":1,"machine":"x86","machine_type":"0x0000014C",)"
      R"("build":7601,"crash_time":null,"uptime_ms":null,"bugcheck":{"code":"0x00000000","name":null,"parameters":[)"
      R"({"value":"0x0000000000000000","meaning":null},{"value":"0x0000000000000000","meaning":null},)"
      R"({"value":"0x0000000000000000","meaning":null},{"value":"0x0000000000000000","meaning":null}]},)"
      R"("processors":0,"crashing_processor":null,"instruction":null,"cr8":null,"thread":null,"process":null,)"
      R"("header":{"major_version":0,"directory_table_base":"0x0000000000000000","pfn_database":null,)"
      R"("loaded_module_list":"0x0000000000000000","active_process_head":"0x0000000000000000",)"
      R"("debugger_data_block":null,"version_user":null,"physical_memory":null,"exception":null,)"
      R"("required_dump_space":null,"comment":null,"mini_dump_fields":null,"secondary_data_state":null,)"
      R"("product_type":null,"suite_mask":null,"writer_status":null,"attributes":null,"boot_id":null,)"
      R"("kd_secondary_version":null},"modules":[],"unloaded_modules":[],"stack":null,"secondary_data":[],)"
      R"("completeness":null})");
}

TEST(DumpJson, TellsTheStopCodeWithItsNameAndWhatItsParametersMean) {
  DumpSummary summary;
  summary.header.bug_check_code = 0xA;
  summary.header.bug_check_parameters = {0x10, 2, 0, 0xFFFFF80000000000};
  const std::string json = DumpAsJson(summary);
  EXPECT_THAT(json, HasSubstr(R"("bugcheck":{"code":"0x0000000A","name":"IRQL_NOT_LESS_OR_EQUAL","parameters":[)"
                              R"({"value":"0x0000000000000010","meaning":"address that was touched"},)"));
}

TEST(DumpJson, TellsTimesToTheTickAndUptimeInMilliseconds) {
  DumpSummary summary;
  summary.header.system_time = 132'583'535'027'654'321;
  summary.header.system_up_time = 37'479'999;
  EXPECT_THAT(DumpAsJson(summary), HasSubstr(R"("crash_time":"2021-02-21T03:58:22.7654321Z","uptime_ms":3747,)"));
}

TEST(DumpJson, TellsModulesStackAndSecondaryData) {
  DumpSummary summary;
  formats::DumpModule module;
  module.base = 0xFFFFF80000100000;
  module.size = 0x1000;
  module.time_date_stamp = 0x93DAD125;
  module.check_sum = 0x11;
  module.path = u"\\x\\a.sys";
  module.name = u"a.sys";
  summary.modules.push_back(module);
  summary.unloaded.push_back({u"b.sys", 0x1000, 0x2000, 1});
  summary.stack = DumpStack{0x10, 24, {{0x18, 0xFFFFF80000100004, u"a.sys", 4}}};
  summary.secondary_data.push_back({GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, 0x3000, 5});
  summary.completeness = formats::DumpCompleteness{100, 200, true};
  const std::string json = DumpAsJson(summary);
  EXPECT_THAT(json,
              HasSubstr(R"("modules":[{"name":"a.sys","base":"0xFFFFF80000100000","size":4096,)"
                        R"("timestamp":"0x93DAD125","checksum":"0x00000011","path":"\\x\\a.sys"}],)"
                        R"("unloaded_modules":[{"name":"b.sys","start":"0x0000000000001000",)"
                        R"("end":"0x0000000000002000","time":"1601-01-01T00:00:00.0000001Z"}],)"
                        R"("stack":{"start":"0x0000000000000010","bytes":24,"words":[{"address":)"
                        R"("0x0000000000000018","value":"0xFFFFF80000100004","module":"a.sys","offset":"0x4"}]},)"
                        R"("secondary_data":[{"tag":"{00000001-0002-0003-0405-060708090A0B}","offset":12288,)"
                        R"("size":5}],"completeness":{"complete":false,"consistent":true,"expected_size":200}})"));
}

TEST(DumpJson, BytesThatAreNoTextAreShownWithReplacements) {
  DumpSummary summary;
  summary.file = "\xFF.dmp";
  summary.header.comment = "\x80";
  const std::string json = DumpAsJson(summary);
  EXPECT_THAT(json, HasSubstr("\"file\":\"\xEF\xBF\xBD.dmp\""));
  EXPECT_THAT(json, HasSubstr("\"comment\":\"\xEF\xBF\xBD\""));
}

}  // namespace
}  // namespace varnel::host
