// LogReader: the records of several files of an event log as one log, in ascending or descending order of their number,
// whatever their times. A record that several files have (the same number, time and provider) comes once. What is
// damaged is passed over and counted. Memory does not grow with the log, but for logs whose records stand in disorder:
// those cost 24 bytes a record. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "formats/result.h"
#include "platform/embedded/eventlog/evtx_helper.h"
#include "platform/embedded/eventlog/log_cursor.h"
#include "platform/embedded/eventlog/log_source.h"

namespace varnel::embedded {

struct LogReaderOptions {
  LogDirection direction = LogDirection::kAscending;
  LogFilter filter;
  /// What an exported log is in that says nothing and is not UTF-8, as iconv names it; empty: UTF-8 all the same.
  std::string otherwise_encoding;
  EvtxHelperOptions helper;
};

/// Whether a file begins as an event log does, a binary one or an exported one: so does an empty log too. False as well
/// for a file that can't be read. `otherwise_encoding` as in LogReaderOptions.
bool BeginsAsEventLog(const std::string& path, const std::string& otherwise_encoding);

class LogReader {
 public:
  /// Opens the files: those that begin like a binary log, or are named "….evtx", as such, others as exports. An Error
  /// that names the file when one can't be read at all; damage inside is none.
  static formats::Result<std::unique_ptr<LogReader>> Open(const std::vector<std::string>& paths,
                                                          const LogReaderOptions& options);

  enum class Step { kRecord, kEnd, kTimeOver, kFailed };

  /// The next record into `*record`. kFailed when a file can't be read any more for a reason that is no damage; what it
  /// still had is not told. kTimeOver when it was not found in time; what was read by then is kept.
  Step Next(LogRecord* record, LogCursor::Deadline deadline = std::nullopt);

  /// Whether any file has a record that can be read, wanted by the filter or not. What can't be read may be no record
  /// at all. REQUIRES: Next was not called.
  bool HasRecords() const;

  /// So far; damage that lies where nobody has read yet is not known yet.
  LogCounts counts() const;

  /// The highest number of all records and the newest of all times that a year of four digits can tell (another one is
  /// damage); 0 in an empty log. REQUIRES: Next was not called.
  std::uint64_t HighestRecordId() const;
  std::uint64_t NewestTime() const;

 private:
  LogReader() = default;
  LogCursor* Foremost() const;

  LogDirection direction_ = LogDirection::kAscending;
  std::vector<std::unique_ptr<LogCursor>> cursors_;
  bool any_ = false;
  std::uint64_t number_ = 0;                                     // of the record that came last
  std::set<std::pair<std::uint64_t, std::string>> same_number_;  // time and provider of those that had it
  std::uint64_t records_ = 0;
  std::uint64_t duplicates_ = 0;
};

}  // namespace varnel::embedded
