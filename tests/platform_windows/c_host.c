/* A host written in C that knows the module by its public headers alone: loads the DLL, walks every slot of every
 * interface, starts and stops the tool, and unloads. Ends with 0, or tells the first expectation that failed.
 *
 *   c_host DLL      DLL: the module's full path
 *
 * The machine knows the module's place by its GUID, and C:\Setup holds what an installation copies. */
#define WIN32_LEAN_AND_MEAN
#include <stdio.h>
#include <string.h>
#include <windows.h>

#include "interfaces/wardlet_tool.h"

/* The calling convention is the system's. */
_Static_assert(__builtin_types_compatible_p(WardletGetClassObjectFunction,
                                            VarnelStatus(WINAPI*)(const GUID*, const GUID*, void**)),
               "DllGetClassObject is called as the system calls");
_Static_assert(__builtin_types_compatible_p(WardletCanUnloadNowFunction, uint32_t(WINAPI*)(void)),
               "DllCanUnloadNow is called as the system calls");
_Static_assert(__builtin_types_compatible_p(VarnelEventCallback,
                                            uint32_t(__attribute__((ms_abi)) *)(void*, const char*)),
               "the callback is called as the system calls");
_Static_assert(__builtin_types_compatible_p(__typeof__(((WardletToolInterfaceVtbl*)0)->Start),
                                            VarnelStatus(__attribute__((ms_abi)) *)(WardletToolInterface*, uint32_t,
                                                                                    VarnelEventCallback, void*)),
               "a slot is called as the system calls");
_Static_assert(sizeof(VarnelClassFactoryVtbl) == 5 * sizeof(void*), "five slots");
_Static_assert(sizeof(VarnelDefaultInterfaceVtbl) == 6 * sizeof(void*), "six slots");
_Static_assert(sizeof(WardletToolInterfaceVtbl) == 5 * sizeof(void*), "five slots");

