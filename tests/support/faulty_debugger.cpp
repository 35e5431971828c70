#include "tests/support/faulty_debugger.h"

#include <atomic>

#include "platform/debugger/engine_stub.h"
#include "tests/support/named_interfaces.h"

namespace varnel::testing {
namespace {

using platform::HRESULT;

struct Decoration {
  platform::DebugCreateFunction below;
  FaultPlan* plan;
};
std::atomic<const Decoration*> g_current{nullptr};

/// An interface of the engine below, held for the decorator's life; null when that engine lacks it.
template <typename Interface>
class Below {
 public:
  Below(platform::IUnknown* engine, const GUID& id) {
    void* object = nullptr;
    if (engine->QueryInterface(id, &object) >= 0) held_ = static_cast<Interface*>(object);
  }
  ~Below() {
    if (held_ != nullptr) held_->Release();
  }
  Below(const Below&) = delete;
  Below& operator=(const Below&) = delete;
  Interface* operator->() const { return held_; }

 private:
  Interface* held_ = nullptr;
};

class FaultyEngine final : public platform::DebugEngineStub {
 public:
  FaultyEngine(platform::IDebugClient* engine, FaultPlan* plan) : engine_(engine), plan_(plan) {}

  HRESULT QueryInterface(const GUID& id, void** object) override {
    *object = nullptr;
    if (const char* const call = CallOf(id)) {
      if (const auto code = plan_->Called(call)) return static_cast<HRESULT>(*code);
    }
    // The engine below decides what there is.
    void* below = nullptr;
    const HRESULT result = engine_->QueryInterface(id, &below);
    if (result < 0) return result;
    static_cast<platform::IUnknown*>(below)->Release();
    return platform::DebugEngineStub::QueryInterface(id, object);
  }

