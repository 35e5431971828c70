#include "formats/etl_event_input.h"

namespace varnel::formats {
EventInput ToEventInput(const EtlEventView& event) noexcept {
  EventInput input;
  input.provider = event.provider;
  input.id = event.id;
  input.version = event.version;
  input.channel = event.channel;
  input.level = event.level;
  input.opcode = event.opcode;
  input.task = event.task;
  input.keyword = event.keyword;
  input.flags = EtlRecordFlags(event);
  input.schema = EtlFindItem(event, kEtlItemEventSchemaTl);
  input.traits = EtlFindItem(event, kEtlItemProviderTraits);
  input.payload = event.payload;
  return input;
}

}  // namespace varnel::formats
