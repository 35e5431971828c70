// EventInput: what decoding needs to know of one trace event, whoever read it (a trace file, a live record). It borrows
// the bytes; they must outlive it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "interfaces/guid.h"

namespace varnel::formats {

// Bits of the event header's flags, as records carry them.
inline constexpr std::uint16_t kEventFlagStringOnly = 0x04;
inline constexpr std::uint16_t kEventFlagTraceMessage = 0x08;
inline constexpr std::uint16_t kEventFlag32BitHeader = 0x20;
inline constexpr std::uint16_t kEventFlag64BitHeader = 0x40;
inline constexpr std::uint16_t kEventFlagClassicHeader = 0x100;

struct EventInput {
  GUID provider{};
  std::uint16_t id = 0;
  std::uint8_t version = 0;
  std::uint8_t channel = 0;
  std::uint8_t level = 0;
  std::uint8_t opcode = 0;
  std::uint16_t task = 0;
  std::uint64_t keyword = 0;
  std::uint16_t flags = 0;
  /// The data of extended item 11 (a TraceLogging event's own layout), whole, with its size field; empty when there is
  /// none.
  std::span<const std::byte> schema{};
  /// The data of extended item 12 (provider traits), likewise.
  std::span<const std::byte> traits{};
  std::span<const std::byte> payload{};

  /// The width of a pointer in the payload is that of the process that wrote the event.
  std::uint8_t pointer_size() const noexcept { return (flags & kEventFlag32BitHeader) != 0 ? 4 : 8; }
};

}  // namespace varnel::formats
