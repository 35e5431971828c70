/* The tool module as its host sees it: two exports, a class factory, and a tool object with two interfaces. Usable from
 * C++ (classes of pure virtual operations) and from C (tables of functions). The binary rules are those of COM, but no
 * COM runtime is involved.
 *
 * A host, in C++:
 *
 *   VarnelClassFactory* factory = nullptr;
 *   get_class_object(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, reinterpret_cast<void**>(&factory));
 *   WardletToolInterface* tool = nullptr;
 *   factory->CreateInstance(nullptr, &IID_WardletToolInterface, reinterpret_cast<void**>(&tool));
 *   factory->Release();
 *   tool->Start(kFlags, OnText, context);
 *   ...
 *   tool->Stop();
 *   tool->Release();
 *
 * In C each call goes through the object's table: tool->lpVtbl->Start(tool, flags, OnText, context).
 *
 * Ownership. An interface pointer that a call hands out carries one reference, which the receiver gives back with
 * Release; the object goes with its last one. The objects hold no state but that count: what Start began is
 * module-wide, and releasing every object stops nothing. Call Stop first, then release, then ask DllCanUnloadNow.
 *
 * Threads. Any thread may call. AddRef, QueryInterface, LockServer and a Release that is not the object's last may run
 * beside each other; two that together give back the last references may not. Start, Stop, InstallVarnel and
 * UninstallVarnel are not serialised by the module: the host calls one of them at a time. The event callback is entered
 * from threads of the module, and from several at once. */
#ifndef VARNEL_INTERFACES_WARDLET_TOOL_H_
#define VARNEL_INTERFACES_WARDLET_TOOL_H_

#include <stdint.h>

#include "interfaces/guid.h"
#include "interfaces/wardlet_status.h"

/* A unit of UTF-16 text. */
#ifdef _WIN32
#include <wchar.h>
typedef wchar_t VarnelWideChar;
#else
#ifndef __cplusplus
#include <uchar.h>
#endif
typedef char16_t VarnelWideChar;
#endif

#ifdef __cplusplus
#define VARNEL_GUID_CONSTANT inline constexpr GUID
#else
#define VARNEL_GUID_CONSTANT static const GUID
#endif

/* {4A234956-2B7D-4221-BADF-12593BD342A8}: the module. Its class for DllGetClassObject, and the GUID in its paths, keys
 * and session name. */
VARNEL_GUID_CONSTANT GUID_WARDLET_TOOL = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};

/* The root interface. The name is the framework's, without its last letter. */
VARNEL_GUID_CONSTANT IID_VarnelUnknow = {0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
VARNEL_GUID_CONSTANT IID_VarnelClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};
/* {656F27DC-8938-4937-9619-74762D800B0E} */
VARNEL_GUID_CONSTANT IID_VarnelDefaultInterface = {
    0x656F27DC, 0x8938, 0x4937, {0x96, 0x19, 0x74, 0x76, 0x2D, 0x80, 0x0B, 0x0E}};
/* {1C78F7BF-9446-4EF0-9B98-5BE27BDF71A2} */
VARNEL_GUID_CONSTANT IID_WardletToolInterface = {
    0x1C78F7BF, 0x9446, 0x4EF0, {0x9B, 0x98, 0x5B, 0xE2, 0x7B, 0xDF, 0x71, 0xA2}};

/* The module's version, four numbers. The caller sets dwSize to sizeof(VarnelVersionInfo), which is 12. */
typedef struct VarnelVersionInfo {
  uint32_t dwSize;
  uint16_t wMajor;
  uint16_t wMinor;
  uint16_t wBuild;
  uint16_t wRevision;
} VarnelVersionInfo;

/* Flags of Start. Other bits have no meaning. */
#define WARDLET_FLAG_REPORT_WITHOUT_SYMBOLS UINT32_C(1)
#define WARDLET_FLAG_REPORT_WITH_SYMBOLS UINT32_C(2)

/* Takes one text: a trace event, a system crash or a dump report. `context` is what Start was given; `json_text` is one
 * JSON object as NUL-terminated UTF-8 and is valid during the call only. 0 means success. Any other answer is logged
 * and changes nothing: the text counts as delivered and does not come again.
 * Runs on threads of the module, on several at once; it may block (its provider's later events then wait), but Stop
 * waits for it, so it must not call Start or Stop, and nothing may be thrown out of it. */
typedef uint32_t (*VarnelEventCallback)(void* context, const char* json_text);

#ifdef __cplusplus

/* The root of every interface. */
class VarnelUnknown {
 public:
  /* Stores the interface's pointer in *out, with one reference for the caller. VNSTAT_NO_INTERFACE, with *out null,
   * when the object lacks it. Neither argument may be null. */
  virtual VarnelStatus QueryInterface(const GUID* iid, void** out) = 0;
  /* Both give the count after the call; it serves for diagnosis only. */
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;

 protected:
  ~VarnelUnknown() = default;
};

/* Makes tool objects. */
class VarnelClassFactory : public VarnelUnknown {
 public:
  /* `iid` is one of the tool's interfaces or the root. *out carries one reference, and is null on every failure but a
   * null `out`. VNSTAT_UNEXPECTED, VNSTAT_NO_AGGREGATION (`outer` must be null), VNSTAT_OUT_OF_MEMORY. */
  virtual VarnelStatus CreateInstance(VarnelUnknown* outer, const GUID* iid, void** out) = 0;
  /* Non-zero keeps the module loaded (DllCanUnloadNow then answers 1), zero takes one such lock back. Always 0. Each
   * lock needs exactly one unlock. */
  virtual VarnelStatus LockServer(int32_t lock) = 0;

 protected:
  ~VarnelClassFactory() = default;
};

