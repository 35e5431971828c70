#include "tests/support/fake_event_log.h"

#include <cstring>

#include "tests/support/last_error.h"

namespace varnel::testing {

void FakeEventLog::AddEvent(std::u16string_view xml) {
  const std::lock_guard lock(mutex_);
  events_.emplace_back(xml);
}

void FakeEventLog::ClearEvents() {
  const std::lock_guard lock(mutex_);
  events_.clear();
}

std::vector<FakeEventLog::Query> FakeEventLog::Queries() const {
  const std::lock_guard lock(mutex_);
  return queries_;
}

std::size_t FakeEventLog::open_handles() const {
  const std::lock_guard lock(mutex_);
  return result_sets_.size() + open_events_.size();
}

platform::EVT_HANDLE FakeEventLog::EvtQuery(platform::EVT_HANDLE, const char16_t* path, const char16_t* query,
                                            std::uint32_t flags) {
  const std::lock_guard lock(mutex_);
  queries_.push_back({path != nullptr ? path : u"", query != nullptr ? query : u"", flags});
  const platform::EVT_HANDLE handle = NewHandle();
  result_sets_[handle] = {events_.rbegin(), events_.rend()};
  return handle;
}

bool FakeEventLog::EvtNext(platform::EVT_HANDLE result_set, std::uint32_t count, platform::EVT_HANDLE* events,
                           std::uint32_t, std::uint32_t, std::uint32_t* returned) {
  const std::lock_guard lock(mutex_);
  *returned = 0;
  if (count == 0) return FailWith(platform::kErrorInvalidParameter);
  const auto found = result_sets_.find(result_set);
  if (found == result_sets_.end()) return FailWith(platform::kErrorInvalidHandle);
  std::vector<std::u16string>& left = found->second;
  if (left.empty()) return FailWith(platform::kErrorNoMoreItems);
  for (; *returned < count && !left.empty(); ++*returned) {
    events[*returned] = NewHandle();
    open_events_[events[*returned]] = std::move(left.back());
    left.pop_back();
  }
  return true;
}

bool FakeEventLog::EvtRender(platform::EVT_HANDLE context, platform::EVT_HANDLE event, std::uint32_t flags,
                             std::uint32_t buffer_size, void* buffer, std::uint32_t* used,
                             std::uint32_t* property_count) {
  const std::lock_guard lock(mutex_);
  const auto found = open_events_.find(event);
  if (found == open_events_.end()) return FailWith(platform::kErrorInvalidHandle);
  if (context != nullptr || flags != platform::kEvtRenderEventXml) return FailWith(platform::kErrorInvalidParameter);
  *used = static_cast<std::uint32_t>((found->second.size() + 1) * sizeof(char16_t));
  *property_count = 0;
  if (buffer == nullptr || buffer_size < *used) return FailWith(platform::kErrorInsufficientBuffer);
  std::memcpy(buffer, found->second.c_str(), *used);
  return true;
}

bool FakeEventLog::EvtClose(platform::EVT_HANDLE object) {
  const std::lock_guard lock(mutex_);
  const bool closed = result_sets_.erase(object) + open_events_.erase(object) > 0;
  return closed || FailWith(platform::kErrorInvalidHandle);
}

}  // namespace varnel::testing
