#include "tests/crash/crash_fixture.h"

#include <cjson/cJSON.h>

#include <array>
#include <cstdio>
#include <memory>

#include "base/log.h"

namespace varnel::testing {
namespace {

struct DeleteJson {
  void operator()(cJSON* json) const { cJSON_Delete(json); }
};
using Json = std::unique_ptr<cJSON, DeleteJson>;

std::string TextOf(const cJSON* item) {
  if (item == nullptr) return "(none)";
  if (cJSON_IsNull(item)) return "null";
  if (cJSON_IsObject(item)) return "(object)";
  return cJSON_IsString(item) ? item->valuestring : "(other)";
}

}  // namespace

CrashTest::CrashTest() {
  WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
  machine_.registry.MakeKey(u"SOFTWARE");
  machine_.registry.MakeKey(u"SYSTEM");
  g_ConsumerTable.dwFlags = 3;
  g_ConsumerTable.bThisBootHasExecute = 0;
  g_ConsumerTable.bHasCallInit = 1;
  g_ConsumerTable.pfnEventCallback = OnText;
  g_ConsumerTable.pCallbackContext = this;
  g_ConsumerTable.NoSymbolDoneEvent = machine_.threads.CreateEventW(true, false);
  g_ConsumerTable.WithSymbolDoneEvent = machine_.threads.CreateEventW(true, false);
}

CrashTest::~CrashTest() {
  g_ConsumerTable.dwFlags = 0;
  g_ConsumerTable.bThisBootHasExecute = 0;
  g_ConsumerTable.bHasCallInit = 0;
  g_ConsumerTable.pfnEventCallback = nullptr;
  g_ConsumerTable.pCallbackContext = nullptr;
  g_ConsumerTable.NoSymbolDoneEvent = nullptr;
  g_ConsumerTable.WithSymbolDoneEvent = nullptr;
}

std::uint32_t CrashTest::OnText(void* context, const char* text) {
  auto* const test = static_cast<CrashTest*>(context);
  test->texts_.emplace_back(text);
  return test->host_answer_;
}

void CrashTest::StoreMark(std::uint64_t mark) {
  machine_.registry.Set(kMarkKey, kMarkValue, platform::kRegQword, &mark, sizeof mark);
}

std::string CrashTest::Fact(std::size_t nth, const char* key) const {
  const Json json(nth < texts_.size() ? cJSON_Parse(texts_[nth].c_str()) : nullptr);
  const cJSON* const facts = cJSON_GetObjectItemCaseSensitive(json.get(), "AdditionalMsgAnsi");
  return TextOf(cJSON_GetObjectItemCaseSensitive(facts, key));
}

std::string CrashTest::Top(std::size_t nth, const char* key) const {
  const Json json(nth < texts_.size() ? cJSON_Parse(texts_[nth].c_str()) : nullptr);
  return TextOf(cJSON_GetObjectItemCaseSensitive(json.get(), key));
}

std::vector<std::string> CrashTest::KeysOf(const std::string& text) const {
  const Json json(cJSON_Parse(text.c_str()));
  std::vector<std::string> keys;
  for (const cJSON* item = json ? json->child : nullptr; item != nullptr; item = item->next) {
    keys.emplace_back(item->string);
  }
  return keys;
}

void CrashTest::ExpectNothingOpen() const {
  EXPECT_EQ(machine_.event_log.open_handles(), 0u);
  EXPECT_EQ(machine_.registry.open_keys(), 0u);
  EXPECT_EQ(machine_.system.heap_blocks(), 0);
}

std::string Hex16(std::uint64_t value) {
  std::array<char, 20> text{};
  std::snprintf(text.data(), text.size(), "0x%016llX", static_cast<unsigned long long>(value));
  return text.data();
}

}  // namespace varnel::testing
