#include "tests/support/scripted_engine.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/platform.h"
#include "tests/support/named_interfaces.h"

namespace varnel::testing {
namespace {

using platform::HRESULT;

constexpr HRESULT kFail = static_cast<HRESULT>(0x80004005);
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80070057);
constexpr HRESULT kReadFault = static_cast<HRESULT>(0x8007001E);
constexpr HRESULT kCut = 1;

/// A text as the engine gives it: the size with its NUL, and as much as there is room for.
HRESULT GiveText(std::string_view text, char* buffer, std::uint32_t buffer_size, std::uint32_t* size) {
  if (size != nullptr) *size = static_cast<std::uint32_t>(text.size() + 1);
  if (buffer == nullptr || buffer_size == 0) return 0;
  const std::size_t length = std::min<std::size_t>(text.size(), buffer_size - 1);
  std::copy_n(text.data(), length, buffer);
  buffer[length] = 0;
  return length < text.size() ? kCut : 0;
}

template <typename T>
HRESULT Give(const std::optional<T>& value, T* out) {
  if (!value) return kFail;
  *out = *value;
  return 0;
}

}  // namespace

ScriptedEngine::ScriptedEngine(ScriptedDebugger* debugger) : debugger_(debugger) {
  ++debugger_->live_engines_;
}

void ScriptedEngine::Destroy() {
  --debugger_->live_engines_;
  delete this;
}

HRESULT ScriptedEngine::QueryInterface(const GUID& id, void** object) {
  const char* const named = CallOf(id);
  const char* const call = named != nullptr ? named : "QueryInterface";
  *object = nullptr;
  if (const auto result = debugger_->Begin(call)) return *result;
  if (!debugger_->has_client4 && std::string_view(call) == "QueryInterface(IDebugClient4)")
    return platform::kNoInterface;
  return platform::DebugEngineStub::QueryInterface(id, object);
}

HRESULT ScriptedEngine::OpenDumpFile(const char* dump_file) {
  if (const auto result = debugger_->Begin("OpenDumpFile")) return *result;
  const std::lock_guard lock(debugger_->mutex_);
  debugger_->opened_narrow_.emplace_back(dump_file);
  return 0;
}

HRESULT ScriptedEngine::OpenDumpFileWide(const char16_t* file_name, std::uint64_t file_handle) {
  if (const auto result = debugger_->Begin("OpenDumpFileWide")) return *result;
  if (file_handle != 0) return kInvalidArgument;
  const std::lock_guard lock(debugger_->mutex_);
  debugger_->opened_.emplace_back(file_name);
  return 0;
}

HRESULT ScriptedEngine::EndSession(std::uint32_t flags) {
  if (const auto result = debugger_->Begin("EndSession")) return *result;
  return flags == 0 ? 0 : kInvalidArgument;
}

HRESULT ScriptedEngine::WaitForEvent(std::uint32_t flags, std::uint32_t timeout) {
  if (const auto result = debugger_->Begin("WaitForEvent")) return *result;
  if (flags != 0) return kInvalidArgument;
  const std::uint32_t load_ms = debugger_->load_ms;
  if (load_ms != 0) platform::ThreadsPort().Sleep(std::min(load_ms, timeout));
  return load_ms > timeout ? kCut : 0;
}

HRESULT ScriptedEngine::GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) {
  if (const auto result = debugger_->Begin("GetDebuggeeType")) return *result;
  *target_class = facts().target_class;
  *qualifier = facts().qualifier;
  return 0;
}

HRESULT ScriptedEngine::GetActualProcessorType(std::uint32_t* type) {
  if (const auto result = debugger_->Begin("GetActualProcessorType")) return *result;
  return Give(facts().machine, type);
}

HRESULT ScriptedEngine::GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor,
                                         char* service_pack, std::uint32_t service_pack_size,
                                         std::uint32_t* service_pack_used, std::uint32_t* service_pack_number,
                                         char* build, std::uint32_t build_size, std::uint32_t* build_used) {
  if (const auto result = debugger_->Begin("GetSystemVersion")) return *result;
  if (service_pack == nullptr || service_pack_size != 256) return kInvalidArgument;
  *platform_id = 2;
  *major = facts().major;
  *minor = facts().minor;
  *service_pack_number = 0;
  GiveText("", service_pack, service_pack_size, service_pack_used);
  return GiveText("19041.1.amd64fre", build, build_size, build_used);
}

