#include "host/trace_merge.h"

#include <algorithm>
#include <utility>

namespace varnel::host {

TraceMerge::TraceMerge(std::vector<std::unique_ptr<TraceFile>> files) : files_(std::move(files)) {
  for (std::size_t i = 0; i < files_.size(); ++i) Push(i);
}

bool TraceMerge::IsLater(const Head& a, const Head& b) {
  if (a.event->file_time != b.event->file_time) return a.event->file_time > b.event->file_time;
  return a.file > b.file;
}

void TraceMerge::Push(std::size_t file) {
  const formats::EtlEventView* event = files_[file]->reader->Next();
  if (event == nullptr) return;
  heads_.push_back({event, file});
  std::push_heap(heads_.begin(), heads_.end(), IsLater);
}

TraceMerge::Item TraceMerge::Next() {
  if (given_) {
    // Only now: the view that was given out lived until here.
    std::pop_heap(heads_.begin(), heads_.end(), IsLater);
    const std::size_t file = heads_.back().file;
    heads_.pop_back();
    Push(file);
  }
  given_ = !heads_.empty();
  if (!given_) return {nullptr, nullptr};
  return {heads_.front().event, files_[heads_.front().file].get()};
}

}  // namespace varnel::host
