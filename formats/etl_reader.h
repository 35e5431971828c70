// EtlReader reads a trace file: its log header, and its events merged over processors and buffers in time order, each
// with its FILETIME. What is damaged is skipped and counted; every byte of the file is accounted for.
//
// One reader is used by one thread. A view that Next gives is valid until the next call of Next or the reader's end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "formats/etl_event.h"
#include "formats/etl_index.h"
#include "formats/etl_log_header.h"
#include "formats/etl_source.h"
#include "formats/result.h"

namespace varnel::formats {

/// Unpacks `in` so that it fills `out` exactly. `format` is one of kEtlPacking.... @return false when it can't; `out`
/// may then hold anything. Never throws.
using EtlUnpack = std::function<bool(std::uint16_t format, std::span<const std::byte> in, std::span<std::byte> out)>;

/// Told after the last event of a buffer, before the first of the next; @return false to end the reading.
using EtlBufferHook = std::function<bool(const EtlBufferEntry& buffer)>;

struct EtlReadOptions {
  EtlUnpack unpack;           // none: packed buffers are skipped
  EtlBufferHook buffer_done;  // none: nobody is told
};

/// What became of the file's bytes. Once Next has come to the end by itself, the sum of the four byte counts is the
/// file's size. The body of a packed buffer counts with its packed bytes, as event bytes in so far as it was read.
struct EtlAccount {
  std::uint64_t file_size = 0;
  std::uint64_t buffers = 0;  // read, damaged ones included where their header was good
  std::uint64_t events = 0;
  std::uint64_t header_bytes = 0;
  std::uint64_t event_bytes = 0;
  std::uint64_t filler_bytes = 0;
  std::uint64_t skipped_bytes = 0;
  std::uint64_t damaged_buffers = 0;
  bool cut = false;  // the file ends inside a buffer
};

class EtlStream;

class EtlReader {
 public:
  /// Opens a file. `source` must outlive the reader. An error when it is not a trace file; damage behind the first
  /// buffer is none.
  static Result<std::unique_ptr<EtlReader>> Open(EtlSource& source, EtlReadOptions options);

  EtlReader(const EtlReader&) = delete;
  EtlReader& operator=(const EtlReader&) = delete;
  ~EtlReader();

  /// The log header of the file's beginning.
  const EtlLogHeader& header() const noexcept { return index_.segments.front().header; }
  /// The log header of the events that Next is giving now: another one where the file was appended to.
  const EtlLogHeader& current_header() const noexcept { return index_.segments[segment_].header; }

  /// The next event in time order, or null at the end or after the hook said no. Events with the same stamp come in the
  /// order of the file; the log header's own event comes first.
  const EtlEventView* Next();

  /// Complete after Next has given null.
  const EtlAccount& account() const noexcept { return account_; }
  const EtlIndex& index() const noexcept { return index_; }
  bool cancelled() const noexcept { return cancelled_; }

 private:
  EtlReader(EtlSource& source, EtlReadOptions options, EtlIndex index);

  /// What the merge compares of a stream: the stamp of its event and the place of its buffer.
  struct Head {
    std::int64_t stamp;
    std::uint64_t rank;
    EtlStream* stream;
    // Without branches: streams interleave as they like, and a guess would be wrong half of the time.
    bool IsBefore(const Head& other) const noexcept {
      return (stamp < other.stamp) | ((stamp == other.stamp) & (rank < other.rank));
    }
  };

  void EnterSegment();
  void AddStreams(const EtlSegment& segment);
  bool Advance(EtlStream& stream);
  bool LoadNextBuffer(EtlStream& stream);
  bool FinishBuffer(EtlStream& stream);
  void CountUnread(const EtlBufferEntry& entry);
  void Replace(const Head& moved) noexcept;
  bool Settle();

  EtlSource& source_;
  EtlReadOptions options_;
  EtlIndex index_;
  std::uint16_t packing_ = 0;
  std::size_t segment_ = 0;
  std::vector<std::unique_ptr<EtlStream>> streams_;
  std::vector<Head> heap_;  // the streams beside the current one, the earliest on top
  Head current_ = {0, 0, nullptr};
  bool entered_ = false;
  bool cancelled_ = false;
  EtlAccount account_;
};

}  // namespace varnel::formats
