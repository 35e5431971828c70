#include "platform/embedded/eventlog/embedded_event_log.h"

#include <chrono>
#include <cstring>
#include <new>

#include "formats/text_encoding.h"
#include "platform/embedded/core/casefold.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/core/wide_buffer.h"
#include "platform/embedded/eventlog/system_log.h"
#include "platform/embedded/files/resolver.h"
#include "platform/threads.h"

namespace varnel::embedded {
namespace {

using platform::EVT_HANDLE;

constexpr std::uint32_t kErrorEventLogFileCorrupt = 1500;
constexpr std::uint32_t kPathFlags = platform::kEvtQueryChannelPath | platform::kEvtQueryFilePath;
constexpr std::uint32_t kDirections = platform::kEvtQueryForwardDirection | platform::kEvtQueryReverseDirection;

class ResultSet : public Object {
 public:
  explicit ResultSet(std::unique_ptr<LogReader> log) : Object(Kind::kLogResultSet), reader(std::move(log)) {}

  const std::unique_ptr<LogReader> reader;
};

class LogEvent : public Object {
 public:
  explicit LogEvent(std::string text) : Object(Kind::kLogEvent), xml(std::move(text)) {}

  const std::string xml;
};

/// Runs an operation so that no exception leaves it. @return its Win32 error.
template <typename Work>
std::uint32_t Guarded(Work work) noexcept {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return platform::kErrorOutOfMemory;
  } catch (...) {
    return platform::kErrorGenFailure;
  }
}

bool FlagsGoTogether(std::uint32_t flags) {
  const std::uint32_t path = flags & kPathFlags;
  if ((flags & ~(kPathFlags | kDirections | platform::kEvtQueryTolerateQueryErrors)) != 0) return false;
  return path != 0 && path != kPathFlags && (flags & kDirections) != kDirections;
}

LogCursor::Deadline DeadlineOf(std::uint32_t timeout_ms) {
  if (timeout_ms == platform::kInfinite) return std::nullopt;
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
}

/// The next event as a handle. 0, or 259 at the end, 1460 when the time is over, 14 without memory.
std::uint32_t NextEvent(LogReader& reader, LogCursor::Deadline deadline, EVT_HANDLE* event) {
  LogRecord record;
  const LogReader::Step step = reader.Next(&record, deadline);
  if (step == LogReader::Step::kEnd) return platform::kErrorNoMoreItems;
  if (step == LogReader::Step::kTimeOver) return platform::kErrorTimeout;
  if (step == LogReader::Step::kFailed) return kErrorEventLogFileCorrupt;
  *event = Handles().Insert(std::make_shared<LogEvent>(std::move(record.xml)));
  return *event == nullptr ? platform::kErrorOutOfMemory : platform::kErrorSuccess;
}

}  // namespace

std::uint32_t EmbeddedEventLog::FilesOf(const char16_t* path, std::uint32_t flags,
                                        std::vector<std::string>* files) const {
  if ((flags & platform::kEvtQueryChannelPath) != 0) {
    if (!EqualFolded(path, u"System")) return platform::kErrorEvtChannelNotFound;
    *files = SystemLogFiles(*machine_);
    return platform::kErrorSuccess;
  }
  HostPath file;
  const std::uint32_t error = ResolvePath(*machine_, path, &file);
  if (error != platform::kErrorSuccess) return error;
  if (!file.exists) return platform::kErrorFileNotFound;
  if (file.IsFolder()) return platform::kErrorAccessDenied;
  files->push_back(file.path);
  return platform::kErrorSuccess;
}