  HRESULT OpenDumpFile(const char* dump_file) override {
    return Coded("OpenDumpFile", [&] { return client_->OpenDumpFile(dump_file); });
  }
  HRESULT OpenDumpFileWide(const char16_t* file_name, std::uint64_t file_handle) override {
    return Coded("OpenDumpFileWide", [&] { return client4_->OpenDumpFileWide(file_name, file_handle); });
  }
  HRESULT EndSession(std::uint32_t flags) override {
    return Coded("EndSession", [&] { return client_->EndSession(flags); });
  }
  HRESULT WaitForEvent(std::uint32_t flags, std::uint32_t timeout) override {
    return Coded("WaitForEvent", [&] { return control_->WaitForEvent(flags, timeout); });
  }
  HRESULT GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) override {
    return Coded("GetDebuggeeType", [&] { return control_->GetDebuggeeType(target_class, qualifier); });
  }
  HRESULT GetActualProcessorType(std::uint32_t* type) override {
    return Coded("GetActualProcessorType", [&] { return control_->GetActualProcessorType(type); });
  }
  HRESULT GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor, char* service_pack,
                           std::uint32_t service_pack_size, std::uint32_t* service_pack_used,
                           std::uint32_t* service_pack_number, char* build, std::uint32_t build_size,
                           std::uint32_t* build_used) override {
    return Coded("GetSystemVersion", [&] {
      return control_->GetSystemVersion(platform_id, major, minor, service_pack, service_pack_size, service_pack_used,
                                        service_pack_number, build, build_size, build_used);
    });
  }
  HRESULT ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2, std::uint64_t* arg3,
                           std::uint64_t* arg4) override {
    return Coded("ReadBugCheckData", [&] { return control_->ReadBugCheckData(code, arg1, arg2, arg3, arg4); });
  }
  HRESULT GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset, std::uint64_t instruction_offset,
                        platform::DEBUG_STACK_FRAME* frames, std::uint32_t frames_size,
                        std::uint32_t* frames_filled) override {
    return Coded("GetStackTrace", [&] {
      return control_->GetStackTrace(frame_offset, stack_offset, instruction_offset, frames, frames_size,
                                     frames_filled);
    });
  }
  HRESULT GetCurrentSystemUpTime(std::uint32_t* up_time) override {
    return Coded("GetCurrentSystemUpTime", [&] { return control4_->GetCurrentSystemUpTime(up_time); });
  }
  HRESULT GetCurrentTimeDate(std::uint32_t* time_date) override {
    return Coded("GetCurrentTimeDate", [&] { return control4_->GetCurrentTimeDate(time_date); });
  }
  HRESULT GetSymbolOptions(std::uint32_t* options) override {
    return Coded("GetSymbolOptions", [&] { return symbols_->GetSymbolOptions(options); });
  }
  HRESULT SetSymbolOptions(std::uint32_t options) override {
    return Coded("SetSymbolOptions", [&] { return symbols_->SetSymbolOptions(options); });
  }
  HRESULT SetSymbolPathWide(const char16_t* path) override {
    return Coded("SetSymbolPathWide", [&] { return symbols_->SetSymbolPathWide(path); });
  }
  HRESULT GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_buffer_size,
                          std::uint32_t* name_size, std::uint64_t* displacement) override {
    return Coded("GetNameByOffset", [&] {
      return symbols_->GetNameByOffset(offset, name_buffer, name_buffer_size, name_size, displacement);
    });
  }
  HRESULT GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) override {
    return Coded("GetNumberModules", [&] { return symbols_->GetNumberModules(loaded, unloaded); });
  }
  HRESULT GetModuleByIndex(std::uint32_t index, std::uint64_t* base) override {
    return Coded("GetModuleByIndex", [&] { return symbols_->GetModuleByIndex(index, base); });
  }
  HRESULT GetModuleByModuleName(const char* name, std::uint32_t start_index, std::uint32_t* index,
                                std::uint64_t* base) override {
    return Coded("GetModuleByModuleName",
                 [&] { return symbols_->GetModuleByModuleName(name, start_index, index, base); });
  }
  HRESULT GetModuleByOffset(std::uint64_t offset, std::uint32_t start_index, std::uint32_t* index,
                            std::uint64_t* base) override {
    return Coded("GetModuleByOffset", [&] { return symbols_->GetModuleByOffset(offset, start_index, index, base); });
  }
  HRESULT GetModuleNames(std::uint32_t index, std::uint64_t base, char* image_name_buffer,
                         std::uint32_t image_name_buffer_size, std::uint32_t* image_name_size, char* module_name_buffer,
                         std::uint32_t module_name_buffer_size, std::uint32_t* module_name_size,
                         char* loaded_image_name_buffer, std::uint32_t loaded_image_name_buffer_size,
                         std::uint32_t* loaded_image_name_size) override {
    return Coded("GetModuleNames", [&] {
      return symbols_->GetModuleNames(index, base, image_name_buffer, image_name_buffer_size, image_name_size,
                                      module_name_buffer, module_name_buffer_size, module_name_size,
                                      loaded_image_name_buffer, loaded_image_name_buffer_size, loaded_image_name_size);
    });
  }
  HRESULT GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t start,
                              platform::DEBUG_MODULE_PARAMETERS* params) override {
    return Coded("GetModuleParameters", [&] { return symbols_->GetModuleParameters(count, bases, start, params); });
  }
  HRESULT GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                              std::uint32_t buffer_size, std::uint32_t* name_size) override {
    return Coded("GetModuleNameString",
                 [&] { return symbols_->GetModuleNameString(which, index, base, buffer, buffer_size, name_size); });
  }
  HRESULT GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item, void* buffer,
                                      std::uint32_t buffer_size, std::uint32_t* ver_info_size) override {
    return Coded("GetModuleVersionInformation", [&] {
      return symbols_->GetModuleVersionInformation(index, base, item, buffer, buffer_size, ver_info_size);
    });
  }
  HRESULT GetTypeId(std::uint64_t module, const char* name, std::uint32_t* type_id) override {
    return Coded("GetTypeId", [&] { return symbols_->GetTypeId(module, name, type_id); });
  }
  HRESULT GetFieldOffset(std::uint64_t module, std::uint32_t type_id, const char* field,
                         std::uint32_t* offset) override {
    return Coded("GetFieldOffset", [&] { return symbols_->GetFieldOffset(module, type_id, field, offset); });
  }
  HRESULT ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                      std::uint32_t* bytes_read) override {
    return Coded("ReadVirtual", [&] { return data_spaces_->ReadVirtual(offset, buffer, buffer_size, bytes_read); });
  }
  HRESULT QueryVirtual(std::uint64_t offset, platform::MEMORY_BASIC_INFORMATION64* info) override {
    return Coded("QueryVirtual", [&] { return data_spaces2_->QueryVirtual(offset, info); });
  }
  HRESULT GetCurrentThreadId(std::uint32_t* id) override {
    return Coded("GetCurrentThreadId", [&] { return system_objects_->GetCurrentThreadId(id); });
  }
  HRESULT GetCurrentProcessDataOffset(std::uint64_t* offset) override {
    return Coded("GetCurrentProcessDataOffset", [&] { return system_objects_->GetCurrentProcessDataOffset(offset); });
  }
  HRESULT GetIndexByName(const char* name, std::uint32_t* index) override {
    return Coded("GetIndexByName", [&] { return registers_->GetIndexByName(name, index); });
  }
  HRESULT GetValue(std::uint32_t register_index, platform::DEBUG_VALUE* value) override {
    return Coded("GetValue", [&] { return registers_->GetValue(register_index, value); });
  }
  HRESULT GetThreadContext(void* context, std::uint32_t context_size) override {
    return Coded("GetThreadContext", [&] { return advanced_->GetThreadContext(context, context_size); });
  }

 private:
  ~FaultyEngine() { engine_->Release(); }
  void Destroy() override { delete this; }

  template <typename Call>
  HRESULT Coded(const char* operation, const Call& call) {
    const auto code = plan_->Called(operation);
    return code ? static_cast<HRESULT>(*code) : call();
  }

  platform::IDebugClient* const engine_;  // counted
  FaultPlan* const plan_;
  const Below<platform::IDebugClient> client_{engine_, platform::kIidDebugClient};
  const Below<platform::IDebugClient4> client4_{engine_, platform::kIidDebugClient4};
  const Below<platform::IDebugControl> control_{engine_, platform::kIidDebugControl};
  const Below<platform::IDebugControl4> control4_{engine_, platform::kIidDebugControl4};
  const Below<platform::IDebugSymbols3> symbols_{engine_, platform::kIidDebugSymbols3};
  const Below<platform::IDebugSystemObjects> system_objects_{engine_, platform::kIidDebugSystemObjects};
  const Below<platform::IDebugDataSpaces> data_spaces_{engine_, platform::kIidDebugDataSpaces};
  const Below<platform::IDebugDataSpaces2> data_spaces2_{engine_, platform::kIidDebugDataSpaces2};
  const Below<platform::IDebugRegisters> registers_{engine_, platform::kIidDebugRegisters};
  const Below<platform::IDebugAdvanced> advanced_{engine_, platform::kIidDebugAdvanced};
};

HRESULT CreateDecorated(const GUID& id, void** object) {
  const Decoration* const decoration = g_current;
  *object = nullptr;
  if (const auto code = decoration->plan->Called("DebugCreate")) return static_cast<HRESULT>(*code);
  void* below = nullptr;
  const HRESULT created = decoration->below(platform::kIidDebugClient, &below);
  if (created < 0) return created;
  auto* const engine = new FaultyEngine(static_cast<platform::IDebugClient*>(below), decoration->plan);
  const HRESULT result = engine->QueryInterface(id, object);
  engine->Release();
  return result;
}

}  // namespace

FaultyDebugger::FaultyDebugger(platform::DebugCreateFunction below, FaultPlan* plan) {
  g_current = new Decoration{below, plan};
}

FaultyDebugger::~FaultyDebugger() {
  delete g_current.exchange(nullptr);
}

platform::DebugCreateFunction FaultyDebugger::function() const {
  return &CreateDecorated;
}

}  // namespace varnel::testing
