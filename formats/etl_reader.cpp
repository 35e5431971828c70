#include "formats/etl_reader.h"

#include <algorithm>
#include <utility>

#include "formats/etl_stream.h"

namespace varnel::formats {
namespace {

constexpr auto kLaterStream = [](const EtlStream* a, const EtlStream* b) { return b->IsBefore(*a); };

/// The buffers of a segment, its header buffer left out, with their rank: by processor, and within one in the order of
/// time. That is the file's order, but for a circular file, which goes on at its beginning when it is full.
std::vector<EtlStreamBuffer> OrderBuffers(const EtlIndex& index, const EtlSegment& segment) {
  std::vector<EtlStreamBuffer> buffers;
  buffers.reserve(segment.last - segment.first - 1);
  const bool circular = (segment.header.log_file_mode & kEtlModeCircular) != 0;
  for (std::size_t i = segment.first + 1; i < segment.last; ++i) {
    const EtlBufferEntry& entry = index.entries[i];
    const std::uint64_t rank =
        circular ? static_cast<std::uint64_t>(std::max<std::int64_t>(entry.info.sequence, 1)) : i;
    buffers.push_back({&entry, rank});
  }
  std::stable_sort(buffers.begin(), buffers.end(), [](const EtlStreamBuffer& a, const EtlStreamBuffer& b) {
    if (a.entry->info.processor != b.entry->info.processor) return a.entry->info.processor < b.entry->info.processor;
    return a.rank < b.rank;
  });
  return buffers;
}

}  // namespace

Result<std::unique_ptr<EtlReader>> EtlReader::Open(EtlSource& source, EtlReadOptions options) {
  auto index = BuildEtlIndex(source);
  if (!index.ok()) return index.error();
  return std::unique_ptr<EtlReader>(new EtlReader(source, std::move(options), std::move(index).value()));
}

EtlReader::EtlReader(EtlSource& source, EtlReadOptions options, EtlIndex index)
    : source_(source), options_(std::move(options)), index_(std::move(index)) {
  // The first buffer of a packed file tells how the others are packed.
  packing_ = static_cast<std::uint16_t>(index_.entries.front().info.state);
  account_.file_size = index_.file_size;
  account_.filler_bytes = index_.filler_bytes;
  account_.skipped_bytes = index_.skipped_bytes;
  account_.damaged_buffers = index_.damaged_buffers;
  account_.cut = index_.cut;
}

EtlReader::~EtlReader() = default;

void EtlReader::AddStreams(const EtlSegment& segment) {
  const EtlClock clock = segment.header.Clock();
  streams_.push_back(std::make_unique<EtlStream>(clock));
  streams_.back()->Append({&index_.entries[segment.first], 0});
  const EtlBufferEntry* previous = nullptr;
  for (const EtlStreamBuffer& buffer : OrderBuffers(index_, segment)) {
    const bool same = previous != nullptr && previous->info.processor == buffer.entry->info.processor;
    if (!same) streams_.push_back(std::make_unique<EtlStream>(clock));
    streams_.back()->Append(buffer);
    previous = buffer.entry;
  }
}

void EtlReader::EnterSegment() {
  heap_.clear();
  streams_.clear();
  AddStreams(index_.segments[segment_]);
  for (const auto& stream : streams_) {
    if (!Advance(*stream)) {
      if (cancelled_) return;
      continue;
    }
    if (stream == streams_.front()) stream->PutFirst();
    heap_.push_back(stream.get());
  }
  std::make_heap(heap_.begin(), heap_.end(), kLaterStream);
}

void EtlReader::CountUnread(const EtlBufferEntry& entry) {
  ++account_.buffers;
  ++account_.damaged_buffers;
  account_.header_bytes += kEtlBufferHeaderSize;
  account_.skipped_bytes += entry.file_bytes - kEtlBufferHeaderSize;
}

bool EtlReader::LoadNextBuffer(EtlStream& stream) {
  while (!stream.exhausted()) {
    if (stream.Load(source_, packing_, options_.unpack)) return true;
    CountUnread(*stream.current().entry);
  }
  return false;
}

bool EtlReader::FinishBuffer(EtlStream& stream) {
  stream.Settle(&account_);
  stream.Unload();
  ++account_.buffers;
  if (options_.buffer_done && !options_.buffer_done(*stream.current().entry)) cancelled_ = true;
  return !cancelled_;
}

/// Moves a stream to its next event. @return false at its end, or when the hook said no.
bool EtlReader::Advance(EtlStream& stream) {
  for (;;) {
    if (stream.loaded()) {
      if (stream.Next()) return true;
      if (!FinishBuffer(stream)) return false;
    }
    if (!LoadNextBuffer(stream)) return false;
  }
}

/// Makes the stream with the earliest event the current one. @return false when there is none.
bool EtlReader::Settle() {
  if (heap_.empty()) return current_ != nullptr;
  if (current_ != nullptr && !heap_.front()->IsBefore(*current_)) return true;
  std::pop_heap(heap_.begin(), heap_.end(), kLaterStream);
  EtlStream* const earliest = heap_.back();
  heap_.pop_back();
  if (current_ != nullptr) {
    heap_.push_back(current_);
    std::push_heap(heap_.begin(), heap_.end(), kLaterStream);
  }
  current_ = earliest;
  return true;
}

const EtlEventView* EtlReader::Next() {
  if (cancelled_) return nullptr;
  if (!entered_) {
    entered_ = true;
    EnterSegment();
  } else if (current_ != nullptr && !Advance(*current_)) {
    current_ = nullptr;
  }
  while (!cancelled_ && !Settle()) {
    if (segment_ + 1 >= index_.segments.size()) return nullptr;
    ++segment_;
    EnterSegment();
  }
  return cancelled_ ? nullptr : &current_->view();
}

}  // namespace varnel::formats
