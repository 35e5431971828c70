// Dumps of each form that a simulated crash can leave, through the commands on dumps.
#include <cjson/cJSON.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "host/text_field.h"
#include "tests/scenario/scenario_machine.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

struct Form {
  std::string name;    // as `machine crash` and `dump info` call it
  std::string report;  // as the module calls it
  std::string folder;  // where the crash leaves it
};

class DumpForms : public ::testing::TestWithParam<Form> {
 protected:
  DumpForms() {
    machine_.Do({"machine", "crash", "--bugcheck", "0x133,1,0x1e00", "--dump", GetParam().name});
    for (const auto& entry : fs::directory_iterator(machine_.root() + GetParam().folder)) {
      const std::string ending = entry.path().extension().string();
      if (ending == ".dmp" || ending == ".DMP") dump_ = entry.path().string();
    }
  }

  /// Of the program on the dump alone, without the machine that it came from.
  std::string OutputOf(const std::string& command) const {
    auto child =
        host::ChildProcess::Start({VARNEL_WARDLET, "dump", command, command == "info" ? "--json" : "--flags=3", dump_},
                                  host::ChildProcess::Output::kPiped);
    std::string lines;
    if (!child.ok()) return lines;
    while (const auto line = child.value().ReadLine()) lines += *line + '\n';
    EXPECT_EQ(child.value().Wait(), 0);
    return lines;
  }

  const ScenarioMachine machine_;
  std::string dump_;
};

std::string TextAt(const cJSON* object, const char* key) {
  const char* const text = cJSON_GetStringValue(cJSON_GetObjectItem(object, key));
  return text == nullptr ? std::string() : text;
}

TEST_P(DumpForms, AreShownWithModulesStackAndAllThatBelongsToThem) {
  ASSERT_NE(dump_, "");
  const Json info(cJSON_Parse(OutputOf("info").c_str()), cJSON_Delete);
  ASSERT_NE(info, nullptr);
  EXPECT_EQ(TextAt(info.get(), "form"), GetParam().name);
  EXPECT_EQ(TextAt(info.get(), "machine"), "x64");
  EXPECT_EQ(cJSON_GetObjectItem(info.get(), "processors")->valueint, 2);
  const cJSON* const stop = cJSON_GetObjectItem(info.get(), "bugcheck");
  EXPECT_EQ(TextAt(stop, "code"), "0x00000133");
  EXPECT_EQ(TextAt(stop, "name"), "DPC_WATCHDOG_VIOLATION");
  EXPECT_EQ(TextAt(cJSON_GetArrayItem(cJSON_GetObjectItem(stop, "parameters"), 1), "value"), "0x0000000000001E00");
  const cJSON* const modules = cJSON_GetObjectItem(info.get(), "modules");
  EXPECT_EQ(TextAt(cJSON_GetArrayItem(modules, 0), "name"), "ntoskrnl.exe");
  EXPECT_GT(cJSON_GetArraySize(modules), 1);
  EXPECT_GT(cJSON_GetArraySize(cJSON_GetObjectItem(info.get(), "unloaded_modules")), 0);
  const cJSON* const words = cJSON_GetObjectItem(cJSON_GetObjectItem(info.get(), "stack"), "words");
  EXPECT_EQ(TextAt(cJSON_GetArrayItem(words, 0), "module"), "ntoskrnl.exe");
  EXPECT_GT(cJSON_GetArraySize(cJSON_GetObjectItem(info.get(), "secondary_data")), 0);
  const cJSON* const completeness = cJSON_GetObjectItem(info.get(), "completeness");
  EXPECT_TRUE(cJSON_IsTrue(cJSON_GetObjectItem(completeness, "complete")));
  EXPECT_EQ(cJSON_GetObjectItem(completeness, "expected_size")->valuedouble, static_cast<double>(fs::file_size(dump_)));
}

TEST_P(DumpForms, AreReportedOnAMachineOfTheirOwn) {
  ASSERT_NE(dump_, "");
  std::istringstream texts(OutputOf("report"));
  std::vector<std::string> functions;
  for (std::string line; std::getline(texts, line);) {
    functions.push_back(host::TextField(line, "Function").value_or(""));
    EXPECT_EQ(host::TextField(line, "dump_type"), GetParam().report);
    EXPECT_EQ(host::TextField(line, "code"), "0x00000133");
  }
  EXPECT_THAT(functions, ::testing::ElementsAre("BsodDumpCallBackNoSymbol", "BsodDumpCallBackWithSymbol"));
}

INSTANTIATE_TEST_SUITE_P(OfASimulatedCrash, DumpForms,
                         ::testing::Values(Form{"small", "Small Memory Dump", "/C/Windows/Minidump"},
                                           Form{"kernel", "Kernel Memory Dump", "/C/Windows"},
                                           Form{"complete", "Complete Memory Dump", "/C/Windows"}),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace varnel::scenario
