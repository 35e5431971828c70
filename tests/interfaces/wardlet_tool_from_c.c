/* A host in C: everything of the interfaces must be usable from here. */
#include <stddef.h>

#include "interfaces/wardlet_tool.h"
#include "tests/interfaces/wardlet_tool_from_c.h"

static uint32_t OnText(void* context, const char* json_text) {
  (void)json_text;
  ++*(int*)context;
  return 0;
}

VarnelStatus CHostMakeTool(WardletGetClassObjectFunction get_class_object, WardletToolInterface** tool) {
  VarnelClassFactory* factory = NULL;
  VarnelStatus status = get_class_object(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, (void**)&factory);
  if (status != VNSTAT_SUCCESS) return status;
  status = factory->lpVtbl->CreateInstance(factory, NULL, &IID_WardletToolInterface, (void**)tool);
  factory->lpVtbl->Release(factory);
  return status;
}

VarnelStatus CHostVersion(WardletToolInterface* tool, VarnelVersionInfo* info) {
  VarnelDefaultInterface* other = NULL;
  VarnelStatus status = tool->lpVtbl->QueryInterface(tool, &IID_VarnelDefaultInterface, (void**)&other);
  if (status != VNSTAT_SUCCESS) return status;
  info->dwSize = sizeof(*info);
  status = other->lpVtbl->GetVarnelVersion(other, info);
  other->lpVtbl->Release(other);
  return status;
}

VarnelStatus CHostStartAndStop(WardletToolInterface* tool, int* texts) {
  const VarnelStatus status = tool->lpVtbl->Start(tool, WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS, OnText, texts);
  if (status != VNSTAT_SUCCESS) return status;
  return tool->lpVtbl->Stop(tool);
}

uint32_t CHostRelease(WardletToolInterface* tool) {
  return tool->lpVtbl->Release(tool);
}
