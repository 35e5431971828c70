#include "platform/embedded/eventlog/log_reader.h"

#include <fcntl.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <span>
#include <string_view>

#include "platform/embedded/eventlog/evtx_log_source.h"
#include "platform/embedded/eventlog/log_text.h"
#include "platform/embedded/eventlog/xml_log_source.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kYear10000 = 2650467744000000000;  // 10000-01-01 as 100 ns since 1601

bool HasBinaryMark(const std::string& path) {
  using namespace std::string_view_literals;
  constexpr std::string_view kMark = "ElfFile\0"sv;
  // Without O_NONBLOCK, here and where a log is opened, a pipe would be waited for.
  const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  char begin[kMark.size()] = {};
  return fd.valid() && ::pread(fd.get(), begin, sizeof begin, 0) == static_cast<ssize_t>(sizeof begin) &&
         std::string_view(begin, sizeof begin) == kMark;
}

/// By its first bytes; the name decides for one whose header is damaged.
bool IsBinaryLog(const std::string& path) {
  constexpr std::string_view kEnding = ".evtx";
  return HasBinaryMark(path) ||
         (path.size() >= kEnding.size() &&
          ::strncasecmp(path.c_str() + path.size() - kEnding.size(), kEnding.data(), kEnding.size()) == 0);
}

/// Whether the first element is an event, or a list of events. Declarations and comments may stand before it.
bool BeginsWithEvents(std::string_view text) {
  constexpr std::string_view kLayout = " \t\r\n";
  for (;;) {
    text.remove_prefix(std::min(text.find_first_not_of(kLayout), text.size()));
    const bool comment = text.starts_with("<!--");
    if (!comment && !text.starts_with("<?")) break;
    const std::string_view end = comment ? "-->" : "?>";
    const std::size_t at = text.find(end);
    if (at == std::string_view::npos) return false;
    text.remove_prefix(at + end.size());
  }
  for (const std::string_view name : {"<Events", "<Event"}) {
    if (!text.starts_with(name)) continue;
    const std::string_view behind = text.substr(name.size(), 1);
    return behind.empty() || behind == ">" || behind == "/" || kLayout.find(behind) != std::string_view::npos;
  }
  return false;
}

formats::Result<std::unique_ptr<LogSource>> OpenSource(const std::string& path, const LogReaderOptions& options) {
  return IsBinaryLog(path) ? EvtxLogSource::Open(path, options.helper)
                           : XmlLogSource::Open(path, options.otherwise_encoding);
}

}  // namespace

bool BeginsAsEventLog(const std::string& path, const std::string& otherwise_encoding) {
  if (HasBinaryMark(path)) return true;
  const auto text = LogText::Open(path, otherwise_encoding);
  if (!text.ok()) return false;
  char begin[4096];
  return BeginsWithEvents(std::string_view(begin, text.value()->ReadAt(0, std::span(begin))));
}

formats::Result<std::unique_ptr<LogReader>> LogReader::Open(const std::vector<std::string>& paths,
                                                            const LogReaderOptions& options) {
  std::unique_ptr<LogReader> reader(new LogReader);
  reader->direction_ = options.direction;
  for (const std::string& path : paths) {
    auto source = OpenSource(path, options);
    if (!source.ok()) return source.error();
    reader->cursors_.push_back(
        std::make_unique<LogCursor>(std::move(source).value(), options.direction, options.filter));
  }
  return reader;
}

/// The source whose next record comes before those of the others; null at the end.
LogCursor* LogReader::Foremost() const {
  LogCursor* best = nullptr;
  for (const auto& cursor : cursors_) {
    const LogRecord* candidate = cursor->Peek();
    if (candidate == nullptr) continue;
    const bool before =
        best == nullptr || (direction_ == LogDirection::kAscending ? candidate->record_id < best->Peek()->record_id
                                                                   : candidate->record_id > best->Peek()->record_id);
    if (before) best = cursor.get();
  }
  return best;
}

LogReader::Step LogReader::Next(LogRecord* record, LogCursor::Deadline deadline) {
  for (;;) {
    for (const auto& cursor : cursors_) {
      if (!cursor->Prepare(deadline)) return Step::kTimeOver;
      if (cursor->source().failed()) return Step::kFailed;
    }
    LogCursor* const foremost = Foremost();
    if (foremost == nullptr) return Step::kEnd;
    *record = std::move(*foremost->Peek());
    foremost->Pop();
    if (!any_ || record->record_id != number_) same_number_.clear();
    any_ = true;
    number_ = record->record_id;
    if (same_number_.emplace(record->time, record->provider).second) break;
    ++duplicates_;
  }
  ++records_;
  return Step::kRecord;
}

bool LogReader::HasRecords() const {
  return std::any_of(cursors_.begin(), cursors_.end(),
                     [](const auto& cursor) { return !cursor->source().blocks().empty(); });
}

LogCounts LogReader::counts() const {
  LogCounts all;
  for (const auto& cursor : cursors_) {
    const LogCounts counts = cursor->source().counts();
    all.skipped += counts.skipped;
    all.replaced += counts.replaced;
    all.helper_deaths += counts.helper_deaths;
  }
  all.records = records_;
  all.duplicates = duplicates_;
  return all;
}

std::uint64_t LogReader::HighestRecordId() const {
  std::uint64_t highest = 0;
  for (const auto& cursor : cursors_) highest = std::max(highest, cursor->source().HighestRecordId());
  return highest;
}

std::uint64_t LogReader::NewestTime() const {
  std::uint64_t newest = 0;
  for (const auto& cursor : cursors_) {
    for (const LogBlock& block : cursor->source().blocks()) {
      if (block.newest < kYear10000) newest = std::max(newest, block.newest);
    }
  }
  return newest;
}

}  // namespace varnel::embedded
