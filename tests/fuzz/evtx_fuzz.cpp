// Feeds chunks of binary event logs to the reader and, through it, to the helper process: the input is what stands
// behind the file's header. Whatever it holds, reading ends without an error, in order, and the reader lives.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "platform/embedded/eventlog/log_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel::embedded;
  const int fd = ::memfd_create("fuzz.evtx", MFD_CLOEXEC);
  std::string bytes(4096, '\0');
  bytes.replace(0, 8, std::string("ElfFile\0", 8));
  bytes.append(reinterpret_cast<const char*>(data), size);
  if (fd < 0 || ::write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
  LogReaderOptions options;
  options.direction = LogDirection::kDescending;
  auto reader = LogReader::Open({"/proc/self/fd/" + std::to_string(fd)}, options);
  if (!reader.ok()) std::abort();
  LogRecord record;
  std::uint64_t last = ~std::uint64_t{0};
  while (reader.value()->Next(&record) == LogReader::Step::kRecord) {
    if (record.stored_id > last || record.xml.empty()) std::abort();
    last = record.stored_id;
  }
  ::close(fd);
  return 0;
}
