#include "tool/wardlet_tool_object.h"

#include <new>

#include "pipeline/wardlet_version.h"
#include "platform/platform.h"
#include "tool/consumer_lifecycle.h"
#include "tool/install.h"
#include "tool/module_counters.h"

namespace varnel {

WardletToolInterfacePri::WardletToolInterfacePri() {
  ++g_dwObjectCount;
}

WardletToolInterfacePri* WardletToolInterfacePri::Create() {
  void* block = platform::SystemPort().HeapAlloc(sizeof(WardletToolInterfacePri));
  return block == nullptr ? nullptr : new (block) WardletToolInterfacePri;
}

VarnelStatus WardletToolInterfacePri::QueryInterface(const GUID* iid, void** out) {
  if (*iid == IID_VarnelUnknow || *iid == IID_VarnelDefaultInterface) {
    *out = static_cast<VarnelDefaultInterface*>(this);
  } else if (*iid == IID_WardletToolInterface) {
    *out = static_cast<WardletToolInterface*>(this);
  } else {
    *out = nullptr;
    return VNSTAT_NO_INTERFACE;
  }
  AddRef();
  return VNSTAT_SUCCESS;
}

std::uint32_t WardletToolInterfacePri::AddRef() {
  ++g_dwObjectCount;
  ++reference_count_;
  return reference_count_;
}

std::uint32_t WardletToolInterfacePri::Release() {
  --g_dwObjectCount;
  --reference_count_;
  const std::uint32_t left = reference_count_;
  if (left == 0) {
    this->~WardletToolInterfacePri();
    platform::SystemPort().HeapFree(this);
  }
  return left;
}

VarnelStatus WardletToolInterfacePri::InstallVarnel(const VarnelWideChar* source_folder) {
  return varnel::InstallVarnel(reinterpret_cast<const char16_t*>(source_folder));
}

VarnelStatus WardletToolInterfacePri::UninstallVarnel() {
  return varnel::UninstallVarnel();
}

VarnelStatus WardletToolInterfacePri::GetVarnelVersion(VarnelVersionInfo* info) {
  if (info == nullptr) return VNSTAT_UNSUCCESSFUL;
  if (info->dwSize != sizeof(*info)) return VNSTAT_INVALID_SIZE;
  info->wMajor = kVersionMajor;
  info->wMinor = kVersionMinor;
  info->wBuild = kVersionBuild;
  info->wRevision = kVersionRevision;
  return VNSTAT_SUCCESS;
}

VarnelStatus WardletToolInterfacePri::Start(std::uint32_t flags, VarnelEventCallback callback, void* context) {
  return EtwConsumerStart(flags, callback, context);
}

VarnelStatus WardletToolInterfacePri::Stop() {
  return EtwConsumerStop();
}

}  // namespace varnel