HRESULT ScriptedEngine::ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2,
                                         std::uint64_t* arg3, std::uint64_t* arg4) {
  if (const auto result = debugger_->Begin("ReadBugCheckData")) return *result;
  if (!facts().bug_check) return kFail;
  *code = facts().bug_check->code;
  const auto& parameters = facts().bug_check->parameters;
  *arg1 = parameters[0];
  *arg2 = parameters[1];
  *arg3 = parameters[2];
  *arg4 = parameters[3];
  return 0;
}

HRESULT ScriptedEngine::GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset,
                                      std::uint64_t instruction_offset, platform::DEBUG_STACK_FRAME* frames,
                                      std::uint32_t frames_size, std::uint32_t* frames_filled) {
  if (const auto result = debugger_->Begin("GetStackTrace")) return *result;
  if (!facts().frames) return kFail;
  if ((frame_offset | stack_offset | instruction_offset) != 0) return kInvalidArgument;
  const std::size_t count = std::min<std::size_t>(facts().frames->size(), frames_size);
  std::copy_n(facts().frames->begin(), count, frames);
  *frames_filled = static_cast<std::uint32_t>(count);
  return 0;
}

HRESULT ScriptedEngine::GetCurrentSystemUpTime(std::uint32_t* up_time) {
  if (const auto result = debugger_->Begin("GetCurrentSystemUpTime")) return *result;
  return Give(facts().uptime_s, up_time);
}

HRESULT ScriptedEngine::GetCurrentTimeDate(std::uint32_t* time_date) {
  if (const auto result = debugger_->Begin("GetCurrentTimeDate")) return *result;
  return Give(facts().time_s, time_date);
}

HRESULT ScriptedEngine::GetSymbolOptions(std::uint32_t* options) {
  if (const auto result = debugger_->Begin("GetSymbolOptions")) return *result;
  const std::lock_guard lock(debugger_->mutex_);
  *options = debugger_->options_;
  return 0;
}

HRESULT ScriptedEngine::SetSymbolOptions(std::uint32_t options) {
  if (const auto result = debugger_->Begin("SetSymbolOptions")) return *result;
  const std::lock_guard lock(debugger_->mutex_);
  debugger_->options_ = options;
  debugger_->symbol_options_.push_back(options);
  return 0;
}

HRESULT ScriptedEngine::SetSymbolPathWide(const char16_t* path) {
  if (const auto result = debugger_->Begin("SetSymbolPathWide")) return *result;
  const std::lock_guard lock(debugger_->mutex_);
  debugger_->symbol_paths_.emplace_back(path);
  return 0;
}

HRESULT ScriptedEngine::GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_buffer_size,
                                        std::uint32_t* name_size, std::uint64_t* displacement) {
  if (const auto result = debugger_->Begin("GetNameByOffset")) return *result;
  const auto found = facts().names.find(offset);
  if (found == facts().names.end()) return kFail;
  if (displacement != nullptr) *displacement = found->second.displacement;
  return GiveText(found->second.name, name_buffer, name_buffer_size, name_size);
}

HRESULT ScriptedEngine::GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) {
  if (const auto result = debugger_->Begin("GetNumberModules")) return *result;
  *loaded = static_cast<std::uint32_t>(facts().modules.size());
  *unloaded = facts().unloaded_modules;
  return 0;
}

HRESULT ScriptedEngine::GetModuleByIndex(std::uint32_t index, std::uint64_t* base) {
  if (const auto result = debugger_->Begin("GetModuleByIndex")) return *result;
  if (index >= facts().modules.size()) return kInvalidArgument;
  *base = facts().modules[index].base;
  return 0;
}

HRESULT ScriptedEngine::GetModuleByModuleName(const char* name, std::uint32_t start_index, std::uint32_t* index,
                                              std::uint64_t* base) {
  if (const auto result = debugger_->Begin("GetModuleByModuleName")) return *result;
  for (std::uint32_t i = start_index; i < facts().modules.size(); ++i) {
    if (facts().modules[i].module_name != name) continue;
    if (index != nullptr) *index = i;
    if (base != nullptr) *base = facts().modules[i].base;
    return 0;
  }
  return kInvalidArgument;
}

