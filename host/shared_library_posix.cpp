#include <dlfcn.h>

#include <filesystem>

#include "host/shared_library.h"

namespace varnel::host {

const char* const kModulePlaces[3] = {"libVarnelWardlet.so", "../tool/libVarnelWardlet.so",
                                      "../lib/libVarnelWardlet.so"};

formats::Result<void*> OpenLibrary(const std::string& path) {
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library != nullptr) return library;
  const char* reason = ::dlerror();
  return formats::Error{reason != nullptr ? reason : "the loader gives no reason"};
}

void* FindExport(void* library, const char* name) {
  return ::dlsym(library, name);
}

void CloseLibrary(void* library) {
  ::dlclose(library);
}

std::string ProgramFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

}  // namespace varnel::host
