#include "tests/support/scripted_event.h"

#include <bit>

namespace varnel::testing {

void DeliverEvent(const ScriptedEvent& event, void* user_context, platform::EventRecordCallbackFunction callback) {
  std::vector<std::uint8_t> payload = event.payload;
  platform::EVENT_RECORD record{};
  record.EventHeader.Size = sizeof(platform::EVENT_HEADER);
  record.EventHeader.ThreadId = event.thread_id;
  record.EventHeader.ProcessId = event.process_id;
  record.EventHeader.TimeStamp = static_cast<std::int64_t>(event.time);
  record.EventHeader.ProviderId = event.provider;
  record.EventHeader.EventDescriptor = {event.id, event.version, 0, event.level, 0, 0, event.keyword};
  record.UserDataLength = static_cast<std::uint16_t>(payload.size());
  record.UserData = payload.data();
  record.UserContext = user_context;
  callback(&record);
}

Payload& Payload::Number(std::uint64_t value, int size) {
  for (int i = 0; i < size; ++i) bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return *this;
}

Payload& Payload::Float(float value) {
  return U32(std::bit_cast<std::uint32_t>(value));
}

Payload& Payload::Double(double value) {
  return U64(std::bit_cast<std::uint64_t>(value));
}

Payload& Payload::Narrow(std::string_view text) {
  bytes_.insert(bytes_.end(), text.begin(), text.end());
  return U8(0);
}

Payload& Payload::Wide(std::u16string_view text) {
  for (const char16_t c : text) U16(c);
  return U16(0);
}

Payload& Payload::Bytes(const std::vector<std::uint8_t>& bytes) {
  bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
  return *this;
}

std::vector<std::uint8_t> MsgAnsiPayload(std::uint32_t counter, std::uint32_t flags, std::string_view text,
                                         std::string_view function, std::uint32_t line, std::uint32_t status) {
  return Payload().U32(counter).U32(flags).Narrow(function).U32(line).U32(status).Narrow(text).Build();
}

}  // namespace varnel::testing
