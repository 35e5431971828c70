// The engine's modules and symbol settings.
#include "formats/text_encoding.h"
#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/debugger/give.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

constexpr std::uint32_t kModuleUnloaded = 1;
constexpr std::uint32_t kSymbolTypeNone = 0;
constexpr std::uint32_t kSymbolTypeExport = 4;
constexpr std::uint32_t kLastNameKind = 4;  // of a symbol file and of a mapped image, which there are none of

std::uint32_t SizeOf(const std::string& text) {
  return static_cast<std::uint32_t>(text.size() + 1);
}

}  // namespace

HRESULT DumpEngine::GetSymbolOptions(std::uint32_t* options) {
  return Locked([&] {
    Put(options, symbol_options_);
    return results::kOk;
  });
}

HRESULT DumpEngine::AddSymbolOptions(std::uint32_t options) {
  return Locked([&] {
    symbol_options_ |= options;
    return results::kOk;
  });
}

HRESULT DumpEngine::RemoveSymbolOptions(std::uint32_t options) {
  return Locked([&] {
    symbol_options_ &= ~options;
    return results::kOk;
  });
}

HRESULT DumpEngine::SetSymbolOptions(std::uint32_t options) {
  return Locked([&] {
    symbol_options_ = options;
    return results::kOk;
  });
}

HRESULT DumpEngine::GetSymbolPathWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) {
  return Locked([&] { return GiveText<char16_t>(symbol_path_, buffer, buffer_size, path_size); });
}

HRESULT DumpEngine::SetSymbolPathWide(const char16_t* path) {
  return Locked([&] {
    symbol_path_ = path == nullptr ? u"" : path;
    return results::kOk;
  });
}

HRESULT DumpEngine::GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) {
  return WithX64([&](DebugTarget* target) {
    Put(loaded, target->modules().loaded());
    Put(unloaded, target->modules().unloaded());
    return results::kOk;
  });
}

