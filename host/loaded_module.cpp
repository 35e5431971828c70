#include "host/loaded_module.h"

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace varnel::host {
namespace {

namespace fs = std::filesystem;

constexpr char kModuleFile[] = "libVarnelWardlet.so";

std::string LastLoaderError() {
  const char* text = ::dlerror();
  return text != nullptr ? text : "the loader gives no reason";
}

}  // namespace

std::string StatusText(std::uint32_t status) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(status));
  return text;
}

std::string FindModule() {
  if (const char* named = std::getenv("VARNEL_MODULE"); named != nullptr && *named != '\0') return named;
  std::error_code error;
  const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
  for (const fs::path& place :
       {folder / kModuleFile, folder / "../tool" / kModuleFile, folder / "../lib" / kModuleFile}) {
    if (fs::exists(place, error)) return place.lexically_normal().string();
  }
  return kModuleFile;  // left to the loader's own search
}

formats::Result<std::unique_ptr<LoadedModule>> LoadedModule::Load(const std::string& path) {
  void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) return formats::Error{"the module can't be loaded: " + LastLoaderError()};
  std::unique_ptr<LoadedModule> module(new LoadedModule(library));
  const auto made = module->MakeTool(path);
  if (!made.ok()) return made.error();
  return module;
}

formats::Status LoadedModule::MakeTool(const std::string& path) {
  const auto get_class_object =
      reinterpret_cast<WardletGetClassObjectFunction>(::dlsym(library_, WARDLET_EXPORT_GET_CLASS_OBJECT));
  if (get_class_object == nullptr) return formats::Error{path + ": has no export " WARDLET_EXPORT_GET_CLASS_OBJECT};
  VarnelClassFactory* factory = nullptr;
  std::uint32_t status =
      get_class_object(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, reinterpret_cast<void**>(&factory));
  if (status != VNSTAT_SUCCESS) return formats::Error{path + ": gives no class factory (" + StatusText(status) + ")"};
  status = factory->CreateInstance(nullptr, &IID_WardletToolInterface, reinterpret_cast<void**>(&tool_));
  if (status == VNSTAT_SUCCESS) {
    status = tool_->QueryInterface(&IID_VarnelDefaultInterface, reinterpret_cast<void**>(&defaults_));
  }
  factory->Release();
  if (status != VNSTAT_SUCCESS) return formats::Error{path + ": gives no tool object (" + StatusText(status) + ")"};
  return formats::Ok();
}

LoadedModule::~LoadedModule() {
  if (defaults_ != nullptr) defaults_->Release();
  if (tool_ != nullptr) tool_->Release();
  const auto can_unload =
      reinterpret_cast<WardletCanUnloadNowFunction>(::dlsym(library_, WARDLET_EXPORT_CAN_UNLOAD_NOW));
  if (can_unload != nullptr && can_unload() == 0) ::dlclose(library_);
}

}  // namespace varnel::host
