#include "tests/scenario/kill_verdict.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "tests/pipeline/order_replay.h"

namespace varnel::scenario {
namespace {

using testing::OrderRecord;
using testing::OrderRecordKind;
using testing::ReplayedEvent;

struct Position {
  std::uint64_t time = 0;
  std::uint32_t counter = 0;
  bool operator==(const Position&) const = default;
  bool operator<(const Position& other) const { return std::tie(time, counter) < std::tie(other.time, other.counter); }
};

std::string TextOf(const Position& position) {
  return std::to_string(position.time) + "/" + std::to_string(position.counter);
}

/// What the model makes of one consumer in one run.
struct Replay {
  bool looked = false;
  Position first;        // the position that the run began with
  Position before_last;  // the position before the last delivery
  Position last;
  std::vector<std::uint32_t> delivered;
  std::unordered_set<std::uint32_t> inserted;
};

Replay ReplayOf(const RunEvidence& run, const std::vector<ReplayedEvent>& events, const WrittenConsumer& consumer) {
  Replay replay;
  for (const OrderRecord& record : run.order) {
    if (record.provider != consumer.provider || record.keyword != consumer.keyword) continue;
    if (record.kind == OrderRecordKind::kInsertion) replay.inserted.insert(record.counter);
    if (record.kind != OrderRecordKind::kLook || replay.looked) continue;
    replay.looked = true;
    replay.first = replay.before_last = replay.last = {record.position_time_stamp, record.position_counter};
  }
  for (const ReplayedEvent& event : events) {
    if (event.provider != consumer.provider || event.keyword != consumer.keyword) continue;
    if (event.fate != ReplayedEvent::Fate::kDelivered) continue;
    replay.delivered.push_back(event.counter);
    replay.before_last = std::exchange(replay.last, {event.time_stamp, event.counter});
  }
  return replay;
}

/// What the trace decorator noted of a run.
struct RunTraces {
  bool live_opened = false;
  std::uint64_t open_before_live = 0;
  std::uint64_t open_behind_live = 0;
  bool file_ended = false;
  bool file_ended_first = false;        // before the live trace was open
  std::uint64_t last_time_in_file = 0;  // of the whole buffers that the file gave
  std::uint64_t open_at_last_file_buffer = 0;
};

RunTraces TracesOf(const std::vector<TraceRecord>& records) {
  RunTraces traces;
  for (const TraceRecord& record : records) {
    const bool live = record.live != 0;
    if (record.kind == TraceRecord::Kind::kOpened && live) {
      traces.live_opened = true;
      traces.open_before_live = record.open;
      traces.open_behind_live = record.open_behind;
      traces.file_ended_first = traces.file_ended;
    } else if (record.kind == TraceRecord::Kind::kBuffer && !live) {
      traces.last_time_in_file = std::max(traces.last_time_in_file, record.last_time);
      traces.open_at_last_file_buffer = record.open;
    } else if (record.kind == TraceRecord::Kind::kEnded && !live) {
      traces.file_ended = true;
    }
  }
  return traces;
}

class Judging {
 public:
  explicit Judging(const KillEvidence& evidence) : evidence_(evidence) {
    for (const WrittenConsumer& consumer : evidence.consumers) {
      for (const WrittenEvent& event : consumer.events) buffer_at_[event.time] = event.buffer;
    }
    for (const RunEvidence& run : evidence.runs) {
      traces_.push_back(TracesOf(run.traces));
      replayed_.push_back(testing::ReplayOrderRecords(run.order));
    }
    for (std::size_t r = 0; r < evidence.runs.size(); ++r) NoteFileReach(r);
  }

  KillVerdict Verdict() {
    for (std::size_t r = 0; r < replayed_.size(); ++r) {
      // The first one is the cause of those behind it.
      if (replayed_[r].disagreements.empty()) continue;
      verdict_.failures.push_back("kill " + std::to_string(r + 1) +
                                  ": module and model part: " + replayed_[r].disagreements.front());
    }
    for (std::size_t c = 0; c < evidence_.consumers.size(); ++c) JudgeConsumer(c);
    return std::move(verdict_);
  }

