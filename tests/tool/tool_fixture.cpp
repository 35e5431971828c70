#include "tests/tool/tool_fixture.h"

#include <chrono>
#include <thread>

#include "base/log.h"
#include "pipeline/consumer_table.h"
#include "session/provider_table.h"
#include "tests/support/text_archive.h"
#include "tool/consumer_lifecycle.h"

namespace varnel::testing {

std::uint32_t HostRecord::OnText(void* context, const char* text) {
  auto* host = static_cast<HostRecord*>(context);
  const std::lock_guard lock(host->mutex_);
  ArchiveTexts(text);
  constexpr std::string_view kModuleItself = "\"ProviderGUID\":\"{4A234956-2B7D-4221-BADF-12593BD342A8}\"";
  const bool is_crash = std::string_view(text).find(kModuleItself) != std::string_view::npos;
  (is_crash ? host->crash_texts_ : host->texts_).emplace_back(text);
  return 0;
}

std::vector<std::string> HostRecord::CrashTexts() const {
  const std::lock_guard lock(mutex_);
  return crash_texts_;
}

std::vector<std::string> HostRecord::Texts() const {
  const std::lock_guard lock(mutex_);
  return texts_;
}

std::vector<std::string> HostRecord::Messages() const {
  constexpr std::string_view kKey = "\"AdditionalMsgAnsi\":\"";
  std::vector<std::string> messages;
  for (const std::string& text : Texts()) {
    const std::size_t begin = text.find(kKey);
    if (begin == std::string::npos) continue;
    const std::size_t from = begin + kKey.size();
    messages.push_back(text.substr(from, text.find('"', from) - from));
  }
  return messages;
}

ScriptedEvent TextEvent(std::uint64_t time, std::uint32_t counter, std::string_view text, std::uint64_t keyword,
                        std::uint32_t flags) {
  ScriptedEvent event;
  event.provider = g_ProviderSampleGUID;
  event.id = 1;
  event.keyword = keyword;
  event.time = time;
  event.payload = MsgAnsiPayload(counter, flags, text);
  return event;
}

ScriptedMachine::ScriptedMachine() {
  files.AddFolder(kTraceFolder);
  files.AddFolder(u"C:\\ProgramData");
  files.AddFolder(u"C:\\Windows\\Temp");
  files.AddFile(std::u16string(kModuleFolder) + u"\\VarnelWardlet.dll");
  files.AddFile(std::u16string(kSetupFolder) + u"\\symsrv.dll", "library");
  files.AddFile(std::u16string(kSetupFolder) + u"\\symsrv.yes", "yes");
  registry.SetText(u"SOFTWARE\\KelvoCLSID\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\InprocServer32", u"",
                   std::u16string(kModuleFolder) + u"\\VarnelWardlet.dll");
  for (const ProviderTableEntry& entry : kProviderTable) tdh.AddManifestSchemas(entry.guid);
}

ToolTest::ToolTest() {
  WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
}

ToolTest::~ToolTest() {
  faults_.Clear();
  if (g_ConsumerTable.bHasCallInit != 0) EtwConsumerStop();
}

std::uint32_t ToolTest::Start(std::uint32_t flags) {
  return EtwConsumerStart(flags, HostRecord::OnText, &host_);
}

std::uint32_t ToolTest::Stop() {
  return EtwConsumerStop();
}

bool ToolTest::WaitForTexts(std::size_t count) {
  return platform_.time.RunUntil([&] { return host_.Texts().size() >= count; });
}

bool ToolTest::WaitForThreads(std::size_t count) const {
  for (int i = 0; i < 5000; ++i) {
    if (platform_.threads.running_count() == count) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return false;
}

unsigned ToolTest::TimesLogged(const std::string& line) const {
  const std::string text = platform_.system.DebugText();
  unsigned times = 0;
  for (std::size_t at = text.find(line); at != std::string::npos; at = text.find(line, at + 1)) ++times;
  return times;
}

}  // namespace varnel::testing
