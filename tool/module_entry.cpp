#include "tool/module_entry.h"

#include "base/log.h"
#include "platform/platform.h"
#include "tool/module_counters.h"
#include "tool/wardlet_tool_factory.h"

namespace varnel {

std::int32_t DllMain(void* instance, std::uint32_t reason, void* /*reserved*/) {
  if (reason == kProcessAttach) {
    WrapLogInitByGuid(LOG_ERROR | LOG_INFO, &GUID_WARDLET_TOOL);
    g_dwServerLocks = 0;
    g_dwObjectCount = 0;
    platform::SystemPort().DisableThreadLibraryCalls(instance);
  } else if (reason == kProcessDetach) {
    WrapLogClose();
  }
  return 1;
}

VarnelStatus GetClassObject(const GUID* clsid, const GUID* iid, void** out) {
  if (*clsid != GUID_WARDLET_TOOL) {
    *out = nullptr;
    return VNSTAT_CLASS_NOT_AVAILABLE;
  }
  WardletToolFactory* factory = WardletToolFactory::Create();
  if (factory == nullptr) return VNSTAT_OUT_OF_MEMORY;
  const VarnelStatus status = factory->QueryInterface(iid, out);
  factory->Release();
  return status;
}

std::uint32_t CanUnloadNow() {
  return g_dwServerLocks != 0 || g_dwObjectCount != 0 ? 1 : 0;
}

}  // namespace varnel
