#include "platform/embedded/trace/event_record.h"

namespace varnel::embedded {

using formats::EtlEventView;
using platform::EVENT_HEADER;
using platform::EVENT_RECORD;

namespace {

void FillHeader(const EtlEventView& event, bool raw, EVENT_HEADER* header) {
  header->Size = static_cast<std::uint16_t>(sizeof(EVENT_HEADER) + event.extended.size() + event.payload.size());
  header->HeaderType = event.header_type;
  header->Flags = formats::EtlRecordFlags(event);
  header->EventProperty = event.event_property;
  header->ThreadId = event.thread_id;
  header->ProcessId = event.process_id;
  header->TimeStamp = raw ? event.stamp : event.file_time;
  header->ProviderId = event.provider;
  header->EventDescriptor = {event.id,     event.version, event.channel, event.level,
                             event.opcode, event.task,    event.keyword};
  header->KernelTime = event.kernel_time;
  header->UserTime = event.user_time;
  header->ActivityId = event.activity_id;
}

}  // namespace

EVENT_RECORD* RecordBuilder::Make(const EtlEventView& event) {
  FillHeader(event, raw_, &record_.EventHeader);
  record_.BufferContext = {event.processor, event.logger_id};
  items_.clear();
  formats::EtlItemWalk walk(event.extended);
  formats::EtlItemView item;
  while (walk.Next(&item)) {
    items_.push_back({0, item.type, static_cast<std::uint16_t>(item.linked ? 1 : 0),
                      static_cast<std::uint16_t>(item.data.size()),
                      static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(item.data.data()))});
  }
  record_.ExtendedDataCount = static_cast<std::uint16_t>(items_.size());
  record_.ExtendedData = items_.empty() ? nullptr : items_.data();
  record_.UserDataLength = static_cast<std::uint16_t>(event.payload.size());
  record_.UserData = event.payload.empty() ? nullptr : const_cast<std::byte*>(event.payload.data());
  record_.UserContext = context_;
  return &record_;
}

}  // namespace varnel::embedded
