#include "formats/etl_index.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace varnel::formats {
namespace {

constexpr std::size_t kLogHeaderReach = kEtlBufferHeaderSize + 0x10000;  // an event has a size of 16 bits
constexpr std::size_t kChunk = 0x10000;

/// Reads up to `size` bytes at a place, in place where the source can.
class Window {
 public:
  explicit Window(EtlSource& source) : source_(source) {}

  std::span<const std::byte> At(std::uint64_t offset, std::size_t size) {
    const auto view = source_.View(offset, size);
    if (view.size() == size) return view;
    scratch_.resize(size);
    if (!source_.Read(offset, scratch_)) return {};
    return scratch_;
  }

 private:
  EtlSource& source_;
  std::vector<std::byte> scratch_;
};

class IndexWalk {
 public:
  explicit IndexWalk(EtlSource& source) : window_(source) { index_.file_size = source.Size(); }

  Result<EtlIndex> Run();

 private:
  std::optional<Error> TakeFirstBuffer();
  bool HeaderAt(std::uint64_t offset, EtlBufferInfo* out);
  bool IsSound(std::uint64_t offset, const EtlBufferInfo& info);
  bool HidesTheNextBuffer(std::uint64_t offset, const EtlBufferInfo& info);
  bool ReadLogHeader(const EtlBufferEntry& entry, EtlLogHeader* out);
  void Add(const EtlBufferEntry& entry);
  std::uint64_t FindNextBuffer(std::uint64_t offset);
  std::uint64_t FindNextPacked(std::uint64_t offset);
  bool IsZero(std::uint64_t offset, std::uint64_t size);
  void PassOver(std::uint64_t offset, std::uint64_t next);

  Window window_;
  EtlIndex index_;
  std::uint32_t nominal_ = 0;  // what a buffer takes in the file, or unpacked when packed
  bool packed_ = false;
  std::uint64_t skipped_to_ = 0;  // end of the last stretch that was passed over
};

bool IndexWalk::HeaderAt(std::uint64_t offset, EtlBufferInfo* out) {
  if (index_.file_size - offset < kEtlBufferHeaderSize) return false;
  return ParseEtlBufferHeader(window_.At(offset, kEtlBufferHeaderSize), out);
}

bool IndexWalk::ReadLogHeader(const EtlBufferEntry& entry, EtlLogHeader* out) {
  const std::size_t reach = std::min<std::size_t>(entry.file_bytes, kLogHeaderReach);
  return ParseEtlLogHeader(window_.At(entry.offset, reach), out);
}

std::optional<Error> IndexWalk::TakeFirstBuffer() {
  EtlBufferEntry entry;
  if (index_.file_size < kEtlBufferHeaderSize) return Error{"too short for a trace file", 0};
  if (!HeaderAt(0, &entry.info)) return Error{"no trace file: no buffer header at its start", 0};
  if (entry.info.packed()) return Error{"no trace file: its first buffer is packed", 0};
  entry.file_bytes = static_cast<std::uint32_t>(std::min<std::uint64_t>(entry.info.size, index_.file_size));
  EtlSegment segment;
  if (!ReadLogHeader(entry, &segment.header)) {
    return Error{"no trace file: its first event is no log file header", kEtlBufferHeaderSize};
  }
  index_.cut = entry.info.size > index_.file_size;
  EtlBufferInfo second;
  packed_ = (segment.header.log_file_mode & kEtlModePacked) != 0 ||
            (entry.info.size < index_.file_size && HeaderAt(entry.info.size, &second) && second.packed());
  nominal_ = packed_ ? segment.header.buffer_size : entry.info.size;
  index_.segments.push_back(std::move(segment));
  index_.entries.push_back(entry);
  return std::nullopt;
}

bool IndexWalk::HidesTheNextBuffer(std::uint64_t offset, const EtlBufferInfo& info) {
  // A buffer larger than the others is fine, unless one stands where the next is due: then its size is wrong, and to
  // believe it would pass over whole buffers as filler.
  if (info.size <= nominal_ || index_.file_size - offset <= nominal_) return false;
  EtlBufferInfo next;
  if (HeaderAt(offset + nominal_, &next)) return true;
  return info.size > index_.file_size - offset;
}

bool IndexWalk::IsSound(std::uint64_t offset, const EtlBufferInfo& info) {
  if (!packed_) return !info.packed() && !HidesTheNextBuffer(offset, info);
  // A packed buffer never is larger than what it unpacks to, and that is at most a session buffer.
  return info.size <= nominal_ && info.valid_end <= nominal_;
}

void IndexWalk::Add(const EtlBufferEntry& entry) {
  EtlSegment segment;
  if (entry.info.type == kEtlBufferTypeHeader && !entry.info.packed() && ReadLogHeader(entry, &segment.header)) {
    index_.segments.back().last = index_.entries.size();
    segment.first = index_.entries.size();
    index_.segments.push_back(std::move(segment));
  }
  index_.entries.push_back(entry);
}

bool IndexWalk::IsZero(std::uint64_t offset, std::uint64_t size) {
  while (size > 0) {
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(size, kChunk));
    const auto bytes = window_.At(offset, part);
    if (bytes.size() != part) return false;
    if (!std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; })) return false;
    offset += part;
    size -= part;
  }
  return true;
}

