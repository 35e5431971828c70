// SequenceReader: the closed buffers of a running session by their numbers, from the ring while they are there, else
// from the session's file, with every byte as it stands in the file. One thread.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "formats/etl_buffer.h"
#include "platform/embedded/ring/session.h"

namespace varnel::embedded {

class SequenceReader {
 public:
  explicit SequenceReader(std::shared_ptr<ring::Session> session);

  enum class From { kRingFirst, kFileOnly };
  enum class Outcome {
    kRead,    // buffer() holds it
    kGone,    // neither the ring nor the file has it any more
    kNotYet,  // a living writer holds it up
  };

  /// Reads buffer `sequence`. REQUIRES: it is closed.
  Outcome Read(std::uint64_t sequence, From from);

  /// The lowest number at or above `sequence` that the ring (unless file only) or the file still has; `limit` when
  /// there is none below it.
  std::uint64_t NextAvailable(std::uint64_t sequence, std::uint64_t limit, From from);

  /// The buffer that was read, whole, and its header.
  std::span<const std::byte> buffer() const noexcept { return bytes_; }
  const formats::EtlBufferInfo& info() const noexcept { return info_; }

  /// The header buffer of the file. @return false when there is none to read.
  bool ReadHeaderBuffer();

 private:
  Outcome ReadFromRing(std::uint64_t sequence);
  bool ReadFromFile(std::uint64_t sequence);
  bool ReadAt(std::uint64_t place);
  std::uint64_t PlacesInFile() const;
  /// 0 when no buffer can be read there.
  std::uint64_t SequenceAt(std::uint64_t place);
  /// How many places behind this one, below `places`, were never written.
  std::uint64_t HoleBehind(std::uint64_t place, std::uint64_t places);

  const std::shared_ptr<ring::Session> session_;
  const ring::FileShape shape_;
  std::vector<std::byte> bytes_;
  formats::EtlBufferInfo info_;
  std::uint64_t hint_ = 0;  // the place in the file behind the last buffer found
};

}  // namespace varnel::embedded
