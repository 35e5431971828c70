#include "crash/system_log_query.h"

#include "base/heap_block.h"
#include "crash/crash_event_record.h"
#include "crash/crash_event_xml.h"
#include "crash/event_time_mark.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::EVT_HANDLE;

constexpr char16_t kChannel[] = u"System";
constexpr char16_t kQuery[] = u"*[System[(EventID=12 or EventID=41)]]";
constexpr std::uint32_t kQueryFlags = platform::kEvtQueryChannelPath | platform::kEvtQueryReverseDirection;

/// Closes its handle, if it has one, at the end of its scope.
class UniqueEvtHandle {
 public:
  explicit UniqueEvtHandle(EVT_HANDLE handle) : handle_(handle) {}
  ~UniqueEvtHandle() {
    if (handle_ != nullptr) platform::EventLogPort().EvtClose(handle_);
  }
  UniqueEvtHandle(const UniqueEvtHandle&) = delete;
  UniqueEvtHandle& operator=(const UniqueEvtHandle&) = delete;

  EVT_HANDLE get() const { return handle_; }

 private:
  const EVT_HANDLE handle_;
};

/// What one reading has come to.
struct Reading {
  ListEntry* list;
  std::uint64_t mark;        // as it was stored
  std::size_t kept = 0;      // records in the list
  std::uint64_t newest = 0;  // of the kept ones
  bool failed = false;
};

/// How much room the event's text needs, in bytes; 0 when that can't be told.
std::uint32_t SizeOfXml(EVT_HANDLE event) {
  std::uint32_t size = 0;
  std::uint32_t properties = 0;
  const bool rendered =
      platform::EventLogPort().EvtRender(nullptr, event, platform::kEvtRenderEventXml, 0, nullptr, &size, &properties);
  return !rendered && platform::SystemPort().GetLastError() == platform::kErrorInsufficientBuffer ? size : 0;
}

void KeepRecord(const char16_t* xml, std::uint32_t event_id, std::uint64_t time, Reading* reading) {
  CrashEventRecord* const record = AllocateCrashEvent();
  if (record == nullptr) return;
  record->EventId = event_id;
  record->TimeStamp = time;
  if (event_id == kCrashEventId) ParseBugcheckData(xml, record);
  InsertCrashEventSorted(record, reading->list);
  ++reading->kept;
  if (time > reading->newest) reading->newest = time;
}

/// An event that is not wanted or can't be read counts for nothing.
void TakeEvent(EVT_HANDLE event, Reading* reading) {
  std::uint32_t size = SizeOfXml(event);
  if (size == 0) return;
  const HeapBlock xml(size);
  if (xml.get() == nullptr) return;
  std::uint32_t properties = 0;
  if (!platform::EventLogPort().EvtRender(nullptr, event, platform::kEvtRenderEventXml, size, xml.get(), &size,
                                          &properties)) {
    return;
  }
  std::uint32_t event_id = 0;
  std::uint64_t time = 0;
  if (ParseEventHeader(xml.as<char16_t>(), &event_id, &time) == 0) return;
  if (event_id != kBootEventId && event_id != kCrashEventId) return;
  if (event_id == kCrashEventId && time <= reading->mark) return;  // told before
  KeepRecord(xml.as<char16_t>(), event_id, time, reading);
}

/// 0 at the end of the log or with enough records; else the code of the event that could not be had.
std::uint32_t ReadEvents(EVT_HANDLE query, Reading* reading) {
  while (reading->kept < kMostCrashEvents) {
    EVT_HANDLE event = nullptr;
    std::uint32_t returned = 0;
    if (!platform::EventLogPort().EvtNext(query, 1, &event, platform::kInfinite, 0, &returned)) {
      const std::uint32_t error = platform::SystemPort().GetLastError();
      if (error == platform::kErrorNoMoreItems) return platform::kErrorSuccess;
      reading->failed = true;
      return error;
    }
    if (returned == 0) break;
    const UniqueEvtHandle owner(event);
    TakeEvent(event, reading);
  }
  return platform::kErrorSuccess;
}

}  // namespace

std::uint32_t QuerySystemLogEvents(ListEntry* list) {
  if (list == nullptr) return platform::kErrorInvalidParameter;
  Reading reading{list, 0};
  const std::uint32_t mark_error = ReadLastEventTimeStamp(&reading.mark);
  if (mark_error != platform::kErrorSuccess) return mark_error;
  const UniqueEvtHandle query(platform::EventLogPort().EvtQuery(nullptr, kChannel, kQuery, kQueryFlags));
  if (query.get() == nullptr) return platform::SystemPort().GetLastError();
  const std::uint32_t error = ReadEvents(query.get(), &reading);
  if (!reading.failed && reading.newest > reading.mark) WriteLastEventTimeStamp(reading.newest);
  return error;
}

}  // namespace varnel
