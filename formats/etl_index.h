// The map of a trace file: where its buffers stand, which log header each belongs to, and what of the file is no
// buffer. Made by one walk over the buffer headers, before any event is read.
#pragma once

#include <cstdint>
#include <vector>

#include "formats/etl_buffer.h"
#include "formats/etl_log_header.h"
#include "formats/etl_source.h"
#include "formats/result.h"

namespace varnel::formats {

struct EtlBufferEntry {
  std::uint64_t offset = 0;      // in the file
  std::uint32_t file_bytes = 0;  // less than info.size for a buffer that the file's end cuts
  EtlBufferInfo info;
};

/// A log header and the buffers behind it. A file has one; a file that was appended to can have more, each with a clock
/// and an origin of its own.
struct EtlSegment {
  EtlLogHeader header;
  std::size_t first = 0;  // range of entries, the header buffer first
  std::size_t last = 0;
};

/// What the walk found beside buffers; both are bytes of the file.
struct EtlIndex {
  std::vector<EtlBufferEntry> entries;  // in the file's order
  std::vector<EtlSegment> segments;     // at least one
  std::uint64_t file_size = 0;
  std::uint64_t filler_bytes = 0;     // room of zeros that was never written
  std::uint64_t skipped_bytes = 0;    // where a buffer header was due and none stood
  std::uint64_t damaged_buffers = 0;  // stretches of such bytes
  bool cut = false;                   // the file's end cuts its last buffer
};

/// Walks a file. An error when it is not a trace file (its first buffer has no log header), or can't be read there.
/// Memory is bounded by the file's size: one entry for each header found.
Result<EtlIndex> BuildEtlIndex(EtlSource& source);

}  // namespace varnel::formats
