#include "tests/faults/swept_machine.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "base/log.h"
#include "crash/bsod_check_thread.h"
#include "pipeline/collectors.h"
#include "pipeline/consumer_table.h"
#include "pipeline/target_consumer.h"
#include "tests/faults/guarded_pages.h"
#include "tool/consumer_lifecycle.h"
#include "tool/install.h"

namespace varnel::testing {
namespace {

struct NamedStart {
  platform::ThreadStart start;
  void* parameter;
  std::string name;
};

std::uint32_t StartNamed(void* parameter) {
  const std::unique_ptr<NamedStart> named(static_cast<NamedStart*>(parameter));
  const CallerScope caller(named->name);
  return named->start(named->parameter);
}

std::string ThreadName(platform::ThreadStart start, const void* parameter) {
  if (start == BSODCheckThread) return "crash";
  if (start == RealTimeEventCollectThread) return "live";
  if (start == LeakEventCollectThread) return "leak";
  std::array<char, 40> text{};
  const auto keyword = static_cast<unsigned long long>(static_cast<const TargetConsumer*>(parameter)->dwKeyWord);
  std::snprintf(text.data(), text.size(), "consumer 0x%llx", keyword);
  return text.data();
}

SweptMachine* g_current = nullptr;

void PreciseTimeOfLine(platform::FILETIME* time) {
  BeginLogLine();
  *time = platform::ToFileTime(g_current->platform.system.Now());
}

std::string WithoutTime(const std::string& line) {
  const std::size_t end = line.find("] ");
  std::string text = end == std::string::npos ? line : line.substr(end + 2);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

}  // namespace

platform::HANDLE SweptThreads::CreateThread(platform::ThreadStart start, void* parameter) {
  auto* const named = new NamedStart{start, parameter, ThreadName(start, parameter)};
  const platform::HANDLE thread = FaultyThreads::CreateThread(StartNamed, named);
  if (thread == nullptr) delete named;
  return thread;
}

std::uint32_t SweptThreads::WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                                   std::uint32_t timeout_ms) {
  const std::uint32_t result = FaultyThreads::WaitForMultipleObjects(count, objects, wait_all, timeout_ms);
  if (result == platform::kWaitFailed) time_->Yield();
  return result;
}

void SweptSystem::WatchFreedConsumers(int exit_code) {
  watching_ = true;
  WatchGuardedPages(exit_code);
}

void* SweptSystem::HeapAlloc(std::size_t size) {
  // A consumer's record stands on a page of its own, as long as there are any.
  void* const page = watching_ && size == sizeof(TargetConsumer) ? TakeGuardedPage() : nullptr;
  return page != nullptr ? page : FaultySystem::HeapAlloc(size);
}

void SweptSystem::HeapFree(void* block) {
  if (!watching_ || !ReleaseGuardedPage(block)) FaultySystem::HeapFree(block);
}

SweptMachine::SweptMachine() {
  g_current = this;
  platform.time.OneAtATime();
  platform.system.procedures["GetSystemTimePreciseAsFileTime"] =
      reinterpret_cast<platform::Procedure>(&PreciseTimeOfLine);
  WrapLogInitByGuid(LOG_ERROR | LOG_INFO | LOG_DETAIL, &GUID_WARDLET_TOOL);
}

SweptMachine::~SweptMachine() {
  plan.Disarm();
  if (g_ConsumerTable.bHasCallInit != 0) EtwConsumerStop();
  WrapLogClose();
  g_current = nullptr;
}

std::uint32_t SweptMachine::Install() {
  const CallerScope caller("install");
  return InstallVarnel(kSetupFolder);
}

std::uint32_t SweptMachine::Start() {
  const CallerScope caller("start");
  return EtwConsumerStart(3, OnText, this);
}

std::uint32_t SweptMachine::OnText(void* context, const char* text) {
  auto* const machine = static_cast<SweptMachine*>(context);
  if (machine->on_text) machine->on_text();
  return HostRecord::OnText(&machine->host, text);
}

std::uint32_t SweptMachine::Stop() {
  const CallerScope caller("stop");
  return EtwConsumerStop();
}

std::uint32_t SweptMachine::Uninstall() {
  const CallerScope caller("uninstall");
  return UninstallVarnel();
}

void SweptMachine::Run() {
  platform.time.Settle();
  platform.time.Advance(2000);
}

std::vector<std::string> SweptMachine::Lines() const {
  std::vector<std::string> lines;
  for (const std::string& line : platform.system.DebugLines()) lines.push_back(WithoutTime(line));
  return lines;
}

std::string SweptMachine::LogFile() const {
  return platform.files.Contents(u"C:\\ProgramData\\KelvoVarnels\\Log\\{4A234956-2B7D-4221-BADF-12593BD342A8}.txt");
}

SweptMachine::Open SweptMachine::StillOpen() const {
  return {platform.handles.open_count() - 1, platform.event_log.open_handles(), platform.registry.open_keys(),
          platform.trace.open_traces(), platform.system.heap_blocks()};
}

}  // namespace varnel::testing