HRESULT DumpEngine::GetModuleByIndex(std::uint32_t index, std::uint64_t* base) {
  return WithX64([&](DebugTarget* target) {
    const TargetModule* const module = target->modules().At(index);
    if (module == nullptr) return results::kInvalidArgument;
    Put(base, module->base);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetModuleByModuleName(const char* name, std::uint32_t start, std::uint32_t* index,
                                          std::uint64_t* base) {
  return WithX64([&](DebugTarget* target) {
    if (name == nullptr) return results::kPointer;
    const auto found = target->modules().FindName(name, start);
    if (!found) return results::kNotFound;
    Put(index, *found);
    Put(base, target->modules().At(*found)->base);
    return results::kOk;
  });
}

HRESULT DumpEngine::GetModuleByOffset(std::uint64_t offset, std::uint32_t start, std::uint32_t* index,
                                      std::uint64_t* base) {
  return WithX64([&](DebugTarget* target) {
    const auto found = target->modules().FindAddress(offset, start);
    if (!found) return results::kNotFound;
    Put(index, *found);
    Put(base, target->modules().At(*found)->base);
    return results::kOk;
  });
}

const TargetModule* DumpEngine::ModuleAt(DebugTarget* target, std::uint32_t index, std::uint64_t base) {
  if (index != platform::kDebugAnyId) return target->modules().At(index);
  const auto found = target->modules().FindBase(base);
  return found ? target->modules().At(*found) : nullptr;
}

HRESULT DumpEngine::GetModuleNames(std::uint32_t index, std::uint64_t base, char* image, std::uint32_t image_capacity,
                                   std::uint32_t* image_size, char* module_name, std::uint32_t module_capacity,
                                   std::uint32_t* module_size, char* loaded_image, std::uint32_t loaded_image_capacity,
                                   std::uint32_t* loaded_image_size) {
  return WithX64([&](DebugTarget* target) {
    const TargetModule* const module = ModuleAt(target, index, base);
    if (module == nullptr) return results::kInvalidArgument;
    const HRESULT given[] = {
        GiveText<char>(formats::Utf16ToUtf8(module->image), image, image_capacity, image_size),
        GiveText<char>(module->name, module_name, module_capacity, module_size),
        GiveText<char>(formats::Utf16ToUtf8(module->loaded), loaded_image, loaded_image_capacity, loaded_image_size),
    };
    for (const HRESULT result : given) {
      if (result != results::kOk) return result;
    }
    return results::kOk;
  });
}

void DumpEngine::Describe(DebugTarget* target, const TargetModule& module,
                          platform::DEBUG_MODULE_PARAMETERS* parameters) {
  *parameters = {};
  parameters->Base = module.base;
  parameters->Size = module.size;
  parameters->TimeDateStamp = module.time_date_stamp;
  parameters->Checksum = module.check_sum;
  parameters->Flags = module.unloaded ? kModuleUnloaded : 0;
  parameters->SymbolType = target->images().HasExports(module) ? kSymbolTypeExport : kSymbolTypeNone;
  parameters->ImageNameSize = SizeOf(formats::Utf16ToUtf8(module.image));
  parameters->ModuleNameSize = SizeOf(module.name);
  parameters->LoadedImageNameSize = SizeOf(formats::Utf16ToUtf8(module.loaded));
}

HRESULT DumpEngine::GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t start,
                                        platform::DEBUG_MODULE_PARAMETERS* params) {
  return WithX64([&](DebugTarget* target) {
    if (params == nullptr) return results::kPointer;
    for (std::uint32_t i = 0; i < count; ++i) {
      const TargetModule* const module =
          bases != nullptr ? ModuleAt(target, platform::kDebugAnyId, bases[i]) : target->modules().At(start + i);
      if (module != nullptr) {
        Describe(target, *module, &params[i]);
      } else if (bases != nullptr) {
        params[i] = {};
        params[i].Base = ~std::uint64_t{0};
      } else {
        return results::kInvalidArgument;
      }
    }
    return results::kOk;
  });
}

HRESULT DumpEngine::GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                                        std::uint32_t buffer_size, std::uint32_t* name_size) {
  return WithX64([&](DebugTarget* target) {
    const TargetModule* const module = ModuleAt(target, index, base);
    if (module == nullptr || which > kLastNameKind) return results::kInvalidArgument;
    if (which > platform::kModuleNameLoadedImage) return results::kNotFound;
    if (which == platform::kModuleNameModule) return GiveText<char>(module->name, buffer, buffer_size, name_size);
    const std::u16string_view text = which == platform::kModuleNameLoadedImage ? module->loaded : module->image;
    return GiveText<char>(formats::Utf16ToUtf8(text), buffer, buffer_size, name_size);
  });
}

HRESULT DumpEngine::GetTypeId(std::uint64_t, const char*, std::uint32_t*) {
  return WithX64([](DebugTarget*) { return results::kFail; });
}

HRESULT DumpEngine::GetFieldOffset(std::uint64_t, std::uint32_t, const char*, std::uint32_t*) {
  return WithX64([](DebugTarget*) { return results::kNotFound; });
}

HRESULT DumpEngine::GetTypeSize(std::uint64_t, std::uint32_t, std::uint32_t*) {
  return WithX64([](DebugTarget*) { return results::kFail; });
}

HRESULT DumpEngine::GetSymbolTypeId(const char*, std::uint32_t*, std::uint64_t*) {
  return WithX64([](DebugTarget*) { return results::kFail; });
}

HRESULT DumpEngine::GetOffsetByName(const char*, std::uint64_t*) {
  return WithX64([](DebugTarget*) { return results::kFail; });
}

HRESULT DumpEngine::GetLineByOffset(std::uint64_t, std::uint32_t*, char*, std::uint32_t, std::uint32_t*,
                                    std::uint64_t*) {
  return WithX64([](DebugTarget*) { return results::kFail; });
}

}  // namespace varnel::embedded
