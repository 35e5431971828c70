// LogCursor walks one source in the order of its record numbers, whatever the order of its file: blocks whose numbers
// do not overlap are read one at a time; those that do are sorted together by their keys. Records of the same number
// come in the order of the file (in the other direction, in its reverse). One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "platform/embedded/eventlog/log_source.h"

namespace varnel::embedded {

enum class LogDirection { kAscending, kDescending };

class LogCursor {
 public:
  LogCursor(std::unique_ptr<LogSource> source, LogDirection direction, LogFilter filter);

  /// Nothing: no limit.
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;

  /// Reads until it is known what comes next. @return false when the time was over before; the work done is kept, and
  /// each call does some.
  bool Prepare(Deadline deadline);
  /// The record that is next; null at the end. Valid until Pop. REQUIRES: Prepare said true.
  LogRecord* Peek() { return loaded_.empty() ? nullptr : &loaded_.front(); }
  void Pop() { loaded_.pop_front(); }

  const LogSource& source() const { return *source_; }
  LogSource& source() { return *source_; }

 private:
  void SortBlocks();
  bool NextCluster();
  void LoadSome();

  const std::unique_ptr<LogSource> source_;
  const LogDirection direction_;
  const LogFilter filter_;
  std::vector<std::uint32_t> order_;   // blocks, ascending by their least number
  std::vector<std::size_t> clusters_;  // where in order_ each run of overlapping blocks begins, and its end
  std::size_t clusters_done_ = 0;
  std::vector<LogKey> keys_;  // of the cluster, in the order of reading
  std::size_t keys_done_ = 0;
  std::deque<LogRecord> loaded_;
};

}  // namespace varnel::embedded
