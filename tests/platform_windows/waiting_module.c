/* A module that takes its time as a test tells it: for what a host does that is interrupted meanwhile. It tells by one
 * event of the system where it is, and waits there for another one. */
#include "interfaces/wardlet_tool.h"
/* Behind a header that needs no other: the system's. */
#include <windows.h>

#include "tests/platform_windows/waiting_module.h"

static void TellAndWait(BOOL wait) {
  HANDLE inside = OpenEventW(EVENT_MODIFY_STATE, FALSE, WAITING_MODULE_IS_INSIDE);
  HANDLE may_go = OpenEventW(SYNCHRONIZE, FALSE, WAITING_MODULE_MAY_GO);
  SetEvent(inside);
  if (wait) WaitForSingleObject(may_go, INFINITE);
  CloseHandle(inside);
  CloseHandle(may_go);
}

static VarnelStatus Install(VarnelDefaultInterface* self, const VarnelWideChar* source_folder) {
  (void)self, (void)source_folder;
  TellAndWait(TRUE);
  return VNSTAT_SUCCESS;
}

static VarnelStatus Uninstall(VarnelDefaultInterface* self) {
  (void)self;
  return VNSTAT_SUCCESS;
}

static VarnelStatus TellVersion(VarnelDefaultInterface* self, VarnelVersionInfo* info) {
  (void)self, (void)info;
  return VNSTAT_SUCCESS;
}

static VarnelStatus Start(WardletToolInterface* self, uint32_t flags, VarnelEventCallback callback, void* context) {
  (void)self, (void)flags;
  callback(context, "{\"Function\":\"Start\"}");
  TellAndWait(FALSE);
  return VNSTAT_SUCCESS;
}

static VarnelStatus Stop(WardletToolInterface* self) {
  (void)self;
  TellAndWait(TRUE);
  return VNSTAT_SUCCESS;
}

/* One object of each kind, for ever. */
static uint32_t CountDefaults(VarnelDefaultInterface* self) {
  return (void)self, 1;
}
static uint32_t CountTool(WardletToolInterface* self) {
  return (void)self, 1;
}
static uint32_t CountFactory(VarnelClassFactory* self) {
  return (void)self, 1;
}

static VarnelStatus NoOther(VarnelDefaultInterface* self, const GUID* iid, void** out) {
  (void)self, (void)iid;
  *out = NULL;
  return VNSTAT_NO_INTERFACE;
}

static const VarnelDefaultInterfaceVtbl kDefaultsTable = {NoOther, CountDefaults, CountDefaults,
                                                          Install, Uninstall,     TellVersion};
static VarnelDefaultInterface g_defaults = {&kDefaultsTable};

static VarnelStatus DefaultsOf(WardletToolInterface* self, const GUID* iid, void** out) {
  (void)self, (void)iid;
  *out = &g_defaults;
  return VNSTAT_SUCCESS;
}

static const WardletToolInterfaceVtbl kToolTable = {DefaultsOf, CountTool, CountTool, Start, Stop};
static WardletToolInterface g_tool = {&kToolTable};

static VarnelStatus NoOtherFactory(VarnelClassFactory* self, const GUID* iid, void** out) {
  (void)self, (void)iid;
  *out = NULL;
  return VNSTAT_NO_INTERFACE;
}

static VarnelStatus CreateInstance(VarnelClassFactory* self, VarnelUnknown* outer, const GUID* iid, void** out) {
  (void)self, (void)outer, (void)iid;
  *out = &g_tool;
  return VNSTAT_SUCCESS;
}

static VarnelStatus LockServer(VarnelClassFactory* self, int32_t lock) {
  (void)self, (void)lock;
  return VNSTAT_SUCCESS;
}

static const VarnelClassFactoryVtbl kFactoryTable = {NoOtherFactory, CountFactory, CountFactory, CreateInstance,
                                                     LockServer};
static VarnelClassFactory g_factory = {&kFactoryTable};

/* The system's header declares the exports' own names. */
VarnelStatus WaitingGetClassObject(const GUID* clsid, const GUID* iid, void** out);
uint32_t WaitingCanUnloadNow(void);

VarnelStatus WaitingGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
  (void)clsid, (void)iid;
  *out = &g_factory;
  return VNSTAT_SUCCESS;
}

uint32_t WaitingCanUnloadNow(void) {
  return 0;
}
