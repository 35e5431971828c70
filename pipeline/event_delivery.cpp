#include "pipeline/event_delivery.h"

#include <array>
#include <cstddef>

#include "base/log.h"
#include "base/text.h"
#include "pipeline/consumer_table.h"
#include "platform/platform.h"

namespace varnel {
namespace {

void AppendText(char16_t* text, std::size_t capacity, const char16_t* more) {
  const std::size_t length = TextLength(text);
  CopyText(text + length, capacity - length, more);
}

}  // namespace

void FormatRawEventFlags(char16_t* text, std::uint32_t capacity, std::uint32_t flags) {
  CopyText(text, capacity, u"");
  if ((flags & NEED_DBG_PRINT) != 0) AppendText(text, capacity, u"NEED_DBG_PRINT ");
  if ((flags & NEED_WRITE_TO_FILE) != 0) AppendText(text, capacity, u"NEED_WRITE_TO_FILE ");
  if ((flags & NEED_POINT_RECORD) != 0) AppendText(text, capacity, u"NEED_POINT_RECORD");
}

std::uint32_t RawEventDealInternal(TargetConsumer* consumer, RawEvent* event) {
  std::array<char16_t, kMaxPath> flags_text{};
  FormatRawEventFlags(flags_text.data(), flags_text.size(), event->dwFlags);
  WrapLogPrint(LOG_DETAIL,
               u"RawEventDealInternal func bIsModuleInitEvent(%d)  dwTimeStamp(0x%I64X) dwCounter(0x%X) "
               u"dwFlags(0x%x -> %s) \r\n%S \r\n",
               event->bIsModuleInitEvent, event->dwTimeStamp, event->dwCounter, event->dwFlags, flags_text.data(),
               event->pszJsonText);
  if ((event->dwFlags & NEED_DBG_PRINT) != 0) platform::SystemPort().OutputDebugStringA(event->pszJsonText);
  if ((event->dwFlags & NEED_POINT_RECORD) != 0) {
    const ConsumerTable& table = *consumer->pTable;
    const std::uint32_t answer = table.pfnEventCallback.get()(table.pCallbackContext.get(), event->pszJsonText);
    if (answer != 0) {
      WrapLogPrint(LOG_DETAIL,
                   u"RawEventDealInternal func call callback dwTimeStamp(0x%I64X) dwCounter(0x%X) failed(0x%x) \r\n",
                   event->dwTimeStamp, event->dwCounter, answer);
    }
  }
  return 0;
}

}  // namespace varnel
