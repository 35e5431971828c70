// What the pipeline's tests share: scripted ports with hooks on the threads, a table with a recording host, events and
// consumers made by hand, and a count at the end of what was left behind.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "pipeline/consumer_table.h"
#include "pipeline/target_consumer.h"
#include "tests/support/scripted_platform.h"

namespace varnel::testing {

/// The scripted threads with answers that a test sets before other threads run.
class HookedThreads : public FakeThreads {
 public:
  using FakeThreads::FakeThreads;

  std::function<void()> on_sleep;                    // in place of nothing, before each sleep
  std::optional<std::uint32_t> create_event_error;   // every event fails
  std::optional<std::uint32_t> create_thread_error;  // every thread fails
  std::vector<std::uint32_t> wait_answers;           // what WaitForMultipleObjects answers first

  platform::HANDLE CreateThread(platform::ThreadStart start, void* parameter) override;
  platform::HANDLE CreateEventW(bool manual_reset, bool initial_state) override;
  std::uint32_t WaitForMultipleObjects(std::uint32_t count, const platform::HANDLE* objects, bool wait_all,
                                       std::uint32_t timeout_ms) override;
  void Sleep(std::uint32_t milliseconds) override;
  unsigned sleeps() const { return sleeps_; }

 private:
  std::atomic<unsigned> sleeps_{0};
};

/// Takes the texts of the callback, on any thread.
class RecordingHost {
 public:
  std::uint32_t answer = 0;

  static std::uint32_t OnText(void* context, const char* text);
  std::vector<std::string> Texts() const;

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> texts_;
};

class PipelineTest : public ::testing::Test {
 protected:
  PipelineTest();
  ~PipelineTest() override;

  /// With a text of its own; the caller owns it.
  static RawEvent* MakeEvent(std::uint64_t time_stamp, std::uint32_t counter, std::uint32_t flags = NEED_POINT_RECORD,
                             const std::string& text = "");
  /// A consumer without a thread, not in the table's list. Freed at the end with what is still queued.
  TargetConsumer* MakeConsumer(std::uint64_t keyword = 0x80);
  /// Puts the events into the consumer's queue, in this order.
  void Place(TargetConsumer* consumer, const std::vector<RawEvent*>& events);
  /// Judges the head.
  std::uint32_t Cook(TargetConsumer* consumer);
  static std::vector<std::uint64_t> QueuedTimes(TargetConsumer* consumer);
  static std::vector<std::uint32_t> QueuedCounters(TargetConsumer* consumer);
  bool Logged(const std::string& line) const { return platform_.system.Logged(line); }
  /// Stops the consumers in the table's list, as a stop does.
  void StopConsumers();

  static constexpr char16_t kKeyWords[] =
      u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\"
      u"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}\\KeyWords";

  ScriptedPlatform platform_;
  HookedThreads threads_{&platform_.handles, &platform_.time};
  RecordingHost host_;
  ConsumerTable table_{};
  const GUID provider_{0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
  platform::HKEY key_ = nullptr;
  /// Blocks that a test expects to be lost: each abandoned event is one, and its text another.
  int lost_blocks_ = 0;

 private:
  std::vector<TargetConsumer*> consumers_;
};

}  // namespace varnel::testing
