// FileTrace: a trace file that no session is writing, read from its beginning to its end in time order.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "formats/etl_reader.h"
#include "platform/embedded/ring/ofd_lock.h"
#include "platform/embedded/trace/open_trace.h"
#include "platform/embedded/trace/trace_options.h"

namespace varnel::embedded {

/// A file on the host, read by place. It is not mapped: a session that starts on the same file cuts it, and a mapping
/// would fault.
class HostFileSource final : public formats::EtlSource {
 public:
  explicit HostFileSource(ring::UniqueFd fd) : fd_(std::move(fd)) {}
  std::uint64_t Size() override;
  bool Read(std::uint64_t offset, std::span<std::byte> into) override;

 private:
  ring::UniqueFd fd_;
};

class FileTrace final : public OpenTrace {
 public:
  /// Null with a Win32 error: 13 when the file is no trace file.
  static std::unique_ptr<FileTrace> Open(const platform::EVENT_TRACE_LOGFILEW& logfile, ring::UniqueFd fd,
                                         const formats::EtlUnpack& unpack, std::uint32_t* error);

  std::uint32_t Process() override;

 private:
  FileTrace(const platform::EVENT_TRACE_LOGFILEW& logfile, ring::UniqueFd fd)
      : OpenTrace(logfile), source_(std::move(fd)) {}
  bool OnBuffer(const formats::EtlBufferEntry& buffer);

  HostFileSource source_;
  std::unique_ptr<formats::EtlReader> reader_;
  bool refused_ = false;
};

}  // namespace varnel::embedded