HRESULT ScriptedEngine::GetModuleByOffset(std::uint64_t offset, std::uint32_t start_index, std::uint32_t* index,
                                          std::uint64_t* base) {
  if (const auto result = debugger_->Begin("GetModuleByOffset")) return *result;
  for (std::uint32_t i = start_index; i < facts().modules.size(); ++i) {
    const ScriptedModule& module = facts().modules[i];
    if (offset < module.base || offset - module.base >= module.size) continue;
    if (index != nullptr) *index = i;
    if (base != nullptr) *base = module.base;
    return 0;
  }
  return kInvalidArgument;
}

const ScriptedModule* ScriptedEngine::ModuleAt(std::uint32_t index, std::uint64_t base) const {
  if (index != platform::kDebugAnyId) return index < facts().modules.size() ? &facts().modules[index] : nullptr;
  for (const ScriptedModule& module : facts().modules) {
    if (module.base == base) return &module;
  }
  return nullptr;
}

HRESULT ScriptedEngine::GetModuleNames(std::uint32_t index, std::uint64_t base, char* image_name_buffer,
                                       std::uint32_t image_name_buffer_size, std::uint32_t* image_name_size,
                                       char* module_name_buffer, std::uint32_t module_name_buffer_size,
                                       std::uint32_t* module_name_size, char* loaded_image_name_buffer,
                                       std::uint32_t loaded_image_name_buffer_size,
                                       std::uint32_t* loaded_image_name_size) {
  if (const auto result = debugger_->Begin("GetModuleNames")) return *result;
  const ScriptedModule* const module = ModuleAt(index, base);
  if (module == nullptr) return kInvalidArgument;
  GiveText(module->image_name, image_name_buffer, image_name_buffer_size, image_name_size);
  GiveText(module->loaded_image_name, loaded_image_name_buffer, loaded_image_name_buffer_size, loaded_image_name_size);
  if (module->module_name.empty()) {
    *module_name_size = 0;
    return 0;
  }
  return GiveText(module->module_name, module_name_buffer, module_name_buffer_size, module_name_size);
}

HRESULT ScriptedEngine::GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t /*start*/,
                                            platform::DEBUG_MODULE_PARAMETERS* params) {
  if (const auto result = debugger_->Begin("GetModuleParameters")) return *result;
  for (std::uint32_t i = 0; i < count; ++i) {
    const ScriptedModule* const module = ModuleAt(platform::kDebugAnyId, bases[i]);
    params[i] = {};
    params[i].Base = module == nullptr ? ~std::uint64_t{0} : module->base;
    if (module == nullptr) continue;
    params[i].Size = module->size;
    params[i].TimeDateStamp = module->timestamp;
    params[i].Checksum = module->checksum;
    params[i].SymbolType = module->symbol_type;
  }
  return 0;
}

HRESULT ScriptedEngine::GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                                            std::uint32_t buffer_size, std::uint32_t* name_size) {
  if (const auto result = debugger_->Begin("GetModuleNameString")) return *result;
  const ScriptedModule* const module = ModuleAt(index, base);
  if (module == nullptr) return kInvalidArgument;
  const std::string& name = which == platform::kModuleNameModule  ? module->module_name
                            : which == platform::kModuleNameImage ? module->image_name
                                                                  : module->loaded_image_name;
  return name.empty() ? kFail : GiveText(name, buffer, buffer_size, name_size);
}

HRESULT ScriptedEngine::GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item,
                                                    void* buffer, std::uint32_t buffer_size,
                                                    std::uint32_t* ver_info_size) {
  if (const auto result = debugger_->Begin("GetModuleVersionInformation")) return *result;
  const ScriptedModule* const module = ModuleAt(index, base);
  if (module == nullptr) return kInvalidArgument;
  const auto found = module->version_items.find(item);
  if (found == module->version_items.end()) return platform::kNoInterface;
  const std::size_t size = std::min<std::size_t>(found->second.size(), buffer_size);
  std::memcpy(buffer, found->second.data(), size);
  if (ver_info_size != nullptr) *ver_info_size = static_cast<std::uint32_t>(found->second.size());
  return size < found->second.size() ? kCut : 0;
}

