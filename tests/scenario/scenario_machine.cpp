#include "tests/scenario/scenario_machine.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>

#include "host/emit_plan.h"
#include "host/providers.h"
#include "host/text_field.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/embedded_trace.h"
#include "platform/embedded/trace/machine_sessions.h"
#include "tests/support/text_archive.h"

namespace varnel::scenario {
namespace {

namespace fs = std::filesystem;
using host::ChildProcess;

// Long enough for the flush timer of one second, whatever else the machine does.
constexpr char kIdle[] = "3";

}  // namespace

Numbers NumbersOf(const std::string& lines) {
  Numbers numbers;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) {
    const auto guid = host::TextField(line, "ProviderGUID");
    if (guid == host::kModuleGuidText) continue;
    const std::uint64_t number = host::RunningNumber(line);
    numbers[guid && number != 0 ? host::ProviderName(*guid) : ""].push_back(number);
  }
  return numbers;
}

std::vector<std::uint64_t> Range(std::uint64_t from, std::uint64_t to) {
  std::vector<std::uint64_t> range;
  for (std::uint64_t number = from; number <= to; ++number) range.push_back(number);
  return range;
}

std::vector<std::string> AllProviders() {
  std::vector<std::string> names;
  for (const host::KnownProvider& provider : host::kProviders) names.emplace_back(provider.name);
  return names;
}

bool WaitUntil(const std::function<bool()>& holds) {
  for (int i = 0; i < 3000; ++i) {
    if (holds()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return false;
}

std::string ReadAll(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

ScenarioMachine::ScenarioMachine() {
  std::string pattern = testing::TempDir() + "scenario.XXXXXX";
  folder_ = ::mkdtemp(pattern.data());
  root_ = folder_ + "/machine";
  Outcome made;
  auto child = ChildProcess::Start({VARNEL_WARDLET, "machine", "new", root_}, ChildProcess::Output::kInherited);
  if (child.ok()) made.exit_code = child.value().Wait();
  EXPECT_EQ(made.exit_code, 0);
}

ScenarioMachine::~ScenarioMachine() {
  ArchiveFiles();
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::vector<std::string> ScenarioMachine::TraceFiles() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(LogFolder())) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string ScenarioMachine::AutoFile(const std::string& number) {
  return std::string("KWDAutoTrace") + host::kModuleGuidText + ".etl." + number;
}

std::vector<std::string> ScenarioMachine::Line(const std::vector<std::string>& words) const {
  std::vector<std::string> line{VARNEL_WARDLET};
  line.insert(line.end(), words.begin(), words.end());
  line.insert(line.end(), {"--machine", root_});
  return line;
}

ChildProcess ScenarioMachine::Start(const std::vector<std::string>& words, ChildProcess::Output output) const {
  auto child = ChildProcess::Start(Line(words), output);
  if (!child.ok()) ADD_FAILURE() << child.error().message;
  return std::move(child).value();
}

Outcome ScenarioMachine::Wardlet(const std::vector<std::string>& words, const std::string& input) const {
  std::ofstream(File("in"), std::ios::binary) << input;
  const std::string script = "exec \"$@\" <'" + File("in") + "' >'" + File("out") + "' 2>'" + File("err") + "'";
  std::vector<std::string> line{"/bin/sh", "-c", script, "sh"};
  for (const std::string& word : Line(words)) line.push_back(word);
  auto child = ChildProcess::Start(line, ChildProcess::Output::kInherited);
  Outcome outcome;
  if (child.ok()) outcome.exit_code = child.value().Wait();
  outcome.out = ReadAll(File("out"));
  outcome.err = ReadAll(File("err"));
  if (words.front() == "run") ArchiveTexts(outcome.out);
  return outcome;
}

/// What runs wrote with "-o". A line that a kill cut is no text.
void ScenarioMachine::ArchiveFiles() const {
  for (const auto& entry : fs::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_regular_file() || name == "in" || name == "out" || name == "err") continue;
    std::ifstream file(entry.path(), std::ios::binary);
    if (file.peek() != '{') continue;
    for (std::string line; std::getline(file, line);) {
      if (!line.starts_with("{\"WardletVersion\"")) continue;
      const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> whole(cJSON_Parse(line.c_str()), cJSON_Delete);
      if (whole != nullptr) ArchiveTexts(line);
    }
  }
}

std::string ScenarioMachine::Do(const std::vector<std::string>& words, const std::string& input) const {
  const Outcome outcome = Wardlet(words, input);
  EXPECT_EQ(outcome.exit_code, 0) << words.front() << ": " << outcome.err;
  return outcome.out;
}

std::vector<embedded::SessionSummary> ScenarioMachine::Sessions() const {
  const auto machine = embedded::Machine::Open(root_);
  return embedded::ListSessions(*machine.value());
}

void ScenarioMachine::Flush() const {
  auto opened = embedded::Machine::Open(root_);
  ASSERT_TRUE(opened.ok());
  const std::shared_ptr<embedded::Machine> machine = std::move(opened).value();
  embedded::EmbeddedTrace trace(embedded::TraceOptionsOf(machine));
  for (const embedded::SessionSummary& session : embedded::ListSessions(*machine)) {
    EXPECT_EQ(trace.ControlTraceW(session.id, nullptr, nullptr, platform::kEventTraceControlFlush), 0u);
  }
}

Numbers ScenarioMachine::RunModule() const {
  Flush();
  return NumbersOf(Do({"run", "--idle-exit", kIdle, "--flags", "0"}));
}

}  // namespace varnel::scenario
