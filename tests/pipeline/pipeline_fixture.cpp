#include "tests/pipeline/pipeline_fixture.h"

#include <cjson/cJSON.h>

#include <cstring>

#include "base/log.h"
#include "pipeline/consumer_thread.h"
#include "pipeline/event_order.h"
#include "tests/support/last_error.h"

namespace varnel::testing {

platform::HANDLE HookedThreads::CreateThread(platform::ThreadStart start, void* parameter) {
  if (create_thread_error.has_value()) {
    FailWith(*create_thread_error);
    return nullptr;
  }
  return FakeThreads::CreateThread(start, parameter);
}

platform::HANDLE HookedThreads::CreateEventW(bool manual_reset, bool initial_state) {
  if (create_event_error.has_value()) {
    FailWith(*create_event_error);
    return nullptr;
  }
  return FakeThreads::CreateEventW(manual_reset, initial_state);
}

std::uint32_t HookedThreads::WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                                    std::uint32_t timeout_ms) {
  if (!wait_answers.empty()) {
    const std::uint32_t answer = wait_answers.front();
    wait_answers.erase(wait_answers.begin());
    return answer;
  }
  return FakeThreads::WaitForMultipleObjects(count, objects, wait_all, timeout_ms);
}

void HookedThreads::Sleep(std::uint32_t milliseconds) {
  ++sleeps_;
  if (on_sleep) on_sleep();
  FakeThreads::Sleep(milliseconds);
}

std::uint32_t RecordingHost::OnText(void* context, const char* text) {
  auto* host = static_cast<RecordingHost*>(context);
  const std::lock_guard lock(host->mutex_);
  host->texts_.emplace_back(text);
  return host->answer;
}

std::vector<std::string> RecordingHost::Texts() const {
  const std::lock_guard lock(mutex_);
  return texts_;
}

PipelineTest::PipelineTest() {
  platform_.ports.threads = &threads_;
  WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
  ExclusiveLock lock(table_.TableLock);
  InitializeListHead(&table_.ConsumerList);
  table_.pfnEventCallback = RecordingHost::OnText;
  table_.pCallbackContext = &host_;
  table_.hStopEvent = threads_.CreateEventW(true, false);
}

PipelineTest::~PipelineTest() {
  if (key_ != nullptr) platform_.registry.RegCloseKey(key_);
  for (TargetConsumer* consumer : consumers_) {
    {
      ExclusiveLock lock(consumer->QueueLock);
      while (!IsListEmpty(&consumer->Queue)) FreeRawEvent(RawEventFromLink(RemoveHeadList(&consumer->Queue)));
    }
    FreeTargetConsumer(consumer);
  }
  platform_.system.CloseHandle(table_.hStopEvent);
  EXPECT_EQ(platform_.system.heap_blocks(), lost_blocks_);
  EXPECT_EQ(platform_.handles.open_count(), 0u);
  EXPECT_EQ(platform_.registry.open_keys(), 0u);
}

RawEvent* PipelineTest::MakeEvent(std::uint64_t time_stamp, std::uint32_t counter, std::uint32_t flags,
                                  const std::string& text) {
  const std::string shown = text.empty() ? std::to_string(time_stamp) + "/" + std::to_string(counter) : text;
  RawEvent* event = AllocateRawEvent();
  event->dwTimeStamp = time_stamp;
  event->dwCounter = counter;
  event->dwFlags = flags;
  event->pszJsonText = static_cast<char*>(cJSON_malloc(shown.size() + 1));
  std::memcpy(event->pszJsonText, shown.c_str(), shown.size() + 1);
  return event;
}

TargetConsumer* PipelineTest::MakeConsumer(std::uint64_t keyword) {
  TargetConsumer* consumer = AllocateTargetConsumer(&table_, provider_, keyword);
  consumer->Progress.dwKeyWord = keyword;
  consumers_.push_back(consumer);
  return consumer;
}

void PipelineTest::Place(TargetConsumer* consumer, const std::vector<RawEvent*>& events) {
  ExclusiveLock lock(consumer->QueueLock);
  for (RawEvent* event : events) PlaceRawEvent(consumer, event);
}

std::uint32_t PipelineTest::Cook(TargetConsumer* consumer) {
  consumer->QueueLock.LockExclusive();
  return CookRawEvent(consumer, &key_);
}

std::vector<std::uint64_t> PipelineTest::QueuedTimes(TargetConsumer* consumer) {
  ExclusiveLock lock(consumer->QueueLock);
  std::vector<std::uint64_t> times;
  for (ListEntry* e = consumer->Queue.Flink; e != &consumer->Queue; e = e->Flink) {
    times.push_back(RawEventFromLink(e)->dwTimeStamp);
  }
  return times;
}

std::vector<std::uint32_t> PipelineTest::QueuedCounters(TargetConsumer* consumer) {
  ExclusiveLock lock(consumer->QueueLock);
  std::vector<std::uint32_t> counters;
  for (ListEntry* e = consumer->Queue.Flink; e != &consumer->Queue; e = e->Flink) {
    counters.push_back(RawEventFromLink(e)->dwCounter);
  }
  return counters;
}

void PipelineTest::StopConsumers() {
  threads_.SetEvent(table_.hStopEvent);
  for (;;) {
    TargetConsumer* consumer = nullptr;
    {
      ExclusiveLock lock(table_.TableLock);
      if (IsListEmpty(&table_.ConsumerList)) return;
      consumer = ConsumerFromLink(RemoveHeadList(&table_.ConsumerList));
    }
    CleanupTargetConsumerThread(consumer);
    FreeTargetConsumer(consumer);
  }
}

}  // namespace varnel::testing