HRESULT ScriptedEngine::GetTypeId(std::uint64_t module, const char* name, std::uint32_t* type_id) {
  if (const auto result = debugger_->Begin("GetTypeId")) return *result;
  if (ModuleAt(platform::kDebugAnyId, module) == nullptr) return kInvalidArgument;
  const auto found = facts().types.find(name);
  if (found == facts().types.end()) return kFail;
  *type_id = found->second;
  return 0;
}

HRESULT ScriptedEngine::GetFieldOffset(std::uint64_t module, std::uint32_t type_id, const char* field,
                                       std::uint32_t* offset) {
  if (const auto result = debugger_->Begin("GetFieldOffset")) return *result;
  const auto is_asked = [type_id](const auto& type) { return type.second == type_id; };
  if (ModuleAt(platform::kDebugAnyId, module) == nullptr || std::ranges::none_of(facts().types, is_asked)) {
    return kInvalidArgument;
  }
  const auto found = facts().fields.find(field);
  if (found == facts().fields.end()) return platform::kNoInterface;
  *offset = found->second;
  return 0;
}

HRESULT ScriptedEngine::ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                    std::uint32_t* bytes_read) {
  if (const auto result = debugger_->Begin("ReadVirtual")) return *result;
  const auto next = facts().memory.upper_bound(offset);
  if (next == facts().memory.begin()) return kReadFault;
  const auto& [base, bytes] = *std::prev(next);
  if (offset - base >= bytes.size()) return kReadFault;
  const std::size_t size = std::min<std::size_t>(bytes.size() - (offset - base), buffer_size);
  std::memcpy(buffer, bytes.data() + (offset - base), size);
  if (bytes_read != nullptr) *bytes_read = static_cast<std::uint32_t>(size);
  return 0;
}

HRESULT ScriptedEngine::QueryVirtual(std::uint64_t offset, platform::MEMORY_BASIC_INFORMATION64* info) {
  if (const auto result = debugger_->Begin("QueryVirtual")) return *result;
  const auto found = facts().protection.find(offset);
  if (found == facts().protection.end()) return kFail;
  *info = {};
  info->Protect = found->second;
  return 0;
}

HRESULT ScriptedEngine::GetCurrentThreadId(std::uint32_t* id) {
  if (const auto result = debugger_->Begin("GetCurrentThreadId")) return *result;
  *id = 0;
  return 0;
}

HRESULT ScriptedEngine::GetCurrentProcessDataOffset(std::uint64_t* offset) {
  if (const auto result = debugger_->Begin("GetCurrentProcessDataOffset")) return *result;
  *offset = facts().process;
  return 0;
}

HRESULT ScriptedEngine::GetIndexByName(const char* name, std::uint32_t* index) {
  if (const auto result = debugger_->Begin("GetIndexByName")) return *result;
  for (std::size_t i = 0; i < facts().registers.size(); ++i) {
    if (facts().registers[i].name != name) continue;
    *index = static_cast<std::uint32_t>(i);
    return 0;
  }
  return platform::kNoInterface;
}

HRESULT ScriptedEngine::GetValue(std::uint32_t register_index, platform::DEBUG_VALUE* value) {
  if (const auto result = debugger_->Begin("GetValue")) return *result;
  if (register_index >= facts().registers.size()) return kInvalidArgument;
  *value = {};
  value->I64 = facts().registers[register_index].value;
  value->Type = facts().registers[register_index].type;
  return 0;
}

HRESULT ScriptedEngine::GetThreadContext(void* context, std::uint32_t context_size) {
  if (const auto result = debugger_->Begin("GetThreadContext")) return *result;
  if (!facts().instruction || context_size != 1232) return kInvalidArgument;
  auto* const asked = static_cast<platform::X64_CONTEXT*>(context);
  if (asked->ContextFlags != 0x10000B || reinterpret_cast<std::uintptr_t>(context) % 16 != 0) return kInvalidArgument;
  asked->Rip = *facts().instruction;
  return 0;
}

}  // namespace varnel::testing