/* Puts the tool on the machine and takes it off. Needs an elevated process. */
class VarnelDefaultInterface : public VarnelUnknown {
 public:
  /* Registers the boot-time trace session, makes sure that a trace session runs now, and copies "symsrv.dll" and
   * "symsrv.yes" from `source_folder` (a full path) beside the module. May be repeated. 0, or the code of the step that
   * failed; what was done before that step stays done. A failed registration alone is logged and answers 0. */
  virtual VarnelStatus InstallVarnel(const VarnelWideChar* source_folder) = 0;
  /* Removes the registration. Running sessions, trace files, copied files and records stay. 0, or the Win32 error of
   * the last step that failed. */
  virtual VarnelStatus UninstallVarnel() = 0;
  /* VNSTAT_UNSUCCESSFUL for null, VNSTAT_INVALID_SIZE (record untouched) when dwSize is not 12. */
  virtual VarnelStatus GetVarnelVersion(VarnelVersionInfo* info) = 0;

 protected:
  ~VarnelDefaultInterface() = default;
};

/* Runs the tool. */
class WardletToolInterface : public VarnelUnknown {
 public:
  /* Starts collecting and returns; texts come from then on. `callback` (never null) and `context` stay in use until
   * Stop has returned. 0, a Win32 error number, or VNSTAT_UNSUCCESSFUL: the module was running already, and that run is
   * stopped, for which the call may block; or a trace session is needed and no name for its file can be made. */
  virtual VarnelStatus Start(uint32_t flags, VarnelEventCallback callback, void* context) = 0;
  /* Ends collecting, hands over what is queued, and returns when no thread of the module is left and the callback will
   * not be entered again. 0, or 31 when the module was not running. */
  virtual VarnelStatus Stop() = 0;

 protected:
  ~WardletToolInterface() = default;
};

extern "C" {
#else /* C: each object begins with a pointer to its table; operations are as told above. */

typedef struct VarnelUnknown VarnelUnknown;
typedef struct VarnelClassFactory VarnelClassFactory;
typedef struct VarnelDefaultInterface VarnelDefaultInterface;
typedef struct WardletToolInterface WardletToolInterface;

#define VARNEL_ROOT_SLOTS(Self)                                             \
  VarnelStatus (*QueryInterface)(Self * self, const GUID* iid, void** out); \
  uint32_t (*AddRef)(Self * self);                                          \
  uint32_t (*Release)(Self * self)

typedef struct VarnelUnknownVtbl {
  VARNEL_ROOT_SLOTS(VarnelUnknown);
} VarnelUnknownVtbl;
struct VarnelUnknown {
  const VarnelUnknownVtbl* lpVtbl;
};

typedef struct VarnelClassFactoryVtbl {
  VARNEL_ROOT_SLOTS(VarnelClassFactory);
  VarnelStatus (*CreateInstance)(VarnelClassFactory* self, VarnelUnknown* outer, const GUID* iid, void** out);
  VarnelStatus (*LockServer)(VarnelClassFactory* self, int32_t lock);
} VarnelClassFactoryVtbl;
struct VarnelClassFactory {
  const VarnelClassFactoryVtbl* lpVtbl;
};

typedef struct VarnelDefaultInterfaceVtbl {
  VARNEL_ROOT_SLOTS(VarnelDefaultInterface);
  VarnelStatus (*InstallVarnel)(VarnelDefaultInterface* self, const VarnelWideChar* source_folder);
  VarnelStatus (*UninstallVarnel)(VarnelDefaultInterface* self);
  VarnelStatus (*GetVarnelVersion)(VarnelDefaultInterface* self, VarnelVersionInfo* info);
} VarnelDefaultInterfaceVtbl;
struct VarnelDefaultInterface {
  const VarnelDefaultInterfaceVtbl* lpVtbl;
};

typedef struct WardletToolInterfaceVtbl {
  VARNEL_ROOT_SLOTS(WardletToolInterface);
  VarnelStatus (*Start)(WardletToolInterface* self, uint32_t flags, VarnelEventCallback callback, void* context);
  VarnelStatus (*Stop)(WardletToolInterface* self);
} WardletToolInterfaceVtbl;
struct WardletToolInterface {
  const WardletToolInterfaceVtbl* lpVtbl;
};

#undef VARNEL_ROOT_SLOTS
#endif

/* The module's exports. A host finds them by these names after it loaded the module; they are not declared here, since
 * the system's own headers declare functions of the same names. */
#define WARDLET_EXPORT_GET_CLASS_OBJECT "DllGetClassObject"
#define WARDLET_EXPORT_CAN_UNLOAD_NOW "DllCanUnloadNow"

/* Hands out the factory for `clsid` GUID_WARDLET_TOOL; `iid` is IID_VarnelClassFactory or IID_VarnelUnknow, else
 * VNSTAT_NO_INTERFACE with *out null. VNSTAT_CLASS_NOT_AVAILABLE with *out null for another class. On
 * VNSTAT_OUT_OF_MEMORY *out is not touched. No argument may be null. */
typedef VarnelStatus (*WardletGetClassObjectFunction)(const GUID* clsid, const GUID* iid, void** out);
/* 0: no object lives and no lock is held, the module may be unloaded. 1: it may not. It does not look at whether the
 * tool runs: call Stop first. */
typedef uint32_t (*WardletCanUnloadNowFunction)(void);

#ifdef __cplusplus
} /* extern "C" */

static_assert(sizeof(VarnelVersionInfo) == 12, "the record's layout is shared with hosts");
#else
_Static_assert(sizeof(VarnelVersionInfo) == 12, "the record's layout is shared with hosts");
#endif

#endif /* VARNEL_INTERFACES_WARDLET_TOOL_H_ */
