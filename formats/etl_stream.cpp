#include "formats/etl_stream.h"

#include <cstring>

namespace varnel::formats {
namespace {

// How far a packed body may claim to unfold. Real buffers stay far below; without a bound a file of a few kilobytes
// could make each of its streams take a whole session buffer of memory.
constexpr std::uint64_t kUnpackedFloor = 4096;
constexpr std::uint64_t kUnpackedPerByte = 512;

bool SameBuffer(const EtlBufferInfo& a, const EtlBufferInfo& b) noexcept {
  return a.size == b.size && a.sequence == b.sequence && a.processor == b.processor && a.flags == b.flags &&
         a.valid_end == b.valid_end;
}

}  // namespace

bool EtlStream::Fetch(EtlSource& source, const EtlBufferEntry& entry, std::span<const std::byte>* out) {
  *out = source.View(entry.offset, entry.file_bytes);
  if (out->size() != entry.file_bytes) {
    raw_.resize(entry.file_bytes);
    if (!source.Read(entry.offset, raw_)) return false;
    *out = raw_;
  }
  // A circular file can be written on while it is read. A buffer that has changed since the walk belongs to another
  // place in the order; it is left to the next reading.
  EtlBufferInfo now;
  return ParseEtlBufferHeader(*out, &now) && SameBuffer(now, entry.info);
}

bool EtlStream::Unpack(const EtlBufferEntry& entry, std::uint16_t packing, const EtlUnpack& unpack,
                       std::span<const std::byte>* bytes) {
  const auto body = bytes->subspan(kEtlBufferHeaderSize);
  const std::uint64_t unpacked_size = entry.info.valid_end - kEtlBufferHeaderSize;
  if (!unpack || entry.file_bytes < entry.info.size) return false;
  if (unpacked_size > kUnpackedFloor + kUnpackedPerByte * body.size()) return false;
  unpacked_.resize(entry.info.valid_end);
  std::memcpy(unpacked_.data(), bytes->data(), kEtlBufferHeaderSize);
  if (unpacked_size > 0 && !unpack(packing, body, std::span(unpacked_).subspan(kEtlBufferHeaderSize))) return false;
  *bytes = unpacked_;
  return true;
}

bool EtlStream::Load(EtlSource& source, std::uint16_t packing, const EtlUnpack& unpack) {
  const EtlBufferEntry& entry = *buffers_[next_++].entry;
  std::span<const std::byte> bytes;
  if (!Fetch(source, entry, &bytes)) return false;
  if (entry.info.packed() && !Unpack(entry, packing, unpack, &bytes)) return false;
  cursor_ = EtlBufferCursor(bytes, entry.info, clock_);
  loaded_ = true;
  return true;
}

void EtlStream::Settle(EtlAccount* account) const noexcept {
  const EtlBufferEntry& entry = *current().entry;
  const EtlBufferAccount& buffer = cursor_.account();
  account->events += buffer.events;
  account->header_bytes += kEtlBufferHeaderSize;
  if (buffer.damaged) ++account->damaged_buffers;
  if (!entry.info.packed()) {
    account->event_bytes += buffer.event_bytes;
    account->filler_bytes += buffer.filler_bytes;
    account->skipped_bytes += buffer.skipped_bytes;
    return;
  }
  // Packed bytes can't be told apart; they are shared out as the unpacked ones were, what was lost rounded up.
  const std::uint64_t body = entry.file_bytes - kEtlBufferHeaderSize;
  const std::uint64_t whole = buffer.event_bytes + buffer.filler_bytes + buffer.skipped_bytes;
  const std::uint64_t skipped = whole == 0 ? 0 : (body * buffer.skipped_bytes + whole - 1) / whole;
  account->skipped_bytes += skipped;
  account->event_bytes += body - skipped;
}

}  // namespace varnel::formats
