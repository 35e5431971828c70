#include "tool/wardlet_tool_factory.h"

#include <new>

#include "platform/platform.h"
#include "tool/module_counters.h"
#include "tool/wardlet_tool_object.h"

namespace varnel {

WardletToolFactory::WardletToolFactory() {
  ++g_dwObjectCount;
}

WardletToolFactory* WardletToolFactory::Create() {
  void* block = platform::SystemPort().HeapAlloc(sizeof(WardletToolFactory));
  return block == nullptr ? nullptr : new (block) WardletToolFactory;
}

VarnelStatus WardletToolFactory::QueryInterface(const GUID* iid, void** out) {
  if (*iid != IID_VarnelUnknow && *iid != IID_VarnelClassFactory) {
    *out = nullptr;
    return VNSTAT_NO_INTERFACE;
  }
  *out = static_cast<VarnelClassFactory*>(this);
  AddRef();
  return VNSTAT_SUCCESS;
}

std::uint32_t WardletToolFactory::AddRef() {
  ++reference_count_;
  ++g_dwObjectCount;
  return reference_count_;
}

std::uint32_t WardletToolFactory::Release() {
  --reference_count_;
  --g_dwObjectCount;
  const std::uint32_t left = reference_count_;
  if (left == 0) {
    this->~WardletToolFactory();
    platform::SystemPort().HeapFree(this);
  }
  return left;
}

VarnelStatus WardletToolFactory::CreateInstance(VarnelUnknown* outer, const GUID* iid, void** out) {
  if (out == nullptr) return VNSTAT_UNEXPECTED;
  *out = nullptr;
  if (outer != nullptr) return VNSTAT_NO_AGGREGATION;
  if (*iid != IID_WardletToolInterface && *iid != IID_VarnelDefaultInterface && *iid != IID_VarnelUnknow) {
    return VNSTAT_UNEXPECTED;
  }
  WardletToolInterfacePri* tool = WardletToolInterfacePri::Create();
  if (tool == nullptr) return VNSTAT_OUT_OF_MEMORY;
  const VarnelStatus status = tool->QueryInterface(iid, out);
  tool->Release();
  return status;
}

VarnelStatus WardletToolFactory::LockServer(std::int32_t lock) {
  if (lock != 0) {
    ++g_dwServerLocks;
  } else {
    --g_dwServerLocks;
  }
  return VNSTAT_SUCCESS;
}

}  // namespace varnel