#define EXPECT(condition)                                                                     \
  do {                                                                                        \
    if (!(condition)) {                                                                       \
      printf("%s:%d: %s (last error %lu)\n", __FILE__, __LINE__, #condition, GetLastError()); \
      return 1;                                                                               \
    }                                                                                         \
  } while (0)

static const GUID kNothing = {0x12345678, 0x1234, 0x1234, {1, 2, 3, 4, 5, 6, 7, 8}};

static uint32_t OnText(void* context, const char* json_text) {
  if (json_text != NULL && json_text[0] == '{') ++*(volatile LONG*)context;
  return 0;
}

static int WalkFactory(WardletGetClassObjectFunction get_class_object, WardletCanUnloadNowFunction can_unload,
                       VarnelClassFactory** factory) {
  void* out = (void*)1;
  EXPECT(get_class_object(&kNothing, &IID_VarnelClassFactory, &out) == VNSTAT_CLASS_NOT_AVAILABLE && out == NULL);
  EXPECT(get_class_object(&GUID_WARDLET_TOOL, &IID_WardletToolInterface, &out) == VNSTAT_NO_INTERFACE);
  EXPECT(can_unload() == 0);
  EXPECT(get_class_object(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, (void**)factory) == VNSTAT_SUCCESS);
  EXPECT(can_unload() == 1);
  const VarnelClassFactoryVtbl* slots = (*factory)->lpVtbl;
  EXPECT(slots->QueryInterface(*factory, &IID_VarnelUnknow, &out) == VNSTAT_SUCCESS && out == *factory);
  EXPECT(slots->AddRef(*factory) == 3);
  EXPECT(slots->Release(*factory) == 2);
  EXPECT(slots->Release(*factory) == 1);
  EXPECT(slots->LockServer(*factory, 1) == VNSTAT_SUCCESS);
  EXPECT(slots->LockServer(*factory, 0) == VNSTAT_SUCCESS);
  EXPECT(slots->CreateInstance(*factory, (VarnelUnknown*)*factory, &IID_WardletToolInterface, &out) ==
             VNSTAT_NO_AGGREGATION &&
         out == NULL);
  EXPECT(slots->CreateInstance(*factory, NULL, &kNothing, &out) == VNSTAT_UNEXPECTED);
  return 0;
}

static int WalkDefaults(VarnelDefaultInterface* defaults) {
  const VarnelDefaultInterfaceVtbl* slots = defaults->lpVtbl;
  void* out = (void*)1;
  EXPECT(slots->QueryInterface(defaults, &IID_VarnelClassFactory, &out) == VNSTAT_NO_INTERFACE && out == NULL);
  EXPECT(slots->AddRef(defaults) == 3);
  EXPECT(slots->Release(defaults) == 2);
  VarnelVersionInfo info = {sizeof(info), 0, 0, 0, 0};
  EXPECT(slots->GetVarnelVersion(defaults, &info) == VNSTAT_SUCCESS);
  EXPECT(info.wMajor == 1 && info.wMinor == 0 && info.wBuild == 2 && info.wRevision == 28);
  info.dwSize = 16;
  EXPECT(slots->GetVarnelVersion(defaults, &info) == VNSTAT_INVALID_SIZE);
  EXPECT(slots->GetVarnelVersion(defaults, NULL) == VNSTAT_UNSUCCESSFUL);
  /* The folder is not there, so that what is copied from it can't be. */
  EXPECT(slots->InstallVarnel(defaults, L"C:\\no such folder") == 0x80004005u);
  EXPECT(slots->InstallVarnel(defaults, L"C:\\Setup") == VNSTAT_SUCCESS);
  EXPECT(slots->UninstallVarnel(defaults) == VNSTAT_SUCCESS);
  return 0;
}

static int WalkTool(WardletToolInterface* tool) {
  const WardletToolInterfaceVtbl* slots = tool->lpVtbl;
  void* out = NULL;
  volatile LONG texts = 0;
  EXPECT(slots->QueryInterface(tool, &IID_WardletToolInterface, &out) == VNSTAT_SUCCESS && out == tool);
  EXPECT(slots->AddRef(tool) == 4);
  EXPECT(slots->Release(tool) == 3);
  EXPECT(slots->Release(tool) == 2);
  EXPECT(slots->Stop(tool) == ERROR_GEN_FAILURE);
  for (int i = 0; i < 2; ++i) {
    EXPECT(slots->Start(tool, WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS, OnText, (void*)&texts) == VNSTAT_SUCCESS);
    EXPECT(slots->Stop(tool) == VNSTAT_SUCCESS);
  }
  printf("%ld texts\n", texts);
  return 0;
}

static int Walk(HMODULE module) {
  const WardletGetClassObjectFunction get_class_object =
      (WardletGetClassObjectFunction)GetProcAddress(module, WARDLET_EXPORT_GET_CLASS_OBJECT);
  const WardletCanUnloadNowFunction can_unload =
      (WardletCanUnloadNowFunction)GetProcAddress(module, WARDLET_EXPORT_CAN_UNLOAD_NOW);
  EXPECT(get_class_object != NULL && can_unload != NULL);
  EXPECT(GetProcAddress(module, "cJSON_Version") != NULL);
  VarnelClassFactory* factory = NULL;
  if (WalkFactory(get_class_object, can_unload, &factory) != 0) return 1;
  WardletToolInterface* tool = NULL;
  EXPECT(factory->lpVtbl->CreateInstance(factory, NULL, &IID_WardletToolInterface, (void**)&tool) == VNSTAT_SUCCESS);
  EXPECT(factory->lpVtbl->Release(factory) == 0);
  VarnelDefaultInterface* defaults = NULL;
  EXPECT(tool->lpVtbl->QueryInterface(tool, &IID_VarnelDefaultInterface, (void**)&defaults) == VNSTAT_SUCCESS);
  EXPECT((void*)defaults != (void*)tool);
  if (WalkDefaults(defaults) != 0 || WalkTool(tool) != 0) return 1;
  EXPECT(defaults->lpVtbl->Release(defaults) == 1);
  EXPECT(can_unload() == 1);
  EXPECT(tool->lpVtbl->Release(tool) == 0);
  EXPECT(can_unload() == 0);
  return 0;
}

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  wchar_t path[MAX_PATH];
  EXPECT(MultiByteToWideChar(CP_ACP, 0, argv[1], -1, path, MAX_PATH) != 0);
  const HMODULE module = LoadLibraryW(path);
  EXPECT(module != NULL);
  if (Walk(module) != 0) return 1;
  EXPECT(FreeLibrary(module));
  EXPECT(GetModuleHandleW(L"VarnelWardlet.dll") == NULL);
  puts("every slot answered");
  return 0;
}
