#include <vector>

#include "CLI/CLI.hpp"
#include "host/program.h"
#include "host/report.h"
#include "host/surroundings.h"
#include "platform/platform.h"

namespace varnel::host {
namespace {

constexpr char16_t kSessionName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";

bool IsElevated() {
  platform::System& system = platform::SystemPort();
  platform::HANDLE token = nullptr;
  if (!system.OpenProcessToken(platform::kTokenQuery, &token)) return false;
  std::uint32_t elevated = 0;
  std::uint32_t needed = 0;
  const bool known = system.GetTokenInformation(token, platform::kTokenElevation, &elevated, sizeof elevated, &needed);
  system.CloseHandle(token);
  return known && elevated != 0;
}

class ThisMachine final : public Surroundings {
 public:
  // The module has one session at a time, the boot-time one or the temporary one, of one name.
  LossesBySession ReadSessionLosses() const override {
    constexpr std::size_t kRoomForNames = 4096;
    std::vector<std::byte> block(sizeof(platform::EVENT_TRACE_PROPERTIES) + kRoomForNames);
    auto* properties = new (block.data()) platform::EVENT_TRACE_PROPERTIES{};
    properties->Wnode.BufferSize = static_cast<std::uint32_t>(block.size());
    properties->LoggerNameOffset = sizeof(platform::EVENT_TRACE_PROPERTIES);
    properties->LogFileNameOffset = sizeof(platform::EVENT_TRACE_PROPERTIES) + kRoomForNames / 2;
    const std::uint32_t error =
        platform::TracePort().ControlTraceW(0, kSessionName, properties, platform::kEventTraceControlQuery);
    if (error != platform::kErrorSuccess) return {};
    const std::uint64_t buffers = std::uint64_t{properties->LogBuffersLost} + properties->RealTimeBuffersLost;
    return {{properties->Wnode.HistoricalContext, {properties->EventsLost, buffers}}};
  }
};

}  // namespace

void Surroundings::AddOption(CLI::App* /*command*/, std::string* /*choice*/) {}

formats::Result<std::unique_ptr<Surroundings>> Surroundings::Enter(const std::string& /*choice*/) {
  if (!IsElevated()) {
    Tell("is not elevated; trace sessions and the machine's registry need an administrator's rights");
  }
  return std::unique_ptr<Surroundings>(new ThisMachine);
}

std::string ProgramAbout() {
  return "Runs the VarnelWardlet module as its host: collects the trace events of the framework's providers and "
         "prints\n"
         "each as one line of JSON.\n";
}

std::string ProgramExamples() {
  return "Examples:\n"
         "  wardlet install                 registers the module's trace session\n"
         "  wardlet run --idle-exit 2       prints what there is and ends\n"
         "  wardlet trace info file.etl     what a trace file holds\n"
         "\n"
         "\"wardlet COMMAND --help\" tells more about each. \"install\", \"uninstall\" and \"run\" need an elevated "
         "prompt.";
}

std::string ExampleChoice() {
  return {};
}

std::string StopWords() {
  return "Ctrl-C or Ctrl-Break; a second one";
}

// A machine is neither made nor looked after by its own host, and its event logs and
// crash dumps have viewers of their own.
void AddMachineCommands(CLI::App* /*program*/, Choice* /*choice*/) {}
void AddEventCommands(CLI::App* /*program*/, Choice* /*choice*/) {}
void AddDumpCommands(CLI::App* /*program*/, Choice* /*choice*/) {}
void AddDemoCommand(CLI::App* /*program*/, Choice* /*choice*/) {}

}  // namespace varnel::host
