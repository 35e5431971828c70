// SessionTrace: what a running session has recorded: live, beginning with the buffer that is open now, or what stands
// in its file, beginning with the oldest buffer there. Both give the same events the same times.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/embedded/ring/session.h"
#include "platform/embedded/trace/open_trace.h"
#include "platform/embedded/trace/sequence_reader.h"

namespace varnel::embedded {

class SessionTrace : public OpenTrace {
 public:
  SessionTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<ring::Session> session);

 protected:
  enum class Step { kGoOn, kRefused };

  /// Hands out the events of the buffer that the reader has read, then tells the buffer callback.
  Step DeliverBuffer();
  /// Counts buffers that this reader has missed.
  void CountLost(std::uint64_t buffers) { lost_ += buffers; }

  const std::shared_ptr<ring::Session> session_;
  SequenceReader reader_;

 private:
  formats::EtlEventView view_;
  std::uint64_t lost_ = 0;
};

/// Live. Ends with 4201 when the session has ended and everything is read.
class LiveTrace final : public SessionTrace {
 public:
  LiveTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<ring::Session> session);
  std::uint32_t Process() override;

 protected:
  void Wake() override;

 private:
  enum class Found { kBuffer, kNothing, kEnded };
  Found FindNext();
  void WaitForNext();

  std::uint64_t next_;
};

/// The file of a running session, closed buffers only. Ends where the session's writing stands, at most a ring of
/// buffers behind where it stood when the reading began.
class RunningFileTrace final : public SessionTrace {
 public:
  RunningFileTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, std::shared_ptr<ring::Session> session);
  std::uint32_t Process() override;

 private:
  std::uint64_t next_ = 1;
};

}  // namespace varnel::embedded
