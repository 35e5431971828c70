// The words of a session's shared memory that change by compare-and-exchange, packed and unpacked. Values only; the
// rules are in docs/sessions.md.
#pragma once

#include <cstdint>

namespace varnel::embedded::ring {

/// Places inside a buffer are counted in these.
inline constexpr std::uint32_t kUnit = 8;
constexpr std::uint32_t AlignToUnit(std::uint32_t size) noexcept {
  return (size + kUnit - 1) & ~(kUnit - 1);
}

/// The reservation word of a buffer. Places are in bytes here and in units in the word.
struct ReservationWord {
  std::uint32_t generation = 0;  // low 28 bits of the buffer's sequence number
  bool closed = false;
  std::uint32_t last = 0;  // start of the last event; 0 while there is none
  std::uint32_t end = 0;   // end of the last event

  static constexpr std::uint32_t kGenerationMask = 0x0FFFFFFF;
  static constexpr std::uint64_t kClosedBit = std::uint64_t{1} << 35;

  static constexpr std::uint32_t GenerationOf(std::uint64_t sequence) noexcept {
    return static_cast<std::uint32_t>(sequence) & kGenerationMask;
  }
  static constexpr ReservationWord Unpack(std::uint64_t word) noexcept {
    return {static_cast<std::uint32_t>(word >> 36), (word & kClosedBit) != 0,
            static_cast<std::uint32_t>((word >> 18) & 0x1FFFF) * kUnit,
            static_cast<std::uint32_t>(word & 0x3FFFF) * kUnit};
  }
  constexpr std::uint64_t Pack() const noexcept {
    return (std::uint64_t{generation & kGenerationMask} << 36) | (closed ? kClosedBit : 0) |
           (std::uint64_t{last / kUnit} << 18) | (end / kUnit);
  }
};

/// The first eight bytes of an event, in the order of its life: zero, reserved, then committed or revoked. The fourth
/// byte tells them apart; a committed word is the beginning of the event's header as it stands in the file, but for the
/// last two bytes, which keep the predecessor's length; a copy of the event leaves that out.
namespace event_word {

inline constexpr std::uint64_t kEmpty = 0;
inline constexpr std::uint32_t kReservedTag = 0x52;
inline constexpr std::uint32_t kRevokedTag = 0x56;
inline constexpr std::uint32_t kCommittedTag = 0xC0;
inline constexpr std::uint64_t kPredecessorMask = std::uint64_t{0xFFFF} << 48;

constexpr std::uint32_t Tag(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word >> 24) & 0xFF;
}
/// The event's own length, not rounded. REQUIRES: reserved or committed.
constexpr std::uint32_t Size(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word & 0xFFFF);
}
/// The rounded length of the event before it, 0 for a buffer's first. REQUIRES: reserved or committed.
constexpr std::uint32_t Predecessor(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word >> 48) * kUnit;
}
constexpr std::uint64_t Reserved(std::uint32_t size, std::uint32_t predecessor) noexcept {
  return (std::uint64_t{predecessor / kUnit} << 48) | (std::uint64_t{kReservedTag} << 24) | size;
}
constexpr std::uint64_t Committed(std::uint32_t size, std::uint8_t header_type, std::uint16_t flags,
                                  std::uint32_t predecessor) noexcept {
  return (std::uint64_t{predecessor / kUnit} << 48) | (std::uint64_t{flags} << 32) |
         (std::uint64_t{kCommittedTag} << 24) | (std::uint64_t{header_type} << 16) | size;
}
/// A piece that was given up: its whole length and the number of events that it counts for.
constexpr std::uint64_t Revoked(std::uint32_t length, std::uint32_t events) noexcept {
  return (std::uint64_t{length} << 32) | (std::uint64_t{kRevokedTag} << 24) | (events & 0xFFFF);
}
constexpr std::uint32_t RevokedLength(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word >> 32);
}
constexpr std::uint32_t RevokedEvents(std::uint64_t word) noexcept {
  return static_cast<std::uint32_t>(word & 0xFFFF);
}

}  // namespace event_word

/// What a slot of the ring holds. `number` is the buffer's sequence number; while preparing, the number of the buffer
/// to be and the participant at it, so that no two attempts look alike.
struct Phase {
  enum class State : std::uint8_t { kFree = 0, kPreparing = 1, kActive = 2, kSealed = 3 };

  State state = State::kFree;
  std::uint64_t number = 0;

  static constexpr unsigned kParticipantBits = 10;
  static constexpr Phase Preparing(std::uint64_t sequence, std::uint32_t participant) noexcept {
    return {State::kPreparing, (sequence << kParticipantBits) | participant};
  }
  /// REQUIRES: preparing.
  constexpr std::uint32_t participant() const noexcept {
    return static_cast<std::uint32_t>(number & ((1u << kParticipantBits) - 1));
  }
  constexpr std::uint64_t prepared_sequence() const noexcept { return number >> kParticipantBits; }

  static constexpr Phase Unpack(std::uint64_t word) noexcept { return {static_cast<State>(word & 3), word >> 2}; }
  constexpr std::uint64_t Pack() const noexcept { return (number << 2) | static_cast<std::uint64_t>(state); }
  constexpr bool operator==(const Phase&) const = default;
};

/// Which buffer takes events: its sequence number and its slot.
struct OpenBuffer {
  std::uint64_t sequence = 0;
  std::uint32_t slot = 0;

  static constexpr OpenBuffer Unpack(std::uint64_t word) noexcept {
    return {word >> 16, static_cast<std::uint32_t>(word & 0xFFFF)};
  }
  constexpr std::uint64_t Pack() const noexcept { return (sequence << 16) | slot; }
  constexpr bool operator==(const OpenBuffer&) const = default;
};

/// What a participant is doing with a buffer's memory.
struct Mark {
  enum class Kind : std::uint8_t { kWriter = 0, kGuard = 1 };  // a guard only looks, or settles what others left

  std::uint64_t sequence = 0;  // 0: nothing
  Kind kind = Kind::kWriter;

  static constexpr Mark Unpack(std::uint64_t word) noexcept { return {word >> 1, static_cast<Kind>(word & 1)}; }
  constexpr std::uint64_t Pack() const noexcept { return (sequence << 1) | static_cast<std::uint64_t>(kind); }
};

}  // namespace varnel::embedded::ring
