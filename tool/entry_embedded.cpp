// The entry file of the shared library: the two exports, and attach and detach by the loader's own means.

#include "tool/module_entry.h"

namespace {

__attribute__((constructor)) void Attach() {
  varnel::DllMain(nullptr, varnel::kProcessAttach, nullptr);
}

__attribute__((destructor)) void Detach() {
  varnel::DllMain(nullptr, varnel::kProcessDetach, nullptr);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) VarnelStatus DllGetClassObject(const GUID* clsid, const GUID* iid,
                                                                                 void** out) {
  return varnel::GetClassObject(clsid, iid, out);
}

extern "C" __attribute__((visibility("default"))) std::uint32_t DllCanUnloadNow() {
  return varnel::CanUnloadNow();
}
