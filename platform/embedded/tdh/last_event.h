// LastEvent remembers where the properties of the payload that was asked for last stand. A caller asks for each
// property of an event twice (size, then value), and the payload is measured once.
//
// Records and payloads are reused by whoever delivers events, so that the same address says nothing. What is remembered
// is used only while the payload has the same size and the same bytes wherever bytes decide about places: texts that a
// NUL ends, counts, lengths. Those bytes are kept and compared on each call.
// Belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "formats/payload_decoder.h"
#include "platform/embedded/tdh/event_schema.h"

namespace varnel::embedded {

class LastEvent {
 public:
  /// The places of the top-level properties that the payload holds, from memory or measured now. The schema must stay
  /// until Forget. Valid until the next call.
  std::span<const formats::PropertyPlace> Places(const EventSchema& schema, std::uint8_t pointer_size,
                                                 std::span<const std::byte> payload);

  /// Call when the schemas may have gone.
  void Forget() noexcept { schema_ = nullptr; }

 private:
  bool Matches(const EventSchema& schema, std::uint8_t pointer_size, std::span<const std::byte> payload) const;
  void Keep(const EventSchema& schema, std::uint8_t pointer_size, std::span<const std::byte> payload);

  const EventSchema* schema_ = nullptr;
  std::uint8_t pointer_size_ = 0;
  std::size_t payload_size_ = 0;
  std::vector<formats::PropertyPlace> places_;
  std::vector<formats::PropertyPlace> shaping_;  // the places whose bytes are kept
  std::vector<std::byte> shaping_bytes_;         // these bytes, one behind the other
};

}  // namespace varnel::embedded
