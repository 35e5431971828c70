#include "crash/analyze_bsod_events.h"

#include "base/log.h"
#include "base/registry_services.h"
#include "crash/crash_event_record.h"
#include "crash/crash_event_text.h"
#include "crash/log_session.h"
#include "crash/system_log_query.h"
#include "platform/types.h"
#include "session/temp_session.h"

namespace varnel {
namespace {

// The providers of boot events and of crash events.
constexpr GUID kKernelGeneral = {0xA68CA8B7, 0x004F, 0xD7B6, {0xA6, 0x98, 0x07, 0xE2, 0xDE, 0x0F, 0x1F, 0x5D}};
constexpr GUID kKernelPower = {0x331C3B3A, 0x2005, 0x44C2, {0xAC, 0x5E, 0x77, 0x22, 0x0C, 0x37, 0xD6, 0xB4}};

/// Tells what may keep events out of the log; nothing depends on it.
void CheckLogSession() {
  if (CheckTraceSessionExists(kSystemLogSession, nullptr, 0) == 0) {
    WrapLogPrint(LOG_INFO, u"AnalyzeBSODEvents func check session(%s) not exist.\r\n", kSystemLogSession);
  }
  if (CheckProviderInSession(&kKernelGeneral) == 0) {
    WrapLogPrint(LOG_INFO,
                 u"AnalyzeBSODEvents func check provider {A68CA8B7-004F-D7B6-A698-07E2DE0F1F5D} (Kernel-General) not "
                 u"exist in session(%s).\r\n",
                 kSystemLogSession);
  }
  if (CheckProviderInSession(&kKernelPower) == 0) {
    WrapLogPrint(LOG_INFO,
                 u"AnalyzeBSODEvents func check provider {331C3B3A-2005-44C2-AC5E-77220C37D6B4} (Kernel-Power) not "
                 u"exist in session(%s).\r\n",
                 kSystemLogSession);
  }
}

/// The time of a boot event; 0 for the end of the list and for a crash event.
std::uint64_t BootTimeAt(ListEntry* list, ListEntry* at) {
  if (at == list || CrashEventFromLink(at)->EventId != kBootEventId) return 0;
  return CrashEventFromLink(at)->TimeStamp;
}

std::uint64_t NewestBootTime(ListEntry* list) {
  for (ListEntry* at = list->Flink; at != list; at = at->Flink) {
    if (CrashEventFromLink(at)->EventId == kBootEventId) return CrashEventFromLink(at)->TimeStamp;
  }
  return 0;
}

/// The record stays in the list, so that it may be the neighbour of another one and is freed by whoever frees that.
std::uint32_t TellCrash(ListEntry* list, CrashEventRecord* crash, std::uint64_t this_boot, const ConsumerTable* table) {
  ListEntry* const behind = crash->link.Flink;
  const std::uint64_t current_boot = BootTimeAt(list, behind);
  const std::uint64_t previous_boot = behind == list ? 0 : BootTimeAt(list, behind->Flink);
  return BuildBsodEventJsonAndInvokeCB(crash, this_boot, current_boot, previous_boot, table);
}

/// Tells each crash of the list and empties it; on a failure what is not told stays in it.
std::uint32_t TellCrashes(ListEntry* list, const ConsumerTable* table) {
  const std::uint64_t this_boot = NewestBootTime(list);
  bool found_crash = false;
  while (!IsListEmpty(list)) {
    CrashEventRecord* const first = CrashEventFromLink(list->Flink);
    if (first->EventId == kCrashEventId) {
      found_crash = true;
      const std::uint32_t error = TellCrash(list, first, this_boot, table);
      if (error != platform::kErrorSuccess) return error;
    }
    FreeFirstCrashEvent(list);
  }
  if (found_crash || table->bThisBootHasExecute != 0) return platform::kErrorSuccess;
  return BuildBsodEventJsonAndInvokeCB(nullptr, 0, 0, 0, table);
}

}  // namespace

std::uint32_t AnalyzeBSODEvents(const ConsumerTable* table) {
  if (table == nullptr || table->pfnEventCallback == nullptr) return platform::kErrorInvalidParameter;
  CheckLogSession();
  ListEntry list;
  InitializeListHead(&list);
  std::uint32_t result = QuerySystemLogEvents(&list);
  if (result == platform::kErrorSuccess) result = TellCrashes(&list, table);
  while (!IsListEmpty(&list)) FreeFirstCrashEvent(&list);
  FlushMachineHives();
  return result;
}

}  // namespace varnel
