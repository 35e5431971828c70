#include "platform/embedded/eventlog/log_cursor.h"

#include <algorithm>
#include <numeric>
#include <span>

namespace varnel::embedded {
namespace {

// At a time: enough that a helper is not asked for each single one, few enough that nobody waits for what is not
// wanted.
constexpr std::size_t kRecordsAtATime = 64;

}  // namespace

LogCursor::LogCursor(std::unique_ptr<LogSource> source, LogDirection direction, LogFilter filter)
    : source_(std::move(source)), direction_(direction), filter_(std::move(filter)) {
  SortBlocks();
}

void LogCursor::SortBlocks() {
  const auto& blocks = source_->blocks();
  order_.resize(blocks.size());
  std::iota(order_.begin(), order_.end(), 0u);
  std::stable_sort(order_.begin(), order_.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return blocks[a].least < blocks[b].least; });
  std::uint64_t most = 0;
  for (std::size_t i = 0; i < order_.size(); ++i) {
    const LogBlock& block = blocks[order_[i]];
    if (i == 0 || block.least > most) clusters_.push_back(i);
    most = std::max(most, block.most);
  }
  clusters_.push_back(order_.size());
}

bool LogCursor::NextCluster() {
  const std::size_t count = clusters_.size() - 1;
  if (clusters_done_ == count) return false;
  const bool ascending = direction_ == LogDirection::kAscending;
  const std::size_t cluster = ascending ? clusters_done_ : count - 1 - clusters_done_;
  ++clusters_done_;
  keys_.clear();
  keys_done_ = 0;
  for (std::size_t i = clusters_[cluster]; i < clusters_[cluster + 1]; ++i) {
    const std::vector<LogKey> keys = source_->Keys(order_[i]);
    keys_.insert(keys_.end(), keys.begin(), keys.end());
  }
  std::sort(keys_.begin(), keys_.end(), [](const LogKey& a, const LogKey& b) {
    return a.stored_id != b.stored_id ? a.stored_id < b.stored_id : a.place < b.place;
  });
  if (!ascending) std::reverse(keys_.begin(), keys_.end());
  return true;
}

void LogCursor::LoadSome() {
  const std::size_t count = std::min(kRecordsAtATime, keys_.size() - keys_done_);
  const auto keys = std::span<const LogKey>(keys_).subspan(keys_done_, count);
  keys_done_ += count;
  source_->Load(keys, filter_, [&](LogRecord record) { loaded_.push_back(std::move(record)); });
}

bool LogCursor::Prepare(Deadline deadline) {
  bool worked = false;
  while (loaded_.empty()) {
    if (worked && deadline && std::chrono::steady_clock::now() >= *deadline) return false;
    worked = true;
    if (keys_done_ < keys_.size()) {
      LoadSome();
    } else if (!NextCluster()) {
      break;
    }
  }
  return true;
}

}  // namespace varnel::embedded
