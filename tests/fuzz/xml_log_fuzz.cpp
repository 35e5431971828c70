// Feeds whole exported event logs, in any encoding, to the reader of logs. The first byte chooses what a log that names
// no encoding is taken for. Both directions must tell the same records and the same damage.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/embedded/eventlog/log_reader.h"

namespace {

using namespace varnel::embedded;

struct Told {
  std::vector<std::uint64_t> numbers;
  LogCounts counts;
};

void Require(bool good) {
  if (!good) std::abort();
}

/// @return false when the encoding is none that is known.
bool ReadAll(int fd, LogReaderOptions options, Told* told) {
  auto reader = LogReader::Open({"/proc/self/fd/" + std::to_string(fd)}, options);
  if (!reader.ok()) {
    Require(!reader.error().message.empty());
    return false;
  }
  LogRecord record;
  while (true) {
    const LogReader::Step step = reader.value()->Next(&record);
    if (step != LogReader::Step::kRecord) {
      Require(step == LogReader::Step::kEnd);
      break;
    }
    Require(!record.xml.empty());
    told->numbers.push_back(record.record_id);
  }
  told->counts = reader.value()->counts();
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // What begins like a binary log is evtx_fuzz's.
  if (size == 0 || (size > 1 && data[1] == 'E')) return 0;
  const int fd = ::memfd_create("fuzz.xml", MFD_CLOEXEC);
  Require(fd >= 0 && ::write(fd, data + 1, size - 1) == static_cast<ssize_t>(size - 1));
  LogReaderOptions options;
  if ((data[0] & 1) != 0) options.otherwise_encoding = "WINDOWS-1252";
  Told up;
  Told down;
  const bool read = ReadAll(fd, options, &up);
  options.direction = LogDirection::kDescending;
  Require(ReadAll(fd, options, &down) == read);
  ::close(fd);
  std::reverse(down.numbers.begin(), down.numbers.end());
  Require(std::is_sorted(up.numbers.begin(), up.numbers.end()) && up.numbers == down.numbers);
  Require(up.counts.records == down.counts.records && up.counts.duplicates == down.counts.duplicates &&
          up.counts.skipped == down.counts.skipped && up.counts.replaced == down.counts.replaced);
  return 0;
}
