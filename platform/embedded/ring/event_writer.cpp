#include "platform/embedded/ring/event_writer.h"

#include <cstring>

#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_clock.h"
#include "platform/embedded/ring/session_file.h"
#include "platform/embedded/ring/steps.h"

namespace varnel::embedded::ring {
namespace {

namespace ew = event_word;

constexpr int kReserveTries = 100'000;

enum class Attempt { kReserved, kClosed, kAgain };

struct Attempted {
  Attempt what = Attempt::kAgain;
  std::uint32_t place = 0;
  std::uint32_t predecessor = 0;
  std::int64_t stamp = 0;
};

bool IsDue(std::uint64_t first_stamp, std::uint64_t flush_ticks, std::int64_t now) noexcept {
  return first_stamp != 0 && flush_ticks != 0 &&
         now - static_cast<std::int64_t>(first_stamp) >= static_cast<std::int64_t>(flush_ticks);
}

/// One try on the open buffer. REQUIRES: the mark stands on it.
Attempted TryReserve(const ControlMap& map, BufferDescriptor& descriptor, std::uint64_t sequence,
                     std::uint32_t aligned) noexcept {
  Attempted attempted;
  std::uint64_t seen = descriptor.word.load(std::memory_order_acquire);
  const ReservationWord word = ReservationWord::Unpack(seen);
  if (word.generation != ReservationWord::GenerationOf(sequence)) return attempted;
  // The clock is read between the load and the exchange: a stamp is never lower than one that was reserved before it.
  attempted.stamp = SessionClockNow();
  const std::uint64_t first_stamp = descriptor.first_stamp.load(std::memory_order_relaxed);
  const bool empty = word.end <= formats::kEtlBufferHeaderSize;
  const std::uint64_t flush = map.words().flush_ticks.load(std::memory_order_relaxed);
  if (word.closed || word.end > map.buffer_size() || aligned > map.buffer_size() - word.end ||
      (!empty && IsDue(first_stamp, flush, attempted.stamp))) {
    attempted.what = Attempt::kClosed;
    return attempted;
  }
  const ReservationWord next{word.generation, false, word.end, word.end + aligned};
  if (!descriptor.word.compare_exchange_weak(seen, next.Pack(), std::memory_order_acq_rel)) return attempted;
  At(Step::kReserved);
  if (first_stamp == 0) {
    std::uint64_t none = 0;
    descriptor.first_stamp.compare_exchange_strong(none, static_cast<std::uint64_t>(attempted.stamp),
                                                   std::memory_order_relaxed);
  }
  attempted.what = Attempt::kReserved;
  attempted.place = word.end;
  attempted.predecessor = empty ? 0 : word.end - word.last;
  return attempted;
}

ReserveResult Lost(const ControlMap& map, ReserveResult why) noexcept {
  map.words().events_lost.fetch_add(1, std::memory_order_relaxed);
  return why;
}

/// Closes the buffer and makes room, writing out what is closed. @return whether another try makes sense.
bool MakeRoom(const ControlMap& map, SessionFile& file, const Participant& self, OpenBuffer open) noexcept {
  CloseResult closed = CloseBuffer(map, self, open);
  file.WriteClosed(self, SessionFile::Wait::kNo);
  if (closed == CloseResult::kFull) closed = CloseBuffer(map, self, open);
  return closed != CloseResult::kFull;
}

}  // namespace

ReserveResult Reserve(const std::shared_ptr<ControlMap>& map, SessionFile& file, std::uint32_t size,
                      Reservation* out) noexcept {
  if (map->state() != SessionState::kRunning) return ReserveResult::kEnded;
  if (size > LargestEvent(*map)) return Lost(*map, ReserveResult::kTooLarge);
  const Participant self = ThreadParticipant(map);
  if (!self.valid() || self.line->mark.load(std::memory_order_relaxed) != 0) {
    return Lost(*map, ReserveResult::kNoLine);
  }
  const std::uint32_t aligned = AlignToUnit(size);
  // Each failure is another writer that was faster. So many in a row are words that no writer of ours left.
  for (int tries = 0; tries < kReserveTries; ++tries) {
    const OpenBuffer open = map->open();
    if (open.slot >= map->descriptors().size()) return Lost(*map, ReserveResult::kNoRoom);
    self.line->mark.store(Mark{open.sequence, Mark::Kind::kWriter}.Pack(), std::memory_order_release);
    At(Step::kMarked);
    const Attempted attempted = TryReserve(*map, map->descriptors()[open.slot], open.sequence, aligned);
    if (attempted.what == Attempt::kReserved) {
      out->event = map->buffer(open.slot) + attempted.place;
      out->reserved = ew::Reserved(size, attempted.predecessor);
      out->stamp = attempted.stamp;
      out->self = self;
      std::uint64_t expected = ew::kEmpty;
      // A closer that gave this event up has stored its mark there; Commit then fails by the same comparison.
      EventWord(out->event, 0).compare_exchange_strong(expected, out->reserved, std::memory_order_acq_rel);
      At(Step::kLengthStored);
      return ReserveResult::kReserved;
    }
    self.line->mark.store(0, std::memory_order_release);
    if (map->state() != SessionState::kRunning) return ReserveResult::kEnded;
    if (attempted.what == Attempt::kClosed && !MakeRoom(*map, file, self, open)) {
      return map->state() == SessionState::kRunning ? Lost(*map, ReserveResult::kNoRoom) : ReserveResult::kEnded;
    }
  }
  return Lost(*map, ReserveResult::kNoRoom);
}

bool Commit(const Reservation& reservation, const formats::EtlEventHeaderFormat& header,
            std::span<const Piece> pieces) noexcept {
  std::byte* const event = reservation.event;
  constexpr std::size_t kHeader = sizeof header;
  constexpr std::size_t kFirstWord = sizeof(std::uint64_t);
  std::memcpy(event + kFirstWord, reinterpret_cast<const std::byte*>(&header) + kFirstWord, kHeader - kFirstWord);
  std::memcpy(event + offsetof(formats::EtlEventHeaderFormat, time_stamp), &reservation.stamp,
              sizeof reservation.stamp);
  std::byte* place = event + kHeader;
  for (const Piece& piece : pieces) {
    if (piece.size != 0) std::memcpy(place, piece.data, piece.size);
    place += piece.size;
  }
  At(Step::kFilled);
  std::uint64_t expected = reservation.reserved;
  const std::uint64_t committed =
      ew::Committed(ew::Size(expected), formats::kEtlEvent64, header.flags, ew::Predecessor(expected));
  const bool done = EventWord(event, 0).compare_exchange_strong(expected, committed, std::memory_order_acq_rel);
  At(Step::kCommitted);
  reservation.self.line->mark.store(0, std::memory_order_release);
  return done;
}

}  // namespace varnel::embedded::ring
