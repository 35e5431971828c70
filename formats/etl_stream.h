// EtlStream: the buffers of one processor in order, and the one of them that is being read. The reader merges streams.
// Private to the trace file reader.
#pragma once

#include <cstdint>
#include <vector>

#include "formats/etl_buffer.h"
#include "formats/etl_index.h"
#include "formats/etl_reader.h"

namespace varnel::formats {

/// An entry of the index and its place in the order of buffers, which settles equal stamps.
struct EtlStreamBuffer {
  const EtlBufferEntry* entry;
  std::uint64_t rank;
};

class EtlStream {
 public:
  explicit EtlStream(const EtlClock& clock) : clock_(clock) {}

  void Append(EtlStreamBuffer buffer) { buffers_.push_back(buffer); }

  bool exhausted() const noexcept { return next_ == buffers_.size(); }
  const EtlStreamBuffer& current() const noexcept { return buffers_[next_ - 1]; }
  const EtlStreamBuffer& upcoming() const noexcept { return buffers_[next_]; }

  /// Makes the upcoming buffer the current one. @return false when its bytes can't be had, are no longer what the index
  /// found, or can't be unpacked; the buffer is passed over then, and there is nothing to read.
  bool Load(EtlSource& source, std::uint16_t packing, const EtlUnpack& unpack);
  bool loaded() const noexcept { return loaded_; }
  void Unload() noexcept { loaded_ = false; }

  bool Next() noexcept { return cursor_.Next(&view_); }
  const EtlEventView& view() const noexcept { return view_; }
  /// Adds what the current buffer's bytes turned out to be.
  void Settle(EtlAccount* account) const noexcept;

  std::uint64_t rank() const noexcept { return buffers_[next_ - 1].rank; }

 private:
  bool Fetch(EtlSource& source, const EtlBufferEntry& entry, std::span<const std::byte>* out);
  bool Unpack(const EtlBufferEntry& entry, std::uint16_t packing, const EtlUnpack& unpack,
              std::span<const std::byte>* bytes);

  EtlClock clock_;
  std::vector<EtlStreamBuffer> buffers_;
  std::size_t next_ = 0;
  bool loaded_ = false;
  EtlBufferCursor cursor_;
  EtlEventView view_;
  std::vector<std::byte> raw_;       // the buffer as it stands in the file, where the source has no view
  std::vector<std::byte> unpacked_;  // header and unpacked body of a packed buffer
};

}  // namespace varnel::formats
