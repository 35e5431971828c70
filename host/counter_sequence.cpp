#include "host/counter_sequence.h"

#include <algorithm>

namespace varnel::host {
namespace {

constexpr std::uint32_t kFirstCounter = 1;
/// How far ahead of the last a counter still counts as a later one; what is further is taken as behind it.
constexpr std::uint32_t kWindow = 0x3FFFFFFF;

std::uint32_t Ahead(std::uint32_t counter, std::uint32_t of) noexcept {
  return counter - of;
}

}  // namespace

void CounterSequence::Add(const CounterEvent& event) {
  if (!waiting_.empty() && waiting_.front().time != event.time) Finish();
  waiting_.push_back(event);
}

void CounterSequence::Finish() {
  // Within one time the counter tells the order: first what comes again, then what follows, then what begins anew.
  const std::uint32_t base = events_ == 0 && !waiting_.empty() ? waiting_.front().counter - 1 : last_.counter;
  std::stable_sort(waiting_.begin(), waiting_.end(), [base](const CounterEvent& a, const CounterEvent& b) {
    return Ahead(a.counter, base) < Ahead(b.counter, base);
  });
  for (const CounterEvent& event : waiting_) Follow(event);
  waiting_.clear();
}

void CounterSequence::Follow(const CounterEvent& event) {
  if (events_++ == 0) {
    first_ = last_ = event;
    run_first_ = event.counter;
    return;
  }
  const std::uint32_t ahead = Ahead(event.counter, last_.counter);
  if (ahead == 0) {
    repeats_.push_back(event);
  } else if (ahead == 1) {
    GoOn(event);
  } else if (event.counter <= kFirstCounter && event.process_id != last_.process_id) {
    BeginAnew(event);
  } else if (ahead <= kWindow) {
    gaps_.push_back({last_.counter + 1, event.counter - 1, last_, event});
    GoOn(event);
  } else if (event.counter <= kFirstCounter) {
    BeginAnew(event);
  } else {
    TakeBackward(event);
  }
}

void CounterSequence::GoOn(const CounterEvent& event) {
  if (event.counter < last_.counter) wraps_.push_back(event);
  last_ = event;
}

void CounterSequence::BeginAnew(const CounterEvent& event) {
  restarts_.push_back(event);
  run_gaps_ = gaps_.size();
  run_first_ = event.counter;
  // What a provider wrote before the first event that is there is missing too.
  if (event.counter > kFirstCounter) gaps_.push_back({kFirstCounter, event.counter - 1, last_, event});
  last_ = event;
}

void CounterSequence::TakeBackward(const CounterEvent& event) {
  if (FillsGap(event)) {
    late_.push_back(event);
  } else if (event.process_id != last_.process_id || Ahead(last_.counter, event.counter) > kWindow) {
    BeginAnew(event);
  } else if (HasCome(event.counter)) {
    repeats_.push_back(event);
  } else {
    late_.push_back(event);
  }
}

bool CounterSequence::FillsGap(const CounterEvent& event) {
  for (std::size_t i = gaps_.size(); i-- > run_gaps_;) {
    CounterGap& gap = gaps_[i];
    if (Ahead(event.counter, gap.first) >= gap.missing()) continue;
    const CounterGap above = {event.counter + 1, gap.last, event, gap.after};
    const bool at_first = event.counter == gap.first;
    const bool at_last = event.counter == gap.last;
    if (at_first && at_last) {
      gaps_.erase(gaps_.begin() + static_cast<std::ptrdiff_t>(i));
    } else if (at_first) {
      gap = above;
    } else {
      gap.last = event.counter - 1;
      gap.after = event;
      if (!at_last) gaps_.insert(gaps_.begin() + static_cast<std::ptrdiff_t>(i) + 1, above);
    }
    return true;
  }
  return false;
}

bool CounterSequence::HasCome(std::uint32_t counter) const noexcept {
  return Ahead(counter, run_first_) <= Ahead(last_.counter, run_first_);
}

}  // namespace varnel::host
