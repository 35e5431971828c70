// OpenTrace: a session or file that a consumer has opened. ProcessTrace runs it on one thread; CloseTrace may end it
// from another. The caller's names and callbacks are copied.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "formats/etl_log_header.h"
#include "platform/embedded/trace/event_record.h"
#include "platform/trace.h"

namespace varnel::embedded {

class OpenTrace {
 public:
  /// `logfile` is what the caller handed to OpenTraceW.
  explicit OpenTrace(const platform::EVENT_TRACE_LOGFILEW& logfile);
  virtual ~OpenTrace() = default;
  OpenTrace(const OpenTrace&) = delete;
  OpenTrace& operator=(const OpenTrace&) = delete;

  /// Calls back until the source ends. 0; 1223 after a buffer callback said no; 0 after Close; 4201 when the session
  /// goes.
  virtual std::uint32_t Process() = 0;

  /// Makes Process end at its next buffer at the latest. Any thread.
  void Close();

  /// What OpenTraceW gives back in the caller's record: the header of the log.
  void FillCaller(platform::EVENT_TRACE_LOGFILEW* logfile) const;

  /// True once for the first ProcessTrace and from then on until it has returned.
  bool Begin() noexcept { return !busy_.exchange(true, std::memory_order_acq_rel); }
  void End() noexcept { busy_.store(false, std::memory_order_release); }
  bool busy() const noexcept { return busy_.load(std::memory_order_acquire); }

 protected:
  bool closing() const noexcept { return closing_.load(std::memory_order_acquire); }
  /// Called by Close, to end a wait.
  virtual void Wake() {}

  void DescribeLog(const formats::EtlLogHeader& header);
  void Deliver(const formats::EtlEventView& event);
  /// Tells the buffer callback. @return false when it said no.
  bool BufferDone(std::uint32_t filled, std::uint64_t lost);

  platform::EVENT_TRACE_LOGFILEW logfile_;

 private:
  std::u16string logger_name_;
  std::u16string log_file_name_;
  std::u16string header_logger_name_;
  std::u16string header_file_name_;
  RecordBuilder records_;
  std::atomic<bool> closing_{false};
  std::atomic<bool> busy_{false};
};

}  // namespace varnel::embedded