 private:
  const WrittenConsumer& ConsumerAt(std::size_t c) const { return evidence_.consumers[c]; }

  /// The number of the last buffer that has an event not behind `time`; 0 when there is none.
  std::uint64_t BufferUpTo(std::uint64_t time) const {
    const auto behind = buffer_at_.upper_bound(time);
    return behind == buffer_at_.begin() ? 0 : std::prev(behind)->second;
  }

  /// An event that was inserted and whose buffer closed before the live trace opened has come from the file, and so
  /// has everything before it.
  void NoteFileReach(std::size_t r) {
    std::uint64_t reach = traces_[r].last_time_in_file;
    for (const OrderRecord& record : evidence_.runs[r].order) {
      if (record.kind != OrderRecordKind::kInsertion) continue;
      if (!traces_[r].live_opened || BufferUpTo(record.time_stamp) < traces_[r].open_before_live) {
        reach = std::max(reach, record.time_stamp);
      }
    }
    file_reach_.push_back(reach);
  }

  void Fail(std::size_t c, std::size_t run, std::uint32_t number, const std::string& why) {
    const RunTraces& traces = traces_[run];
    std::string line =
        ConsumerAt(c).name + " #" + std::to_string(number) + ", kill " + std::to_string(run + 1) + ": " + why;
    if (number >= 1 && number <= ConsumerAt(c).events.size()) {
      const WrittenEvent& event = ConsumerAt(c).events[number - 1];
      line += " (its time " + std::to_string(event.time) + ", its buffer " + std::to_string(event.buffer) + ")";
    }
    line += "; live from buffer " + std::to_string(traces.open_before_live) + ".." +
            std::to_string(traces.open_behind_live) + (traces.live_opened ? "" : " (not opened)") + ", file up to " +
            std::to_string(BufferUpTo(traces.last_time_in_file)) + " with buffer " +
            std::to_string(traces.open_at_last_file_buffer) + " open, " +
            (traces.file_ended ? "read to its end" : "not read to its end") +
            (traces.file_ended_first ? " before the live trace was open" : "");
    verdict_.failures.push_back(std::move(line));
  }

  void JudgeConsumer(std::size_t c) {
    replays_.clear();
    for (std::size_t r = 0; r < replayed_.size(); ++r) {
      replays_.push_back(ReplayOf(evidence_.runs[r], replayed_[r].events, ConsumerAt(c)));
    }
    for (std::size_t r = 0; r < replays_.size(); ++r) JudgeRun(c, r);
    JudgeRepeats(c);
    JudgeMissing(c);
  }

  /// The module did what the model does, and went on where the run before had stored its position.
  void JudgeRun(std::size_t c, std::size_t r) {
    const Replay& replay = replays_[r];
    const std::vector<std::uint32_t>& texts = evidence_.runs[r].texts[c];
    auto expected = replay.delivered;
    if (evidence_.runs[r].killed && expected.size() == texts.size() + 1) expected.pop_back();
    if (texts != expected) {
      const auto differ = std::mismatch(texts.begin(), texts.end(), expected.begin(), expected.end());
      Fail(c, r, differ.first == texts.end() ? 0 : *differ.first,
           "the texts are not those that the model delivers (" + std::to_string(texts.size()) + " texts, " +
               std::to_string(replay.delivered.size()) + " of the model)");
    }
    if (!replay.looked) return;
    for (std::size_t before = r; before-- > 0;) {
      if (!replays_[before].looked) continue;
      const bool lost_a_text = replays_[before].delivered.size() > evidence_.runs[before].texts[c].size();
      const bool stored = replay.first == replays_[before].last && !lost_a_text;
      const bool not_yet = evidence_.runs[before].killed && replay.first == replays_[before].before_last;
      if (!stored && !not_yet) {
        Fail(c, r, replay.first.counter,
             "the run begins at position " + TextOf(replay.first) + ", the one before left " +
                 TextOf(replays_[before].last));
      }
      return;
    }
    if (!(replay.first == Position{})) Fail(c, r, replay.first.counter, "the first run does not begin at 0");
  }

