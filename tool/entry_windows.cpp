// The entry file of the DLL: the two exports, and attach and detach by the loader's own call. The system's headers
// declare the exports with types of their own and are left out; the calling convention is one for all here.

#include "tool/module_entry.h"

extern "C" int DllMain(void* instance, unsigned long reason, void* reserved) {
  return varnel::DllMain(instance, static_cast<std::uint32_t>(reason), reserved);
}

extern "C" VarnelStatus DllGetClassObject(const GUID* clsid, const GUID* iid, void** out) {
  return varnel::GetClassObject(clsid, iid, out);
}

extern "C" std::uint32_t DllCanUnloadNow() {
  return varnel::CanUnloadNow();
}
