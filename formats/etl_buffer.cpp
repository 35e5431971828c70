#include "formats/etl_buffer.h"

#include <algorithm>
#include <cstring>

namespace varnel::formats {
namespace {

/// Bytes that only fill: 0xFF as sessions write it, or zeros as copies and preallocated files have them.
bool IsFillerByte(std::byte byte) noexcept {
  return byte == std::byte{kEtlFillerByte} || byte == std::byte{0};
}

/// @return the place of the first byte that is no filler, or the size.
std::size_t FillerEnd(std::span<const std::byte> bytes) noexcept {
  std::size_t i = 0;
  for (; bytes.size() - i >= sizeof(std::uint64_t); i += sizeof(std::uint64_t)) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + i, sizeof(word));
    if (word != 0 && word != ~std::uint64_t{0}) break;
  }
  while (i < bytes.size() && IsFillerByte(bytes[i])) ++i;
  return i;
}

/// The end of valid data. Where the authoritative field makes no sense the older one may; a header buffer without
/// either is taken whole, because its first event ends at its own size.
bool FindValidEnd(const EtlBufferHeaderFormat& header, std::uint32_t* out) noexcept {
  const bool packed = (header.buffer_flag & kEtlBufferFlagPacked) != 0;
  const auto fits = [&](std::uint32_t end) {
    return end >= kEtlBufferHeaderSize && (packed || end <= header.buffer_size);
  };
  if (fits(header.offset)) {
    *out = header.offset;
  } else if (fits(header.saved_offset)) {
    *out = header.saved_offset;
  } else if (header.buffer_type == kEtlBufferTypeHeader && header.offset == 0 && header.saved_offset == 0) {
    *out = header.buffer_size;
  } else {
    return false;
  }
  return true;
}

}  // namespace

bool ParseEtlBufferHeader(std::span<const std::byte> bytes, EtlBufferInfo* out) noexcept {
  if (bytes.size() < kEtlBufferHeaderSize) return false;
  EtlBufferHeaderFormat header;
  std::memcpy(&header, bytes.data(), sizeof(header));
  if (header.buffer_size < kEtlBufferHeaderSize || header.buffer_type > kEtlBufferTypeLast) return false;
  if ((header.buffer_flag & ~kEtlBufferFlagsKnown) != 0) return false;
  if ((header.buffer_flag & kEtlBufferFlagPacked) == 0 && header.buffer_size % kEtlEventAlignment != 0) return false;
  if (!FindValidEnd(header, &out->valid_end)) return false;
  const bool index = (header.buffer_flag & kEtlBufferFlagProcessorIndex) != 0;
  out->processor = index ? header.processor & kEtlProcessorIndexMask : header.processor & 0xFF;
  out->size = header.buffer_size;
  out->logger_id = header.logger_id;
  out->flags = header.buffer_flag;
  out->type = header.buffer_type;
  out->state = header.state;
  out->sequence = header.sequence_number;
  out->time_stamp = header.time_stamp;
  return true;
}

EtlBufferCursor::EtlBufferCursor(std::span<const std::byte> buffer, const EtlBufferInfo& info,
                                 const EtlClock& clock) noexcept
    : buffer_(buffer),
      offset_(std::min<std::size_t>(kEtlBufferHeaderSize, buffer.size())),
      end_(std::clamp<std::size_t>(info.valid_end, offset_, buffer.size())),
      processor_(info.processor),
      logger_id_(info.logger_id),
      done_(false),
      clock_(clock) {}

bool EtlBufferCursor::Next(EtlEventView* out) noexcept {
  while (!done_) {
    if (offset_ >= end_) {
      Finish(/*damaged=*/false);
      break;
    }
    std::uint32_t size = 0;
    switch (ParseEtlEvent(buffer_.subspan(offset_, end_ - offset_), out, &size)) {
      case EtlParseOutcome::kEvent:
        out->processor = processor_;
        out->logger_id = logger_id_;
        out->file_time = clock_.ToFileTime(out->stamp);
        ++account_.events;
        account_.event_bytes += size;
        PassOver(size);
        return true;
      case EtlParseOutcome::kStepOver:
        account_.skipped_bytes += size;
        PassOver(size);
        break;
      case EtlParseOutcome::kFiller:
        Finish(/*damaged=*/FillerEnd(buffer_.subspan(offset_, end_ - offset_)) != end_ - offset_);
        break;
      case EtlParseOutcome::kDamaged:
        Finish(/*damaged=*/true);
        break;
    }
  }
  return false;
}

void EtlBufferCursor::PassOver(std::uint32_t size) noexcept {
  const std::size_t next = std::min<std::size_t>(offset_ + EtlAlign(size), buffer_.size());
  account_.filler_bytes += next - offset_ - size;
  offset_ = next;
}

void EtlBufferCursor::Finish(bool damaged) noexcept {
  done_ = true;
  account_.damaged = damaged;
  if (damaged) account_.skipped_bytes += end_ - offset_;
  const std::size_t rest = damaged ? end_ : offset_;
  // Data behind the end of data means that the end is not to be trusted; it is not counted as if nothing stood there.
  const std::size_t filler = FillerEnd(buffer_.subspan(rest));
  account_.filler_bytes += filler;
  account_.skipped_bytes += buffer_.size() - rest - filler;
}

}  // namespace varnel::formats
