// CounterSequence follows the counter of one provider and module through its events in time order, and tells where
// counters are missing, come again or begin anew. The counter has 32 bits, begins at 1 and wraps through 0. Not
// synchronised.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace varnel::host {

struct CounterEvent {
  std::uint32_t counter = 0;
  std::int64_t time = 0;         // FILETIME
  std::uint32_t process_id = 0;  // of the writer
};

/// Counters that never came, both ends included, and the events around them. A gap can wrap: last < first then.
struct CounterGap {
  std::uint32_t first = 0;
  std::uint32_t last = 0;
  CounterEvent before;
  CounterEvent after;

  std::uint64_t missing() const noexcept { return std::uint64_t{static_cast<std::uint32_t>(last - first)} + 1; }
};

class CounterSequence {
 public:
  /// Takes the next event. REQUIRES: its time is not before the one given last. Events of one time may come in any
  /// order; a file that holds an event again gives it with the same time.
  void Add(const CounterEvent& event);
  /// Works through what waits. Call once, behind the last Add and before the figures are read.
  void Finish();

  std::uint64_t events() const noexcept { return events_; }  // repeats included
  const CounterEvent& first() const noexcept { return first_; }
  const CounterEvent& last() const noexcept { return last_; }
  const std::vector<CounterGap>& gaps() const noexcept { return gaps_; }
  /// Events whose counter had come before.
  const std::vector<CounterEvent>& repeats() const noexcept { return repeats_; }
  /// Events that filled what would have been a gap, or stood before the first one.
  const std::vector<CounterEvent>& late() const noexcept { return late_; }
  /// Events with which the counter began anew.
  const std::vector<CounterEvent>& restarts() const noexcept { return restarts_; }
  /// Events behind a passage from the greatest number to 0.
  const std::vector<CounterEvent>& wraps() const noexcept { return wraps_; }

 private:
  void Follow(const CounterEvent& event);
  void GoOn(const CounterEvent& event);
  void BeginAnew(const CounterEvent& event);
  void TakeBackward(const CounterEvent& event);
  bool FillsGap(const CounterEvent& event);
  bool HasCome(std::uint32_t counter) const noexcept;

  std::vector<CounterEvent> waiting_;  // all of one time
  std::uint64_t events_ = 0;
  CounterEvent first_;
  CounterEvent last_;
  std::uint32_t run_first_ = 0;  // the first counter since the last restart
  std::size_t run_gaps_ = 0;     // the gaps before it
  std::vector<CounterGap> gaps_;
  std::vector<CounterEvent> repeats_;
  std::vector<CounterEvent> late_;
  std::vector<CounterEvent> restarts_;
  std::vector<CounterEvent> wraps_;
};

}  // namespace varnel::host
