#include "platform/embedded/trace/open_trace.h"

#include <algorithm>
#include <cstring>

namespace varnel::embedded {

using platform::EVENT_TRACE_LOGFILEW;
using platform::TRACE_LOGFILE_HEADER;

OpenTrace::OpenTrace(const EVENT_TRACE_LOGFILEW& logfile)
    : logfile_(logfile),
      logger_name_(logfile.LoggerName != nullptr ? logfile.LoggerName : u""),
      log_file_name_(logfile.LogFileName != nullptr ? logfile.LogFileName : u""),
      records_((logfile.ProcessTraceMode & platform::kProcessTraceModeRawTimestamp) != 0, logfile.Context) {
  logfile_.LoggerName = logfile.LoggerName != nullptr ? logger_name_.c_str() : nullptr;
  logfile_.LogFileName = logfile.LogFileName != nullptr ? log_file_name_.c_str() : nullptr;
  logfile_.BuffersRead = 0;
  logfile_.EventsLost = 0;
  logfile_.Filled = 0;
}

void OpenTrace::Close() {
  closing_.store(true, std::memory_order_release);
  Wake();
}

void OpenTrace::DescribeLog(const formats::EtlLogHeader& header) {
  header_logger_name_ = header.logger_name;
  header_file_name_ = header.log_file_name;
  TRACE_LOGFILE_HEADER& out = logfile_.LogfileHeader;
  out.BufferSize = header.buffer_size;
  out.Version = header.os_major | (std::uint32_t{header.os_minor} << 8) | (std::uint32_t{header.layout_major} << 16) |
                (std::uint32_t{header.layout_minor} << 24);
  out.ProviderVersion = header.provider_version;
  out.NumberOfProcessors = header.processors;
  out.EndTime = header.end_time;
  out.TimerResolution = header.timer_resolution;
  out.MaximumFileSize = header.maximum_file_size;
  out.LogFileMode = header.log_file_mode;
  out.BuffersWritten = header.buffers_written;
  out.StartBuffers = header.start_buffers;
  out.PointerSize = header.pointer_size;
  out.EventsLost = header.events_lost;
  out.CpuSpeedInMHz = header.cpu_speed_mhz;
  out.LoggerName = header_logger_name_.data();
  out.LogFileName = header_file_name_.data();
  static_assert(sizeof out.TimeZone == formats::kEtlTimeZoneSize);
  std::memcpy(&out.TimeZone, header.time_zone.data(), sizeof out.TimeZone);
  out.BootTime = header.boot_time;
  out.PerfFreq = header.perf_freq;
  out.StartTime = header.start_time;
  out.ReservedFlags = header.clock_type;
  out.BuffersLost = header.buffers_lost;
  logfile_.BufferSize = header.buffer_size;
}

void OpenTrace::FillCaller(EVENT_TRACE_LOGFILEW* logfile) const {
  logfile->LogfileHeader = logfile_.LogfileHeader;
  logfile->BufferSize = logfile_.BufferSize;
  logfile->BuffersRead = 0;
  logfile->EventsLost = 0;
  logfile->IsKernelTrace = 0;
}

void OpenTrace::Deliver(const formats::EtlEventView& event) {
  logfile_.CurrentTime = event.file_time;
  logfile_.EventRecordCallback(records_.Make(event));
}

bool OpenTrace::BufferDone(std::uint32_t filled, std::uint64_t lost) {
  ++logfile_.BuffersRead;
  logfile_.Filled = filled;
  logfile_.EventsLost = static_cast<std::uint32_t>(std::min<std::uint64_t>(lost, 0xFFFFFFFF));
  return logfile_.BufferCallback == nullptr || logfile_.BufferCallback(&logfile_) != 0;
}

}  // namespace varnel::embedded
