#include "pipeline/raw_event.h"

#include <cjson/cJSON.h>

#include "platform/platform.h"

namespace varnel {

RawEvent* AllocateRawEvent() {
  auto* event = static_cast<RawEvent*>(platform::SystemPort().HeapAlloc(sizeof(RawEvent)));
  if (event == nullptr) return nullptr;
  *event = RawEvent{};
  InitializeListHead(&event->Link);
  return event;
}

void FreeRawEvent(RawEvent* event) {
  if (event->pszJsonText != nullptr) cJSON_free(event->pszJsonText);
  platform::SystemPort().HeapFree(event);
}

std::uint32_t DestoryRawEvent(RawEvent* event) {
  if (event == nullptr || event->pszJsonText == nullptr) return platform::kErrorGenFailure;
  FreeRawEvent(event);
  return platform::kErrorSuccess;
}

}  // namespace varnel
