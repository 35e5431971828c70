#include "platform/embedded/trace/file_trace.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace varnel::embedded {

std::uint64_t HostFileSource::Size() {
  struct stat info {};
  return ::fstat(fd_.get(), &info) == 0 ? static_cast<std::uint64_t>(info.st_size) : 0;
}

bool HostFileSource::Read(std::uint64_t offset, std::span<std::byte> into) {
  while (!into.empty()) {
    const ssize_t got = ::pread(fd_.get(), into.data(), into.size(), static_cast<off_t>(offset));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    into = into.subspan(static_cast<std::size_t>(got));
    offset += static_cast<std::uint64_t>(got);
  }
  return true;
}

std::unique_ptr<FileTrace> FileTrace::Open(const platform::EVENT_TRACE_LOGFILEW& logfile, ring::UniqueFd fd,
                                           const formats::EtlUnpack& unpack, std::uint32_t* error) {
  std::unique_ptr<FileTrace> trace(new FileTrace(logfile, std::move(fd)));
  formats::EtlReadOptions options;
  options.unpack = unpack;
  options.buffer_done = [raw = trace.get()](const formats::EtlBufferEntry& buffer) { return raw->OnBuffer(buffer); };
  auto reader = formats::EtlReader::Open(trace->source_, std::move(options));
  if (!reader.ok()) {
    *error = platform::kErrorInvalidData;
    return nullptr;
  }
  trace->reader_ = std::move(reader).value();
  trace->DescribeLog(trace->reader_->header());
  return trace;
}

bool FileTrace::OnBuffer(const formats::EtlBufferEntry& buffer) {
  if (closing()) return false;
  if (BufferDone(buffer.info.valid_end, 0)) return true;
  refused_ = true;
  return false;
}

std::uint32_t FileTrace::Process() {
  while (!closing()) {
    const formats::EtlEventView* event = reader_->Next();
    if (event == nullptr) break;
    Deliver(*event);
  }
  return refused_ ? platform::kErrorCancelled : 0;
}

}  // namespace varnel::embedded
