// The event log port over scripted XML texts: a query answers with every text that the test has put in, in the order in
// which it did, so the test itself plays the log's filter and direction.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/eventlog.h"

namespace varnel::testing {

/// Handles are never used again. Any thread may call.
class FakeEventLog : public platform::EventLog {
 public:
  struct Query {
    std::u16string path;
    std::u16string query;
    std::uint32_t flags = 0;
  };

  /// One event behind those that are there; the text is given out as it is.
  void AddEvent(std::u16string_view xml);
  void ClearEvents();
  /// The queries so far.
  std::vector<Query> Queries() const;
  /// Result sets and events that were not closed.
  std::size_t open_handles() const;

  platform::EVT_HANDLE EvtQuery(platform::EVT_HANDLE session, const char16_t* path, const char16_t* query,
                                std::uint32_t flags) override;
  bool EvtNext(platform::EVT_HANDLE result_set, std::uint32_t count, platform::EVT_HANDLE* events,
               std::uint32_t timeout_ms, std::uint32_t flags, std::uint32_t* returned) override;
  bool EvtRender(platform::EVT_HANDLE context, platform::EVT_HANDLE event, std::uint32_t flags,
                 std::uint32_t buffer_size, void* buffer, std::uint32_t* used, std::uint32_t* property_count) override;
  bool EvtClose(platform::EVT_HANDLE object) override;

 private:
  platform::EVT_HANDLE NewHandle() { return reinterpret_cast<platform::EVT_HANDLE>(next_handle_ += 8); }

  mutable std::mutex mutex_;
  std::vector<std::u16string> events_;
  std::vector<Query> queries_;
  std::map<platform::EVT_HANDLE, std::vector<std::u16string>> result_sets_;  // what has still to come, last one first
  std::map<platform::EVT_HANDLE, std::u16string> open_events_;
  std::uintptr_t next_handle_ = 0x8000;
};

}  // namespace varnel::testing
