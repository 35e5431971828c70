#include "tests/faults/swept_machine.h"

#include <sys/mman.h>
#include <unistd.h>
#include <csignal>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "base/log.h"
#include "crash/bsod_check_thread.h"
#include "pipeline/collectors.h"
#include "pipeline/consumer_table.h"
#include "pipeline/target_consumer.h"
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

// Consumers' records on pages of their own. Only a process that is about to end over one of them uses these.
constexpr std::size_t kPageSize = 65536;
std::array<void*, 16> g_pages{};
std::size_t g_pages_used = 0;
int g_freed_use_exit_code = 0;

void EndAtFreedUse(int number, siginfo_t* info, void* /*context*/) {
  const auto at = reinterpret_cast<std::uintptr_t>(info->si_addr);
  for (std::size_t i = 0; i < g_pages_used; ++i) {
    const auto page = reinterpret_cast<std::uintptr_t>(g_pages[i]);
    if (at < page || at >= page + kPageSize) continue;
    constexpr std::string_view kText = "uses freed memory\n";
    if (write(STDERR_FILENO, kText.data(), kText.size()) < 0) _exit(1);
    _exit(g_freed_use_exit_code);
  }
  signal(number, SIG_DFL);
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
  g_freed_use_exit_code = exit_code;
  struct sigaction action {};
  action.sa_sigaction = EndAtFreedUse;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
  sigaction(SIGBUS, &action, nullptr);
}

void* SweptSystem::HeapAlloc(std::size_t size) {
  if (!watching_ || size != sizeof(TargetConsumer) || g_pages_used == g_pages.size())
    return FaultySystem::HeapAlloc(size);
  void* const page = mmap(nullptr, kPageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (page == MAP_FAILED) return nullptr;
  g_pages[g_pages_used++] = page;
  return page;
}

void SweptSystem::HeapFree(void* block) {
  const auto end = g_pages.begin() + static_cast<std::ptrdiff_t>(g_pages_used);
  if (!watching_ || std::find(g_pages.begin(), end, block) == end) return FaultySystem::HeapFree(block);
  mprotect(block, kPageSize, PROT_NONE);
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
  return {platform.handles.open_count() - 1, platform.registry.open_keys(), platform.trace.open_traces(),
          platform.system.heap_blocks()};
}

}  // namespace varnel::testing