std::uint64_t IndexWalk::FindNextPacked(std::uint64_t offset) {
  // Packed buffers stand at any place, so every place is tried; a window is fetched at a time.
  for (std::uint64_t at = offset; index_.file_size - at >= kEtlBufferHeaderSize;) {
    const auto part = static_cast<std::size_t>(std::min<std::uint64_t>(kChunk, index_.file_size - at));
    const auto bytes = window_.At(at, part);
    if (bytes.size() != part) break;
    const std::size_t tries = part - kEtlBufferHeaderSize + 1;
    for (std::size_t i = 0; i < tries; ++i) {
      EtlBufferInfo info;
      if (!ParseEtlBufferHeader(bytes.subspan(i), &info)) continue;
      const bool likely = info.packed() && info.type == kEtlBufferTypeGeneric && info.state == kEtlBufferStateFlushed &&
                          info.size <= nominal_ && info.valid_end <= nominal_ && info.size <= index_.file_size - at - i;
      if (likely) return at + i;
    }
    at += tries;
  }
  return index_.file_size;
}

std::uint64_t IndexWalk::FindNextBuffer(std::uint64_t offset) {
  if (packed_) return FindNextPacked(offset + 1);
  // Buffers that are not packed stand at multiples of their size.
  const std::uint64_t next = (offset / nominal_ + 1) * nominal_;
  return std::min(next, index_.file_size);
}

void IndexWalk::PassOver(std::uint64_t offset, std::uint64_t next) {
  if (IsZero(offset, next - offset)) {
    index_.filler_bytes += next - offset;
    return;
  }
  index_.skipped_bytes += next - offset;
  if (offset != skipped_to_) ++index_.damaged_buffers;
  skipped_to_ = next;
}

Result<EtlIndex> IndexWalk::Run() {
  if (auto error = TakeFirstBuffer()) return *error;
  std::uint64_t offset = index_.entries.front().file_bytes;
  while (offset < index_.file_size) {
    EtlBufferEntry entry;
    entry.offset = offset;
    if (!HeaderAt(offset, &entry.info) || !IsSound(offset, entry.info)) {
      const std::uint64_t next = FindNextBuffer(offset);
      PassOver(offset, next);
      offset = next;
      continue;
    }
    const std::uint64_t rest = index_.file_size - offset;
    entry.file_bytes = static_cast<std::uint32_t>(std::min<std::uint64_t>(entry.info.size, rest));
    index_.cut = entry.info.size > rest;
    Add(entry);
    offset += entry.file_bytes;
  }
  index_.segments.back().last = index_.entries.size();
  return std::move(index_);
}

}  // namespace

Result<EtlIndex> BuildEtlIndex(EtlSource& source) {
  return IndexWalk(source).Run();
}

}  // namespace varnel::formats