  void JudgeRepeats(std::size_t c) {
    std::map<std::uint32_t, std::size_t> last_run;  // by running number
    for (std::size_t r = 0; r < replays_.size(); ++r) {
      const auto& texts = evidence_.runs[r].texts[c];
      for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto [found, is_new] = last_run.try_emplace(texts[i], r);
        if (is_new) continue;
        const std::size_t before = std::exchange(found->second, r);
        const bool allowed = before != r && i == 0 && evidence_.runs[before].killed && IsNextRun(before, r) &&
                             evidence_.runs[before].texts[c].back() == texts[i] &&
                             replays_[r].first < PositionOf(c, texts[i]);
        if (allowed) {
          ++verdict_.repeats;
        } else {
          Fail(c, r, texts[i], "came again; it came in run " + std::to_string(before + 1));
        }
      }
    }
    verdict_.delivered += last_run.size();
  }

  /// No run in between looked at this consumer.
  bool IsNextRun(std::size_t before, std::size_t r) const {
    return std::none_of(replays_.begin() + static_cast<std::ptrdiff_t>(before) + 1,
                        replays_.begin() + static_cast<std::ptrdiff_t>(r),
                        [](const Replay& replay) { return replay.looked; });
  }

  Position PositionOf(std::size_t c, std::uint32_t number) const {
    if (number == 0 || number > ConsumerAt(c).events.size()) return {};
    return {ConsumerAt(c).events[number - 1].time, number};
  }

  void JudgeMissing(std::size_t c) {
    std::unordered_set<std::uint32_t> came;
    for (const RunEvidence& run : evidence_.runs) came.insert(run.texts[c].begin(), run.texts[c].end());
    verdict_.written += ConsumerAt(c).events.size();
    for (std::uint32_t number = 1; number <= ConsumerAt(c).events.size(); ++number) {
      if (came.count(number) == 0) JudgeLoss(c, number);
    }
    for (const std::uint32_t number : came) {
      if (number == 0 || number > ConsumerAt(c).events.size()) Fail(c, 0, number, "came and was never written");
    }
  }

  /// Whether the run moved the position to or beyond `position`. A delivery that the kill cut did not move it.
  bool Passed(std::size_t c, std::size_t r, const Position& position) const {
    const Replay& replay = replays_[r];
    const bool cut = replay.delivered.size() > evidence_.runs[r].texts[c].size();
    return replay.looked && !((cut ? replay.before_last : replay.last) < position);
  }

  /// An event is lost in the run in which the position passed it, or in the last one.
  void JudgeLoss(std::size_t c, std::uint32_t number) {
    const Position position = PositionOf(c, number);
    std::size_t r = 0;
    while (r + 1 < replays_.size() && !Passed(c, r, position)) ++r;
    const RunTraces& traces = traces_[r];
    const std::uint64_t buffer = ConsumerAt(c).events[number - 1].buffer;
    if (replays_[r].inserted.count(number) != 0) {
      // The module's deliveries were those of the model, so the model loses it as well.
      ++verdict_.lost_by_order;
    } else if (traces.live_opened && buffer >= traces.open_behind_live) {
      Fail(c, r, number, "lost, though the live trace was open before its buffer closed");
    } else if (position.time <= file_reach_[r]) {
      Fail(c, r, number, "lost, though the file was read beyond it");
    } else if (!traces.live_opened) {
      Fail(c, r, number, "lost, though nothing was read but the file");
    } else if (!traces.file_ended) {
      ++verdict_.lost_unread;
    } else if (traces.file_ended_first && buffer >= traces.open_at_last_file_buffer) {
      ++verdict_.lost_between;
    } else {
      Fail(c, r, number, "lost, though its buffer closed before the file was read to its end");
    }
  }

  const KillEvidence& evidence_;
  std::map<std::uint64_t, std::uint64_t> buffer_at_;  // by time
  std::vector<RunTraces> traces_;                     // by run
  std::vector<testing::Replay> replayed_;             // by run
  std::vector<std::uint64_t> file_reach_;             // by run: the last time that is known to have come from the file
  std::vector<Replay> replays_;                       // of the consumer that is judged, by run
  KillVerdict verdict_;
};

}  // namespace

KillVerdict Judge(const KillEvidence& evidence) {
  return Judging(evidence).Verdict();
}

}  // namespace varnel::scenario
