#include "platform/embedded/trace/session_trace.h"

#include <algorithm>
#include <thread>

#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/session_store.h"

namespace varnel::embedded {
namespace {

using ring::Session;
using ring::SessionFile;
using ring::SessionState;

constexpr std::chrono::microseconds kLongestSleep{100'000};
constexpr std::chrono::microseconds kShortestSleep{200};

}  // namespace

SessionTrace::SessionTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<Session> session)
    : OpenTrace(logfile), session_(std::move(session)), reader_(session_) {
  DescribeLog(ring::DescribeFile(*session_->map(), ring::ReadPlace(*session_->map()), 0));
}

SessionTrace::Step SessionTrace::DeliverBuffer() {
  formats::EtlBufferCursor cursor(reader_.buffer(), reader_.info(), session_->map()->clock());
  while (cursor.Next(&view_)) Deliver(view_);
  return BufferDone(reader_.info().valid_end, lost_) ? Step::kGoOn : Step::kRefused;
}

LiveTrace::LiveTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<Session> session)
    : SessionTrace(logfile, std::move(session)), next_(session_->map()->open().sequence) {}

void LiveTrace::Wake() {
  ring::WakeReaders(*session_->map());
}

LiveTrace::Found LiveTrace::FindNext() {
  const auto& map = *session_->map();
  for (;;) {
    // The state is read first: what was closed before the end is still delivered.
    const bool ended = map.state() == SessionState::kEnded;
    if (!ring::IsClosed(map, next_)) return ended ? Found::kEnded : Found::kNothing;
    const auto outcome = reader_.Read(next_, SequenceReader::From::kRingFirst);
    if (outcome == SequenceReader::Outcome::kRead) return Found::kBuffer;
    if (outcome == SequenceReader::Outcome::kNotYet) return Found::kNothing;
    const std::uint64_t open = map.open().sequence;
    const std::uint64_t end = ring::IsClosed(map, open) ? open + 1 : open;
    const std::uint64_t available = reader_.NextAvailable(next_ + 1, end, SequenceReader::From::kRingFirst);
    CountLost(available - next_);
    next_ = available;
  }
}

void LiveTrace::WaitForNext() {
  const auto& map = *session_->map();
  const std::uint32_t seen = map.words().closings.load(std::memory_order_seq_cst);
  session_->Tend(SessionFile::Wait::kNo);
  if (map.state() == SessionState::kStopping) ring::FinishStop(*session_);
  if (closing() || map.state() == SessionState::kEnded) return;
  if (ring::IsClosed(map, next_)) {  // a writer holds it up
    std::this_thread::sleep_for(kShortestSleep);
    return;
  }
  // Until the open buffer is overdue, or somebody closes it.
  auto sleep = kLongestSleep;
  const auto open = map.open();
  const auto first = static_cast<std::int64_t>(
      open.slot < map.descriptors().size() ? map.descriptors()[open.slot].first_stamp.load(std::memory_order_relaxed)
                                           : 0);
  const auto flush = static_cast<std::int64_t>(map.words().flush_ticks.load(std::memory_order_relaxed));
  if (first != 0 && flush > 0) {
    const std::int64_t left = first + flush - ring::SessionClockNow();
    sleep = std::clamp(std::chrono::microseconds(left / 10 + 1), kShortestSleep, kLongestSleep);
  }
  ring::SleepUntilClosing(map, seen, sleep);
}

std::uint32_t LiveTrace::Process() {
  while (!closing()) {
    switch (FindNext()) {
      case Found::kBuffer:
        ++next_;
        // An empty one stands where a session was stopped with nothing in its last buffer.
        if (reader_.info().valid_end <= formats::kEtlBufferHeaderSize) break;
        if (DeliverBuffer() == Step::kRefused) return platform::kErrorCancelled;
        break;
      case Found::kNothing:
        WaitForNext();
        break;
      case Found::kEnded:
        return platform::kErrorWmiInstanceNotFound;
    }
  }
  return 0;
}

RunningFileTrace::RunningFileTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<Session> session)
    : SessionTrace(logfile, std::move(session)) {}

std::uint32_t RunningFileTrace::Process() {
  if (closing()) return 0;
  if (reader_.ReadHeaderBuffer() && DeliverBuffer() == Step::kRefused) return platform::kErrorCancelled;
  // What closes meanwhile is read too, up to a ring of buffers: a writer that is faster than the reader has no end.
  const auto& map = *session_->map();
  const std::uint64_t limit = ring::ReadPlace(map).next_sequence + map.constants().buffer_count;
  while (!closing()) {
    session_->Tend(SessionFile::Wait::kNo);
    const std::uint64_t end = std::min(limit, ring::ReadPlace(map).next_sequence);
    if (next_ >= end) return 0;
    if (reader_.Read(next_, SequenceReader::From::kFileOnly) != SequenceReader::Outcome::kRead) {
      // Overwritten, or lost to a full disk.
      next_ = reader_.NextAvailable(next_ + 1, end, SequenceReader::From::kFileOnly);
      continue;
    }
    ++next_;
    if (DeliverBuffer() == Step::kRefused) return platform::kErrorCancelled;
  }
  return 0;
}

}  // namespace varnel::embedded
