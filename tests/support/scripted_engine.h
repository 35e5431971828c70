// One engine of a ScriptedDebugger.
#pragma once

#include "platform/debugger/engine_stub.h"
#include "tests/support/scripted_debugger.h"

namespace varnel::testing {

/// Borrows the debugger.
class ScriptedEngine final : public platform::DebugEngineStub {
 public:
  using HRESULT = platform::HRESULT;

  explicit ScriptedEngine(ScriptedDebugger* debugger);

  HRESULT QueryInterface(const GUID& id, void** object) override;

  HRESULT OpenDumpFile(const char* dump_file) override;
  HRESULT OpenDumpFileWide(const char16_t* file_name, std::uint64_t file_handle) override;
  HRESULT EndSession(std::uint32_t flags) override;

  HRESULT WaitForEvent(std::uint32_t flags, std::uint32_t timeout) override;
  HRESULT GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) override;
  HRESULT GetActualProcessorType(std::uint32_t* type) override;
  HRESULT GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor, char* service_pack,
                           std::uint32_t service_pack_size, std::uint32_t* service_pack_used,
                           std::uint32_t* service_pack_number, char* build, std::uint32_t build_size,
                           std::uint32_t* build_used) override;
  HRESULT ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2, std::uint64_t* arg3,
                           std::uint64_t* arg4) override;
  HRESULT GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset, std::uint64_t instruction_offset,
                        platform::DEBUG_STACK_FRAME* frames, std::uint32_t frames_size,
                        std::uint32_t* frames_filled) override;
  HRESULT GetCurrentSystemUpTime(std::uint32_t* up_time) override;
  HRESULT GetCurrentTimeDate(std::uint32_t* time_date) override;

  HRESULT GetSymbolOptions(std::uint32_t* options) override;
  HRESULT SetSymbolOptions(std::uint32_t options) override;
  HRESULT SetSymbolPathWide(const char16_t* path) override;
  HRESULT GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_buffer_size,
                          std::uint32_t* name_size, std::uint64_t* displacement) override;
  HRESULT GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) override;
  HRESULT GetModuleByIndex(std::uint32_t index, std::uint64_t* base) override;
  HRESULT GetModuleByModuleName(const char* name, std::uint32_t start_index, std::uint32_t* index,
                                std::uint64_t* base) override;
  HRESULT GetModuleByOffset(std::uint64_t offset, std::uint32_t start_index, std::uint32_t* index,
                            std::uint64_t* base) override;
  HRESULT GetModuleNames(std::uint32_t index, std::uint64_t base, char* image_name_buffer,
                         std::uint32_t image_name_buffer_size, std::uint32_t* image_name_size, char* module_name_buffer,
                         std::uint32_t module_name_buffer_size, std::uint32_t* module_name_size,
                         char* loaded_image_name_buffer, std::uint32_t loaded_image_name_buffer_size,
                         std::uint32_t* loaded_image_name_size) override;
  HRESULT GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t start,
                              platform::DEBUG_MODULE_PARAMETERS* params) override;
  HRESULT GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                              std::uint32_t buffer_size, std::uint32_t* name_size) override;
  HRESULT GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item, void* buffer,
                                      std::uint32_t buffer_size, std::uint32_t* ver_info_size) override;
  HRESULT GetTypeId(std::uint64_t module, const char* name, std::uint32_t* type_id) override;
  HRESULT GetFieldOffset(std::uint64_t module, std::uint32_t type_id, const char* field,
                         std::uint32_t* offset) override;

  HRESULT ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                      std::uint32_t* bytes_read) override;
  HRESULT QueryVirtual(std::uint64_t offset, platform::MEMORY_BASIC_INFORMATION64* info) override;

  HRESULT GetCurrentThreadId(std::uint32_t* id) override;
  HRESULT GetCurrentProcessDataOffset(std::uint64_t* offset) override;

  HRESULT GetIndexByName(const char* name, std::uint32_t* index) override;
  HRESULT GetValue(std::uint32_t register_index, platform::DEBUG_VALUE* value) override;

  HRESULT GetThreadContext(void* context, std::uint32_t context_size) override;

 private:
  ~ScriptedEngine() = default;
  void Destroy() override;

  const ScriptedFacts& facts() const { return debugger_->facts; }
  /// By index, or by base when the index is kDebugAnyId. Null: no such module.
  const ScriptedModule* ModuleAt(std::uint32_t index, std::uint64_t base) const;

  ScriptedDebugger* const debugger_;
};

}  // namespace varnel::testing
