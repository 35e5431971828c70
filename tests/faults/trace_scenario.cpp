#include "tests/faults/trace_scenario.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/compiler.h"
#include "pipeline/progress_store.h"
#include "session/provider_table.h"
#include "tests/support/log_event_xml.h"

namespace varnel::testing {
namespace {

constexpr std::uint64_t kTime = 0x1DC95B3A1C2D3E0;
constexpr std::uint64_t kModuleA = 0x81;
constexpr std::uint64_t kModuleB = 0x101;
constexpr char16_t kOldAutoFile[] =
    u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace{4A234956-2B7D-4221-BADF-12593BD342A8}.etl.001";
constexpr char16_t kRunningAutoFile[] =
    u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDAutoTrace{4A234956-2B7D-4221-BADF-12593BD342A8}.etl.002";
constexpr char16_t kKeyWords[] =
    u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\{D8909C24-5BE9-4502-98CA-AB7BDC24899D}"
    u"\\KeyWords";

ScriptedEvent WideEvent(std::uint64_t time, std::uint32_t counter, std::u16string_view text, std::uint64_t keyword) {
  ScriptedEvent event = TextEvent(time, counter, "", keyword);
  event.id = 2;
  event.payload = Payload().U32(counter).U32(8).Narrow("Function").U32(1).U32(0).Wide(text).Build();
  return event;
}

ScriptedEvent BinaryEvent(std::uint64_t time, std::uint32_t counter, std::uint64_t keyword) {
  ScriptedEvent event = TextEvent(time, counter, "", keyword);
  event.id = 3;
  event.payload = Payload().U32(counter).U32(8).Narrow("Function").U32(1).U32(0).U32(2).U8(0xB3).U8(0xFF).Build();
  return event;
}

/// By the key "Mod" and the time stamp.
std::string EventName(const std::string& text) {
  constexpr std::string_view kStamp = "\"TimeStamp\":\"";
  const char module = text.find("\"Mod\":\"Module01\"") != std::string::npos ? 'A' : 'B';
  const std::size_t at = text.find(kStamp);
  if (at == std::string::npos) return "?";
  const std::uint64_t time = std::strtoull(text.c_str() + at + kStamp.size(), nullptr, 16);
  return module + std::to_string(time - kTime + 1);
}

TraceOutcome::Left LeftOf(const SweptMachine& machine, std::u16string_view value, std::u16string_view file) {
  TraceOutcome::Left left;
  ProviderModuleCounter record{};
  const auto stored = machine.platform.registry.Get(kKeyWords, value);
  if (stored && stored->data.size() == sizeof record) std::memcpy(&record, stored->data.data(), sizeof record);
  left.position = record.dwTimeStamp;
  left.file = machine.platform.files.Exists(file);
  return left;
}

/// Two boots and between them a crash, newest first, in a log whose session has both providers enabled.
void SetUpSystemLog(ScriptedMachine* platform) {
  constexpr std::uint64_t kHour = 36'000'000'000;
  platform->event_log.AddEvent(BootEventXml(kTime - kHour));
  platform->event_log.AddEvent(CrashEventXml(kTime - 2 * kHour));
  platform->event_log.AddEvent(BootEventXml(kTime - 3 * kHour));
  platform->trace.EnableEveryProviderIn(platform->trace.AddSession(u"EventLog-System", u""));
}

unsigned CrashesIn(const std::vector<std::string>& texts) {
  return static_cast<unsigned>(std::count_if(texts.begin(), texts.end(), [](const std::string& text) {
    return text.find("\"BugcheckCode\":\"") != std::string::npos;
  }));
}

std::vector<std::string> EventNames(const std::vector<std::string>& texts) {
  std::vector<std::string> names;
  for (const std::string& text : texts) names.push_back(EventName(text));
  return names;
}

}  // namespace

void SetUpTraces(SweptMachine* machine, SessionKind session) {
  ScriptedMachine& platform = machine->platform;
  platform.AddTraceFile(kLeftOverFile, {TextEvent(kTime, 1, "A1", kModuleA), TextEvent(kTime + 1, 2, "A2", kModuleA)});
  platform.AddTraceFile(kOldAutoFile, {TextEvent(kTime, 1, "B1", kModuleB), TextEvent(kTime + 1, 2, "B2", kModuleB)});
  const ProviderModuleCounter stored{kModuleA & ~std::uint64_t{7}, kTime - 1, 0};
  platform.registry.Set(kKeyWords, u"0x0000000000000080", platform::kRegBinary, &stored, sizeof stored);
  SetUpSystemLog(&platform);
  if (session == SessionKind::kTemporary) return;
  platform.files.AddFile(kRunningAutoFile, "trace");
  platform.files.SetInUse(kRunningAutoFile, true);
  platform.trace.AddFile(kRunningAutoFile, {});
  platform.trace.AddSession(kSessionName, kRunningAutoFile);
  platform.registry.SetDword(kAutologgerKey, u"FileCounter", 2);
}

void RunTraces(SweptMachine* machine, TraceOutcome* outcome) {
  FakeTrace& trace = machine->platform.trace;
  outcome->intended_leaks = 0u - g_intended_leaks;
  outcome->start = machine->Start();
  machine->Run();
  trace.PushLive({WideEvent(kTime + 2, 3, u"wide", kModuleA), BinaryEvent(kTime + 2, 3, kModuleB)});
  machine->Run();
  trace.PushLive(TextEvent(kTime + 4, 5, "behind a gap", kModuleA));
  machine->Run();
  outcome->stop = machine->Stop();
  outcome->delivered = EventNames(machine->host.Texts());
  outcome->crashes = CrashesIn(machine->host.CrashTexts());
  outcome->lines = machine->Lines();
  outcome->log_file = machine->LogFile();
  outcome->open = machine->StillOpen();
  outcome->left['A'] = LeftOf(*machine, u"0x0000000000000080", kLeftOverFile);
  outcome->left['B'] = LeftOf(*machine, u"0x0000000000000100", kOldAutoFile);
}

void StopUnderASlowHost(SweptMachine* machine) {
  machine->Start();
  machine->Run();
  machine->on_text = [machine] { machine->platform.threads.Sleep(1000); };
  machine->platform.trace.PushLive(WideEvent(kTime + 2, 3, u"wide", kModuleA));
  machine->platform.time.Settle();
  machine->Stop();
}

void RunAgain(SweptMachine* machine, TraceOutcome* outcome) {
  outcome->second_start = machine->Start();
  machine->Run();
  machine->platform.trace.PushLive(
      {TextEvent(kTime + 6, 7, "later", kModuleA), TextEvent(kTime + 6, 7, "later", kModuleB)});
  machine->Run();
  outcome->second_stop = machine->Stop();
  const std::vector<std::string> all = EventNames(machine->host.Texts());
  outcome->delivered_later.assign(all.begin() + static_cast<std::ptrdiff_t>(outcome->delivered.size()), all.end());
  outcome->crashes_later = CrashesIn(machine->host.CrashTexts()) - outcome->crashes;
  outcome->open_later = machine->StillOpen();
  outcome->intended_leaks += g_intended_leaks;
}

std::uint64_t TimeOf(const std::string& event) {
  return kTime + std::strtoull(event.c_str() + 1, nullptr, 10) - 1;
}

SecondRun ExpectSecondRun(char module, const TraceOutcome::Left& left) {
  SecondRun second;
  if (left.file && left.position == kTime) {
    second.taken_along = 1;  // the first event is a repeat, and the second stands behind it
  } else if (left.file) {
    for (const std::string name : {"1", "2"}) {
      if (TimeOf(module + name) > left.position) second.delivered.push_back(module + name);
    }
  }
  second.delivered.push_back(module + std::string("7"));
  return second;
}

}  // namespace varnel::testing
