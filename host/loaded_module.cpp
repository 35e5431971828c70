#include "host/loaded_module.h"

#include <cstdio>
#include <filesystem>

#include "host/path_text.h"
#include "host/process.h"
#include "host/shared_library.h"

namespace varnel::host {

namespace fs = std::filesystem;

std::string StatusText(std::uint32_t status) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(status));
  return text;
}

std::string FindModule() {
  if (std::string named = EnvironmentText("VARNEL_MODULE"); !named.empty()) return named;
  const fs::path folder = PathOf(ProgramFolder());
  std::error_code error;
  for (const char* place : kModulePlaces) {
    const fs::path path = folder / place;
    if (fs::exists(path, error)) return TextOf(path.lexically_normal());
  }
  return kModulePlaces[0];  // left to OpenLibrary, which tells what is missing
}

formats::Result<std::unique_ptr<LoadedModule>> LoadedModule::Load(const std::string& path) {
  const auto library = OpenLibrary(path);
  if (!library.ok()) return formats::Error{"the module can't be loaded: " + library.error().message};
  std::unique_ptr<LoadedModule> module(new LoadedModule(library.value()));
  const auto made = module->MakeTool(path);
  if (!made.ok()) return made.error();
  return module;
}

formats::Status LoadedModule::MakeTool(const std::string& path) {
  const auto get_class_object =
      reinterpret_cast<WardletGetClassObjectFunction>(FindExport(library_, WARDLET_EXPORT_GET_CLASS_OBJECT));
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
      reinterpret_cast<WardletCanUnloadNowFunction>(FindExport(library_, WARDLET_EXPORT_CAN_UNLOAD_NOW));
  if (can_unload != nullptr && can_unload() == 0) CloseLibrary(library_);
}

}  // namespace varnel::host
