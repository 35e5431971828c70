// An event as a test writes it, and payloads built field by field.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/trace.h"

namespace varnel::testing {

struct ScriptedEvent {
  GUID provider{};
  std::uint16_t id = 1;
  std::uint8_t version = 0;
  std::uint8_t level = 4;
  std::uint64_t keyword = 0;
  std::uint64_t time = 0;  // FILETIME
  std::uint32_t process_id = 100;
  std::uint32_t thread_id = 200;
  std::vector<std::uint8_t> payload;
};

/// Calls back with the record of an event; the record lives for the call.
void DeliverEvent(const ScriptedEvent& event, void* user_context, platform::EventRecordCallbackFunction callback);

/// Little-endian fields one behind the other.
class Payload {
 public:
  Payload& U8(std::uint8_t value) { return Number(value, 1); }
  Payload& U16(std::uint16_t value) { return Number(value, 2); }
  Payload& U32(std::uint32_t value) { return Number(value, 4); }
  Payload& U64(std::uint64_t value) { return Number(value, 8); }
  Payload& Float(float value);
  Payload& Double(double value);
  /// With the NUL.
  Payload& Narrow(std::string_view text);
  Payload& Wide(std::u16string_view text);
  Payload& Bytes(const std::vector<std::uint8_t>& bytes);
  std::vector<std::uint8_t> Build() const { return bytes_; }

 private:
  Payload& Number(std::uint64_t value, int size);

  std::vector<std::uint8_t> bytes_;
};

/// The payload of event 1 of the seven providers: its counter, flags, function, line, status and narrow text.
std::vector<std::uint8_t> MsgAnsiPayload(std::uint32_t counter, std::uint32_t flags, std::string_view text,
                                         std::string_view function = "Function", std::uint32_t line = 1,
                                         std::uint32_t status = 0);

}  // namespace varnel::testing
