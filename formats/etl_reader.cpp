#include "formats/etl_reader.h"

#include <algorithm>
#include <utility>

#include "formats/etl_stream.h"

namespace varnel::formats {
namespace {

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
    // The log header's own event goes before everything, whatever its stamp.
    const bool own = stream == streams_.front();
    heap_.push_back({own ? INT64_MIN : stream->view().stamp, stream->rank(), stream.get()});
  }
  std::make_heap(heap_.begin(), heap_.end(), [](const Head& a, const Head& b) { return b.IsBefore(a); });
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

/// Takes the top out of the heap and puts another in, where it belongs.
void EtlReader::Replace(const Head& moved) noexcept {
  const std::size_t size = heap_.size();
  std::size_t at = 0;
  for (std::size_t child = 1; child < size; child = 2 * at + 1) {
    if (child + 1 < size) child += heap_[child + 1].IsBefore(heap_[child]) ? 1 : 0;
    if (!heap_[child].IsBefore(moved)) break;
    heap_[at] = heap_[child];
    at = child;
  }
  heap_[at] = moved;
}

/// Makes the stream with the earliest event the current one. @return false when there is none.
bool EtlReader::Settle() {
  if (current_.stream != nullptr) {
    if (heap_.empty() || !heap_.front().IsBefore(current_)) return true;
    const Head earliest = heap_.front();
    Replace(current_);
    current_ = earliest;
    return true;
  }
  if (heap_.empty()) return false;
  current_ = heap_.front();
  const Head last = heap_.back();
  heap_.pop_back();
  if (!heap_.empty()) Replace(last);
  return true;
}

const EtlEventView* EtlReader::Next() {
  if (cancelled_) return nullptr;
  if (!entered_) {
    entered_ = true;
    EnterSegment();
  } else if (current_.stream != nullptr) {
    if (Advance(*current_.stream)) {
      current_.stamp = current_.stream->view().stamp;
      current_.rank = current_.stream->rank();
    } else {
      current_.stream = nullptr;
    }
  }
  while (!cancelled_ && !Settle()) {
    if (segment_ + 1 >= index_.segments.size()) return nullptr;
    ++segment_;
    EnterSegment();
  }
  return cancelled_ ? nullptr : &current_.stream->view();
}

}  // namespace varnel::formats
