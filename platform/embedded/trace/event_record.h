// RecordBuilder: makes the platform's EVENT_RECORD out of an event of a trace buffer. The record points into the
// event's bytes and is good until the next one is made. Nothing is allocated for an event (room for extended items
// grows once). One thread.
#pragma once

#include <vector>

#include "formats/etl_event.h"
#include "platform/trace.h"

namespace varnel::embedded {

class RecordBuilder {
 public:
  /// `raw`: time stamps stay in the session's clock. `context` is handed on with every record.
  RecordBuilder(bool raw, void* context) : raw_(raw), context_(context) {}

  platform::EVENT_RECORD* Make(const formats::EtlEventView& event);

 private:
  const bool raw_;
  void* const context_;
  platform::EVENT_RECORD record_ = {};
  std::vector<platform::EVENT_HEADER_EXTENDED_DATA_ITEM> items_;
};

}  // namespace varnel::embedded