std::uint32_t EmbeddedEventLog::Query(const char16_t* path, const char16_t* query, std::uint32_t flags,
                                      EVT_HANDLE* handle) const {
  if (path == nullptr || !FlagsGoTogether(flags)) return platform::kErrorInvalidParameter;
  LogReaderOptions options;
  std::vector<std::string> files;
  const std::uint32_t error = FilesOf(path, flags, &files);
  if (error != platform::kErrorSuccess) return error;
  auto parsed = formats::EventQuery::Parse(formats::Utf16ToUtf8(ViewOf(query)));
  if (!parsed.ok()) return platform::kErrorEvtInvalidQuery;
  const bool reverse = (flags & platform::kEvtQueryReverseDirection) != 0;
  options.direction = reverse ? LogDirection::kDescending : LogDirection::kAscending;
  options.filter = {std::move(parsed).value(), FileTimeNow()};
  options.helper = helper_;
  auto reader = LogReader::Open(files, options);
  if (!reader.ok()) return kErrorEventLogFileCorrupt;
  *handle = Handles().Insert(std::make_shared<ResultSet>(std::move(reader).value()));
  return *handle == nullptr ? platform::kErrorOutOfMemory : platform::kErrorSuccess;
}

EVT_HANDLE EmbeddedEventLog::EvtQuery(EVT_HANDLE session, const char16_t* path, const char16_t* query,
                                      std::uint32_t flags) {
  EVT_HANDLE handle = nullptr;
  // There are no sessions to other machines, so that no handle of one can be open.
  const std::uint32_t error =
      session != nullptr ? platform::kErrorInvalidHandle : Guarded([&] { return Query(path, query, flags, &handle); });
  if (error == platform::kErrorSuccess) return handle;
  SetLastError(error);
  return nullptr;
}

bool EmbeddedEventLog::EvtNext(EVT_HANDLE result_set, std::uint32_t count, EVT_HANDLE* events, std::uint32_t timeout_ms,
                               std::uint32_t flags, std::uint32_t* returned) {
  if (returned != nullptr) *returned = 0;
  if (count == 0 || events == nullptr || returned == nullptr || flags != 0) {
    return Fail(platform::kErrorInvalidParameter);
  }
  const auto set = Handles().Find<ResultSet>(result_set, Object::Kind::kLogResultSet);
  if (!set) return Fail(platform::kErrorInvalidHandle);
  const LogCursor::Deadline deadline = DeadlineOf(timeout_ms);
  std::uint32_t error = platform::kErrorSuccess;
  while (*returned < count && error == platform::kErrorSuccess) {
    error = Guarded([&] { return NextEvent(*set->reader, deadline, &events[*returned]); });
    if (error == platform::kErrorSuccess) ++*returned;
  }
  return *returned > 0 || Fail(error);
}

bool EmbeddedEventLog::EvtRender(EVT_HANDLE context, EVT_HANDLE event, std::uint32_t flags, std::uint32_t buffer_size,
                                 void* buffer, std::uint32_t* used, std::uint32_t* property_count) {
  if (used == nullptr || context != nullptr || flags > platform::kEvtRenderBookmark) {
    return Fail(platform::kErrorInvalidParameter);
  }
  if (flags != platform::kEvtRenderEventXml) return Fail(platform::kErrorNotSupported);
  const auto found = Handles().Find<LogEvent>(event, Object::Kind::kLogEvent);
  if (!found) return Fail(platform::kErrorInvalidHandle);
  const std::uint32_t error = Guarded([&] {
    const std::u16string text = formats::Utf8ToUtf16(found->xml);
    const auto size = static_cast<std::uint32_t>((text.size() + 1) * sizeof(char16_t));
    *used = size;
    if (property_count != nullptr) *property_count = 0;
    if (buffer == nullptr || buffer_size < size) return platform::kErrorInsufficientBuffer;
    std::memcpy(buffer, text.c_str(), size);
    return platform::kErrorSuccess;
  });
  return error == platform::kErrorSuccess || Fail(error);
}

bool EmbeddedEventLog::EvtClose(EVT_HANDLE object) {
  const auto found = Handles().Find(object);
  const bool ours = found && (found->kind() == Object::Kind::kLogResultSet || found->kind() == Object::Kind::kLogEvent);
  if (!ours || Handles().Remove(object) == nullptr) return Fail(platform::kErrorInvalidHandle);
  return true;
}

std::optional<LogCounts> EmbeddedEventLog::CountsOf(EVT_HANDLE result_set) {
  const auto set = Handles().Find<ResultSet>(result_set, Object::Kind::kLogResultSet);
  if (!set) return std::nullopt;
  return set->reader->counts();
}

}  // namespace varnel::embedded
