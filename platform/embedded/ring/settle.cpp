#include "platform/embedded/ring/settle.h"

#include <algorithm>
#include <cstring>

#include "formats/etl_format.h"
#include "platform/embedded/ring/participant.h"

namespace varnel::embedded::ring {
namespace {

namespace ew = event_word;
constexpr std::uint32_t kFirst = formats::kEtlBufferHeaderSize;
constexpr std::uint32_t kEventHeader = sizeof(formats::EtlEventHeaderFormat);
constexpr std::size_t kStampPlace = offsetof(formats::EtlEventHeaderFormat, time_stamp);

bool BearsLengths(std::uint64_t word) noexcept {
  return ew::Tag(word) == ew::kReservedTag || ew::Tag(word) == ew::kCommittedTag;
}

/// The length of the settled piece at `place`: 0 when the word makes no sense there.
std::uint32_t PieceLength(std::uint64_t word, std::uint32_t room) noexcept {
  std::uint32_t length = 0;
  if (BearsLengths(word)) {
    if (ew::Size(word) < kEventHeader) return 0;
    length = AlignToUnit(ew::Size(word));
  } else if (ew::Tag(word) == ew::kRevokedTag) {
    length = ew::RevokedLength(word);
    if (length % kUnit != 0) return 0;
  }
  return length <= room ? length : 0;
}

/// The first place behind `place` whose word is not zero; `word.end` when there is none. A living writer that wakes
/// meanwhile stores its event's first word before anything else of it: so what was found is looked at again from the
/// front until nothing stands before it.
std::uint32_t NextStored(std::byte* buffer, std::uint32_t place, std::uint32_t end) noexcept {
  for (;;) {
    std::uint32_t next = place + kUnit;
    while (next < end && EventWord(buffer, next).load(std::memory_order_acquire) == ew::kEmpty) next += kUnit;
    if (next >= end) return end;
    std::uint32_t again = place + kUnit;
    while (again < next && EventWord(buffer, again).load(std::memory_order_acquire) == ew::kEmpty) again += kUnit;
    if (again == next) return next;
  }
}

/// Where the piece that begins at `place` ends, when its own length was never stored. A writer's first store is its
/// event's first word, and a buffer is zeros when it opens: so the next word that is not zero begins an event, and
/// tells the length of the one before it. `*exact` tells whether that one begins at `place`, so that nothing hides in
/// between.
std::uint32_t BorderAbove(std::byte* buffer, std::uint32_t place, const ReservationWord& word, bool* exact) noexcept {
  const std::uint32_t next = NextStored(buffer, place, word.end);
  if (next == word.end) {
    *exact = word.last <= place;
    return word.last > place ? word.last : word.end;
  }
  const std::uint64_t first = EventWord(buffer, next).load(std::memory_order_acquire);
  const std::uint32_t predecessor = BearsLengths(first) ? ew::Predecessor(first) : 0;
  *exact = predecessor == next - place;
  return predecessor == 0 || predecessor >= next - place ? next : next - predecessor;
}

/// What stands at one place of a buffer while it is being settled.
struct Piece {
  std::uint64_t word = 0;
  std::uint32_t length = 0;
  bool settled = false;
  bool exact = true;  // one event, not a stretch whose borders nobody stored
};

Piece PieceAt(std::byte* buffer, std::uint32_t place, const ReservationWord& word) noexcept {
  Piece piece;
  piece.word = EventWord(buffer, place).load(std::memory_order_acquire);
  const std::uint32_t room = word.end - place;
  piece.length = PieceLength(piece.word, room);
  if (piece.length != 0) {
    piece.settled = ew::Tag(piece.word) != ew::kReservedTag;
    return piece;
  }
  // Not stored yet, or bytes that no writer of ours left.
  piece.length = piece.word == ew::kEmpty ? BorderAbove(buffer, place, word, &piece.exact) - place : room;
  return piece;
}

/// Calls `visit(place, word, length)` for each piece of a settled buffer; ends where the bytes make no sense.
template <typename Visit>
void ForEachPiece(const ControlMap& map, std::uint32_t slot, const ReservationWord& word, Visit visit) noexcept {
  std::byte* buffer = map.buffer(slot);
  for (std::uint32_t place = kFirst; place < word.end;) {
    const std::uint64_t first = EventWord(buffer, place).load(std::memory_order_acquire);
    const std::uint32_t length = PieceLength(first, word.end - place);
    if (length == 0) return;
    visit(place, first, length);
    place += length;
  }
}

}  // namespace

ReservationWord Bounded(ReservationWord word, std::uint32_t buffer_size) noexcept {
  word.end = std::clamp(word.end, kFirst, buffer_size);
  if (word.last < kFirst || word.last >= word.end) word.last = kFirst;
  return word;
}

bool IsSettled(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept {
  std::byte* buffer = map.buffer(slot);
  for (std::uint32_t place = kFirst; place < word.end;) {
    const std::uint64_t first = EventWord(buffer, place).load(std::memory_order_acquire);
    const std::uint32_t length = PieceLength(first, word.end - place);
    if (length == 0 || ew::Tag(first) == ew::kReservedTag) return false;
    place += length;
  }
  return true;
}

bool RevokeUnsettled(const ControlMap& map, std::uint32_t slot, std::uint64_t sequence,
                     const ReservationWord& word) noexcept {
  std::byte* buffer = map.buffer(slot);
  std::uint32_t open = 0;
  for (std::uint32_t place = kFirst; place < word.end;) {
    const Piece piece = PieceAt(buffer, place, word);
    if (!piece.settled) ++open;
    place += piece.length;
  }
  // A stretch hides as many events as there are marks that no other piece accounts for.
  const std::uint32_t marks = CountWriterMarks(map, sequence);
  const std::uint32_t hidden = marks + 1 > open ? std::max(marks + 1 - open, 1u) : 1;
  for (std::uint32_t place = kFirst; place < word.end;) {
    const Piece piece = PieceAt(buffer, place, word);
    if (!piece.settled) {
      std::uint64_t expected = piece.word;
      const std::uint64_t revoked = ew::Revoked(piece.length, piece.exact ? 1 : hidden);
      // Behind a writer that was faster the borders are others than they looked: the next try finds them.
      if (!EventWord(buffer, place).compare_exchange_strong(expected, revoked, std::memory_order_acq_rel)) return false;
    }
    place += piece.length;
  }
  return true;
}

BufferContent Survey(const ControlMap& map, std::uint32_t slot, const ReservationWord& word) noexcept {
  BufferContent content;
  ForEachPiece(map, slot, word, [&](std::uint32_t place, std::uint64_t first, std::uint32_t length) {
    if (ew::Tag(first) != ew::kCommittedTag) {
      content.lost += ew::Tag(first) == ew::kRevokedTag ? ew::RevokedEvents(first) : 1;
      return;
    }
    ++content.events;
    content.bytes += length;
    std::memcpy(&content.last_stamp, map.buffer(slot) + place + kStampPlace, sizeof content.last_stamp);
  });
  return content;
}

std::uint32_t CopyCommitted(const ControlMap& map, std::uint32_t slot, const ReservationWord& word,
                            std::byte* out) noexcept {
  std::uint32_t copied = 0;
  ForEachPiece(map, slot, word, [&](std::uint32_t place, std::uint64_t first, std::uint32_t length) {
    if (ew::Tag(first) != ew::kCommittedTag) return;
    const std::uint64_t in_file = first & ~ew::kPredecessorMask;
    std::memcpy(out + copied, &in_file, sizeof in_file);
    std::memcpy(out + copied + sizeof in_file, map.buffer(slot) + place + sizeof in_file, length - sizeof in_file);
    copied += length;
  });
  return copied;
}

}  // namespace varnel::embedded::ring
