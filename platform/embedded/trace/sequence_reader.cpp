#include "platform/embedded/trace/sequence_reader.h"

#include <algorithm>
#include <array>

#include "platform/embedded/ring/ring.h"

namespace varnel::embedded {
namespace {

using ring::Participant;
using ring::Phase;

}  // namespace

SequenceReader::SequenceReader(std::shared_ptr<ring::Session> session)
    : session_(std::move(session)),
      shape_(ring::FileShape::Of(session_->map()->constants())),
      bytes_(session_->map()->buffer_size()) {}

SequenceReader::Outcome SequenceReader::Read(std::uint64_t sequence, From from) {
  if (from == From::kRingFirst) {
    const Outcome outcome = ReadFromRing(sequence);
    if (outcome != Outcome::kGone) return outcome;
  }
  return ReadFromFile(sequence) ? Outcome::kRead : Outcome::kGone;
}

SequenceReader::Outcome SequenceReader::ReadFromRing(std::uint64_t sequence) {
  const auto& map = *session_->map();
  const Participant self = ring::ThreadParticipant(session_->map());
  const auto slot = ring::FindBuffer(map, sequence);
  if (!slot || !self.valid()) return Outcome::kGone;
  const ring::SealResult sealed = ring::TrySeal(map, self, *slot, sequence);
  if (sealed == ring::SealResult::kPending) return Outcome::kNotYet;
  if (sealed == ring::SealResult::kGone) return Outcome::kGone;
  // The guard keeps the memory from being prepared for another buffer; the copy is short, whatever the consumer does.
  const ring::ScopedGuard guard(self, sequence);
  const Phase phase = Phase::Unpack(map.descriptors()[*slot].phase.load(std::memory_order_seq_cst));
  const bool settled = phase.state == Phase::State::kSealed || phase.state == Phase::State::kFree;
  if (!settled || phase.number != sequence) return Outcome::kGone;
  ring::ComposeBuffer(map, *slot, sequence, bytes_);
  return formats::ParseEtlBufferHeader(bytes_, &info_) ? Outcome::kRead : Outcome::kGone;
}

bool SequenceReader::ReadAt(std::uint64_t place) {
  return session_->file().ReadShared(place * shape_.buffer_size, bytes_) &&
         formats::ParseEtlBufferHeader(bytes_, &info_);
}

std::uint64_t SequenceReader::PlacesInFile() const {
  const std::uint64_t told = shape_.BuffersInFile(ring::ReadPlace(*session_->map()).buffers_written);
  return std::min(told, session_->file().BuffersOnDisk());
}

std::uint64_t SequenceReader::SequenceAt(std::uint64_t place) {
  std::array<std::byte, formats::kEtlBufferHeaderSize> header;
  formats::EtlBufferInfo info;
  if (!session_->file().ReadShared(place * shape_.buffer_size, header)) return 0;
  if (!formats::ParseEtlBufferHeader(header, &info) || info.sequence <= 0) return 0;
  return static_cast<std::uint64_t>(info.sequence);
}

std::uint64_t SequenceReader::HoleBehind(std::uint64_t place, std::uint64_t places) {
  return std::clamp(session_->file().NextPlaceOnDisk(place + 1), place + 1, places) - (place + 1);
}

bool SequenceReader::ReadFromFile(std::uint64_t sequence) {
  if (session_->map()->constants().has_file == 0) return false;
  const std::uint64_t places = PlacesInFile();
  // Buffers stand one behind the other but where one was lost: the place after the last one read is the best guess.
  const std::uint64_t first = hint_ >= 1 && hint_ < places ? hint_ : 1;
  for (std::uint64_t i = 0; i + 1 < places; ++i) {
    const std::uint64_t place = 1 + (first - 1 + i) % (places - 1);
    const std::uint64_t there = SequenceAt(place);
    if (there == 0) i += HoleBehind(place, places);
    if (there != sequence) continue;
    hint_ = place + 1;
    return ReadAt(place) && static_cast<std::uint64_t>(info_.sequence) == sequence;
  }
  return false;
}

std::uint64_t SequenceReader::NextAvailable(std::uint64_t sequence, std::uint64_t limit, From from) {
  const auto& map = *session_->map();
  std::uint64_t lowest = limit;
  if (from == From::kRingFirst) {
    for (const auto& descriptor : map.descriptors()) {
      const Phase phase = Phase::Unpack(descriptor.phase.load(std::memory_order_seq_cst));
      if (phase.state == Phase::State::kPreparing || phase.number < sequence) continue;
      lowest = std::min(lowest, phase.number);
    }
  }
  if (map.constants().has_file == 0) return lowest;
  const std::uint64_t places = PlacesInFile();
  for (std::uint64_t place = 1; place < places; ++place) {
    const std::uint64_t there = SequenceAt(place);
    if (there == 0) place += HoleBehind(place, places);
    if (there >= sequence && there != 0) lowest = std::min(lowest, there);
  }
  return lowest;
}

bool SequenceReader::ReadHeaderBuffer() {
  return session_->map()->constants().has_file != 0 && ReadAt(0);
}

}  // namespace varnel::embedded
