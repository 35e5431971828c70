#include "pipeline/event_order.h"

#include "base/compiler.h"
#include "base/log.h"
#include "pipeline/counter_window.h"
#include "pipeline/event_delivery.h"
#include "pipeline/order_record.h"
#include "platform/platform.h"

namespace varnel {
namespace {

EventRuling Destroy(const char16_t* line) {
  return {EventAction::kDestroy, false, line};
}

EventRuling DeliverOrWait(bool deliver) {
  return {deliver ? EventAction::kDeliver : EventAction::kWait, false, nullptr};
}

// The event has the time stamp of the position.
EventRuling JudgeSameTime(const RawEvent& raw, const ProviderModuleCounter& current, std::uint32_t tries) {
  if (raw.bIsModuleInitEvent != 0) {
    return Destroy(
        u"RawEventDealThread func check this is a init event and dwTimeStamp same, just destory this event.\r\n");
  }
  EventRuling ruling;
  if (raw.dwCounter == current.dwCounter) {
    ruling = Destroy(
        u"RawEventDealThread func check dwCounter and dwTimeStamp same, just destory this duplicate event.\r\n");
    ruling.is_repeat = true;
    // The tests below go for a repeat as well: its counter is none that follows, and the window calls it old.
  }
  if (raw.dwCounter == current.dwCounter + 1) return DeliverOrWait(true);
  std::uint32_t is_new = 0;
  if (CheckCounterNewOrOld(current.dwCounter, raw.dwCounter, &is_new) != platform::kErrorSuccess) {
    return Destroy(u"RawEventDealThread func call CheckCounterNewOrOld failed, Destory this event.\r\n");
  }
  if (is_new != 0) return DeliverOrWait(tries >= kMaxOrderTries);
  ruling.action = EventAction::kDestroy;
  ruling.line =
      u"RawEventDealThread func call CheckCounterNewOrOld check raw event dwTimeStamp is old one, just delete.\r\n";
  return ruling;
}

std::uint32_t DestroyTaken(const ProviderModuleCounter& current, RawEvent* raw, const char16_t* line) {
  WrapLogPrint(LOG_DETAIL, Unchecked(line));
  WrapLogPrint(LOG_DETAIL,
               u"RawEventDealThread func call DestoryRawEvent cur timestamp(0x%I64X) cur counter(0x%x) raw "
               u"timestamp(0x%I64X) raw counter(0x%x) !\r\n",
               current.dwTimeStamp, current.dwCounter, raw->dwTimeStamp, raw->dwCounter);
  const std::uint32_t result = DestoryRawEvent(raw);
  if (result != 0) WrapLogPrint(LOG_ERROR, u"RawEventDealThread func call DestoryRawEvent failed!\r\n");
  return result;
}

// The position moves whatever the event's bits were and whatever the host answered.
std::uint32_t DeliverTaken(TargetConsumer* consumer, RawEvent* raw, platform::HKEY* hKey) {
  if (RawEventDealInternal(consumer, raw) != 0) {
    WrapLogPrint(LOG_ERROR, u"RawEventDealThread func call RawEventDealInternal failed!\r\n");
  }
  consumer->Progress.dwTimeStamp = raw->dwTimeStamp;
  consumer->Progress.dwCounter = raw->dwCounter;
  SaveProviderModuleCounter(&consumer->ProviderGuid, &consumer->Progress, hKey);
  const std::uint32_t result = DestoryRawEvent(raw);
  if (result != 0) WrapLogPrint(LOG_ERROR, u"RawEventDealThread func call DestoryRawEvent failed!\r\n");
  return result;
}

void AbandonHead(TargetConsumer* consumer) VARNEL_REQUIRES(consumer->QueueLock) {
  ListEntry* entry = RemoveHeadList(&consumer->Queue);
  if (entry != &consumer->Queue) VARNEL_INTENDED_LEAK(RawEventFromLink(entry));
}

}  // namespace

EventRuling JudgeRawEvent(const RawEvent& raw, const ProviderModuleCounter& current, std::uint32_t tries) {
  if (raw.dwTimeStamp < current.dwTimeStamp) {
    return Destroy(u"RawEventDealThread func call raw event TimeStamp is less current TimeStamp\r\n");
  }
  if (raw.dwTimeStamp == current.dwTimeStamp) return JudgeSameTime(raw, current, tries);
  // A later event is never destroyed, so that a provider which begins its counter anew is taken up.
  return DeliverOrWait(raw.dwCounter == current.dwCounter + 1 || tries >= kMaxOrderTries);
}

std::uint32_t CookRawEvent(TargetConsumer* consumer, platform::HKEY* hKey) {
  RawEvent* raw = nullptr;
  EventRuling ruling;
  for (std::uint32_t tries = 0;; ++tries) {
    raw = RawEventFromLink(consumer->Queue.Flink);
    RecordLook(*consumer, tries);
    ruling = JudgeRawEvent(*raw, consumer->Progress, tries);
    if (ruling.action != EventAction::kWait) break;
    // Another event may come to the head meanwhile; the tries are those of this call all the same.
    consumer->QueueLock.UnlockExclusive();
    platform::ThreadsPort().Sleep(kOrderWaitMs);
    consumer->QueueLock.LockExclusive();
  }
  RemoveHeadList(&consumer->Queue);
  if (ruling.is_repeat) AbandonHead(consumer);
  consumer->QueueLock.UnlockExclusive();
  if (ruling.action == EventAction::kDeliver) return DeliverTaken(consumer, raw, hKey);
  return DestroyTaken(consumer->Progress, raw, ruling.line);
}

}  // namespace varnel
