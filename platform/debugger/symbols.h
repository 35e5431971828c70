// The engine's symbols: modules, names, types, symbol options and paths. See engine.h for who may call and who owns
// what.
#pragma once

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 51.
class IDebugSymbols : public IUnknown {
 public:
  virtual HRESULT GetSymbolOptions(std::uint32_t* options) = 0;
  virtual HRESULT AddSymbolOptions(std::uint32_t options) = 0;
  virtual HRESULT RemoveSymbolOptions(std::uint32_t options) = 0;
  virtual HRESULT SetSymbolOptions(std::uint32_t options) = 0;
  /// "module!name" in UTF-8 of the nearest symbol below; the distance is told apart.
  virtual HRESULT GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_buffer_size,
                                  std::uint32_t* name_size, std::uint64_t* displacement) = 0;
  virtual HRESULT GetOffsetByName(const char* symbol, std::uint64_t* offset) = 0;
  virtual HRESULT GetNearNameByOffset(std::uint64_t offset, std::int32_t delta, char* name_buffer,
                                      std::uint32_t name_buffer_size, std::uint32_t* name_size,
                                      std::uint64_t* displacement) = 0;
  virtual HRESULT GetLineByOffset(std::uint64_t offset, std::uint32_t* line, char* file_buffer,
                                  std::uint32_t file_buffer_size, std::uint32_t* file_size,
                                  std::uint64_t* displacement) = 0;
  virtual HRESULT GetOffsetByLine(std::uint32_t line, const char* file, std::uint64_t* offset) = 0;
  /// Loaded modules come first in the order of indices, unloaded ones behind them.
  virtual HRESULT GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) = 0;
  virtual HRESULT GetModuleByIndex(std::uint32_t index, std::uint64_t* base) = 0;
  virtual HRESULT GetModuleByModuleName(const char* name, std::uint32_t start_index, std::uint32_t* index,
                                        std::uint64_t* base) = 0;
  virtual HRESULT GetModuleByOffset(std::uint64_t offset, std::uint32_t start_index, std::uint32_t* index,
                                    std::uint64_t* base) = 0;
  /// Sizes hold the NUL; a null buffer asks for the size alone. An index, or kDebugAnyId and a base.
  virtual HRESULT GetModuleNames(std::uint32_t index, std::uint64_t base, char* image_name_buffer,
                                 std::uint32_t image_name_buffer_size, std::uint32_t* image_name_size,
                                 char* module_name_buffer, std::uint32_t module_name_buffer_size,
                                 std::uint32_t* module_name_size, char* loaded_image_name_buffer,
                                 std::uint32_t loaded_image_name_buffer_size,
                                 std::uint32_t* loaded_image_name_size) = 0;
  /// Asked by bases, an unknown one comes back with a Base of all ones and the result 0.
  virtual HRESULT GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t start,
                                      DEBUG_MODULE_PARAMETERS* params) = 0;
  virtual HRESULT GetSymbolModule(const char* symbol, std::uint64_t* base) = 0;
  virtual HRESULT GetTypeName(std::uint64_t module, std::uint32_t type_id, char* name_buffer,
                              std::uint32_t name_buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetTypeId(std::uint64_t module, const char* name, std::uint32_t* type_id) = 0;
  virtual HRESULT GetTypeSize(std::uint64_t module, std::uint32_t type_id, std::uint32_t* size) = 0;
  virtual HRESULT GetFieldOffset(std::uint64_t module, std::uint32_t type_id, const char* field,
                                 std::uint32_t* offset) = 0;
  virtual HRESULT GetSymbolTypeId(const char* symbol, std::uint32_t* type_id, std::uint64_t* module) = 0;
  virtual HRESULT GetOffsetTypeId(std::uint64_t offset, std::uint32_t* type_id, std::uint64_t* module) = 0;
  virtual HRESULT ReadTypedDataVirtual(std::uint64_t offset, std::uint64_t module, std::uint32_t type_id, void* buffer,
                                       std::uint32_t buffer_size, std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteTypedDataVirtual(std::uint64_t offset, std::uint64_t module, std::uint32_t type_id, void* buffer,
                                        std::uint32_t buffer_size, std::uint32_t* bytes_written) = 0;
  virtual HRESULT OutputTypedDataVirtual(std::uint32_t output_control, std::uint64_t offset, std::uint64_t module,
                                         std::uint32_t type_id, std::uint32_t flags) = 0;
  virtual HRESULT ReadTypedDataPhysical(std::uint64_t offset, std::uint64_t module, std::uint32_t type_id, void* buffer,
                                        std::uint32_t buffer_size, std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteTypedDataPhysical(std::uint64_t offset, std::uint64_t module, std::uint32_t type_id,
                                         void* buffer, std::uint32_t buffer_size, std::uint32_t* bytes_written) = 0;
  virtual HRESULT OutputTypedDataPhysical(std::uint32_t output_control, std::uint64_t offset, std::uint64_t module,
                                          std::uint32_t type_id, std::uint32_t flags) = 0;
  virtual HRESULT GetScope(std::uint64_t* instruction_offset, DEBUG_STACK_FRAME* scope_frame, void* scope_context,
                           std::uint32_t scope_context_size) = 0;
  virtual HRESULT SetScope(std::uint64_t instruction_offset, DEBUG_STACK_FRAME* scope_frame, void* scope_context,
                           std::uint32_t scope_context_size) = 0;
  virtual HRESULT ResetScope() = 0;
  virtual HRESULT GetScopeSymbolGroup(std::uint32_t flags, IDebugSymbolGroup* update, IDebugSymbolGroup** symbols) = 0;
  virtual HRESULT CreateSymbolGroup(IDebugSymbolGroup** group) = 0;
  virtual HRESULT StartSymbolMatch(const char* pattern, std::uint64_t* handle) = 0;
  virtual HRESULT GetNextSymbolMatch(std::uint64_t handle, char* buffer, std::uint32_t buffer_size,
                                     std::uint32_t* match_size, std::uint64_t* offset) = 0;
  virtual HRESULT EndSymbolMatch(std::uint64_t handle) = 0;
  virtual HRESULT Reload(const char* module) = 0;
  virtual HRESULT GetSymbolPath(char* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  virtual HRESULT SetSymbolPath(const char* path) = 0;
  virtual HRESULT AppendSymbolPath(const char* addition) = 0;
  virtual HRESULT GetImagePath(char* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  virtual HRESULT SetImagePath(const char* path) = 0;
  virtual HRESULT AppendImagePath(const char* addition) = 0;
  virtual HRESULT GetSourcePath(char* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  virtual HRESULT GetSourcePathElement(std::uint32_t index, char* buffer, std::uint32_t buffer_size,
                                       std::uint32_t* element_size) = 0;
  virtual HRESULT SetSourcePath(const char* path) = 0;
  virtual HRESULT AppendSourcePath(const char* addition) = 0;
  virtual HRESULT FindSourceFile(std::uint32_t start_element, const char* file, std::uint32_t flags,
                                 std::uint32_t* found_element, char* buffer, std::uint32_t buffer_size,
                                 std::uint32_t* found_size) = 0;
  virtual HRESULT GetSourceFileLineOffsets(const char* file, std::uint64_t* buffer, std::uint32_t buffer_lines,
                                           std::uint32_t* file_lines) = 0;

 protected:
  ~IDebugSymbols() = default;
};

/// Slots 52 to 59.
class IDebugSymbols2 : public IDebugSymbols {
 public:
  /// item: a block of the version resource, such as "\\" for VS_FIXEDFILEINFO.
  virtual HRESULT GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item, void* buffer,
                                              std::uint32_t buffer_size, std::uint32_t* ver_info_size) = 0;
  /// which: a kModuleName number of types.h.
  virtual HRESULT GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                                      std::uint32_t buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetConstantName(std::uint64_t module, std::uint32_t type_id, std::uint64_t value, char* name_buffer,
                                  std::uint32_t name_buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetFieldName(std::uint64_t module, std::uint32_t type_id, std::uint32_t field_index,
                               char* name_buffer, std::uint32_t name_buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetTypeOptions(std::uint32_t* options) = 0;
  virtual HRESULT AddTypeOptions(std::uint32_t options) = 0;
  virtual HRESULT RemoveTypeOptions(std::uint32_t options) = 0;
  virtual HRESULT SetTypeOptions(std::uint32_t options) = 0;

 protected:
  ~IDebugSymbols2() = default;
};

/// Slots 60 to 125.
class IDebugSymbols3 : public IDebugSymbols2 {
 public:
  virtual HRESULT GetNameByOffsetWide(std::uint64_t offset, char16_t* name_buffer, std::uint32_t name_buffer_size,
                                      std::uint32_t* name_size, std::uint64_t* displacement) = 0;
  virtual HRESULT GetOffsetByNameWide(const char16_t* symbol, std::uint64_t* offset) = 0;
  virtual HRESULT GetNearNameByOffsetWide(std::uint64_t offset, std::int32_t delta, char16_t* name_buffer,
                                          std::uint32_t name_buffer_size, std::uint32_t* name_size,
                                          std::uint64_t* displacement) = 0;
  virtual HRESULT GetLineByOffsetWide(std::uint64_t offset, std::uint32_t* line, char16_t* file_buffer,
                                      std::uint32_t file_buffer_size, std::uint32_t* file_size,
                                      std::uint64_t* displacement) = 0;
  virtual HRESULT GetOffsetByLineWide(std::uint32_t line, const char16_t* file, std::uint64_t* offset) = 0;
  virtual HRESULT GetModuleByModuleNameWide(const char16_t* name, std::uint32_t start_index, std::uint32_t* index,
                                            std::uint64_t* base) = 0;
  virtual HRESULT GetSymbolModuleWide(const char16_t* symbol, std::uint64_t* base) = 0;
  virtual HRESULT GetTypeNameWide(std::uint64_t module, std::uint32_t type_id, char16_t* name_buffer,
                                  std::uint32_t name_buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetTypeIdWide(std::uint64_t module, const char16_t* name, std::uint32_t* type_id) = 0;
  virtual HRESULT GetFieldOffsetWide(std::uint64_t module, std::uint32_t type_id, const char16_t* field,
                                     std::uint32_t* offset) = 0;
  virtual HRESULT GetSymbolTypeIdWide(const char16_t* symbol, std::uint32_t* type_id, std::uint64_t* module) = 0;
  virtual HRESULT GetScopeSymbolGroup2(std::uint32_t flags, IDebugSymbolGroup2* update,
                                       IDebugSymbolGroup2** symbols) = 0;
  virtual HRESULT CreateSymbolGroup2(IDebugSymbolGroup2** group) = 0;
  virtual HRESULT StartSymbolMatchWide(const char16_t* pattern, std::uint64_t* handle) = 0;
  virtual HRESULT GetNextSymbolMatchWide(std::uint64_t handle, char16_t* buffer, std::uint32_t buffer_size,
                                         std::uint32_t* match_size, std::uint64_t* offset) = 0;
  virtual HRESULT ReloadWide(const char16_t* module) = 0;
  virtual HRESULT GetSymbolPathWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  /// For everything that loads from now on.
  virtual HRESULT SetSymbolPathWide(const char16_t* path) = 0;
  virtual HRESULT AppendSymbolPathWide(const char16_t* addition) = 0;
  virtual HRESULT GetImagePathWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  virtual HRESULT SetImagePathWide(const char16_t* path) = 0;
  virtual HRESULT AppendImagePathWide(const char16_t* addition) = 0;
  virtual HRESULT GetSourcePathWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) = 0;
  virtual HRESULT GetSourcePathElementWide(std::uint32_t index, char16_t* buffer, std::uint32_t buffer_size,
                                           std::uint32_t* element_size) = 0;
  virtual HRESULT SetSourcePathWide(const char16_t* path) = 0;
  virtual HRESULT AppendSourcePathWide(const char16_t* addition) = 0;
  virtual HRESULT FindSourceFileWide(std::uint32_t start_element, const char16_t* file, std::uint32_t flags,
                                     std::uint32_t* found_element, char16_t* buffer, std::uint32_t buffer_size,
                                     std::uint32_t* found_size) = 0;
  virtual HRESULT GetSourceFileLineOffsetsWide(const char16_t* file, std::uint64_t* buffer, std::uint32_t buffer_lines,
                                               std::uint32_t* file_lines) = 0;
  virtual HRESULT GetModuleVersionInformationWide(std::uint32_t index, std::uint64_t base, const char16_t* item,
                                                  void* buffer, std::uint32_t buffer_size,
                                                  std::uint32_t* ver_info_size) = 0;
  virtual HRESULT GetModuleNameStringWide(std::uint32_t which, std::uint32_t index, std::uint64_t base,
                                          char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT GetConstantNameWide(std::uint64_t module, std::uint32_t type_id, std::uint64_t value,
                                      char16_t* name_buffer, std::uint32_t name_buffer_size,
                                      std::uint32_t* name_size) = 0;
  virtual HRESULT GetFieldNameWide(std::uint64_t module, std::uint32_t type_id, std::uint32_t field_index,
                                   char16_t* name_buffer, std::uint32_t name_buffer_size, std::uint32_t* name_size) = 0;
  virtual HRESULT IsManagedModule(std::uint32_t index, std::uint64_t base) = 0;
  virtual HRESULT GetModuleByModuleName2(const char* name, std::uint32_t start_index, std::uint32_t flags,
                                         std::uint32_t* index, std::uint64_t* base) = 0;
  virtual HRESULT GetModuleByModuleName2Wide(const char16_t* name, std::uint32_t start_index, std::uint32_t flags,
                                             std::uint32_t* index, std::uint64_t* base) = 0;
  virtual HRESULT GetModuleByOffset2(std::uint64_t offset, std::uint32_t start_index, std::uint32_t flags,
                                     std::uint32_t* index, std::uint64_t* base) = 0;
  virtual HRESULT AddSyntheticModule(std::uint64_t base, std::uint32_t size, const char* image_path,
                                     const char* module_name, std::uint32_t flags) = 0;
  virtual HRESULT AddSyntheticModuleWide(std::uint64_t base, std::uint32_t size, const char16_t* image_path,
                                         const char16_t* module_name, std::uint32_t flags) = 0;
  virtual HRESULT RemoveSyntheticModule(std::uint64_t base) = 0;
  virtual HRESULT GetCurrentScopeFrameIndex(std::uint32_t* index) = 0;
  virtual HRESULT SetScopeFrameByIndex(std::uint32_t index) = 0;
  virtual HRESULT SetScopeFromJitDebugInfo(std::uint32_t output_control, std::uint64_t info_offset) = 0;
  virtual HRESULT SetScopeFromStoredEvent() = 0;
  virtual HRESULT OutputSymbolByOffset(std::uint32_t output_control, std::uint32_t flags, std::uint64_t offset) = 0;
  virtual HRESULT GetFunctionEntryByOffset(std::uint64_t offset, std::uint32_t flags, void* buffer,
                                           std::uint32_t buffer_size, std::uint32_t* buffer_needed) = 0;
  virtual HRESULT GetFieldTypeAndOffset(std::uint64_t module, std::uint32_t container_type_id, const char* field,
                                        std::uint32_t* field_type_id, std::uint32_t* offset) = 0;
  virtual HRESULT GetFieldTypeAndOffsetWide(std::uint64_t module, std::uint32_t container_type_id,
                                            const char16_t* field, std::uint32_t* field_type_id,
                                            std::uint32_t* offset) = 0;
  virtual HRESULT AddSyntheticSymbol(std::uint64_t offset, std::uint32_t size, const char* name, std::uint32_t flags,
                                     DEBUG_MODULE_AND_ID* id) = 0;
  virtual HRESULT AddSyntheticSymbolWide(std::uint64_t offset, std::uint32_t size, const char16_t* name,
                                         std::uint32_t flags, DEBUG_MODULE_AND_ID* id) = 0;
  virtual HRESULT RemoveSyntheticSymbol(DEBUG_MODULE_AND_ID* id) = 0;
  virtual HRESULT GetSymbolEntriesByOffset(std::uint64_t offset, std::uint32_t flags, DEBUG_MODULE_AND_ID* ids,
                                           std::uint64_t* displacements, std::uint32_t ids_count,
                                           std::uint32_t* entries) = 0;
  virtual HRESULT GetSymbolEntriesByName(const char* symbol, std::uint32_t flags, DEBUG_MODULE_AND_ID* ids,
                                         std::uint32_t ids_count, std::uint32_t* entries) = 0;
  virtual HRESULT GetSymbolEntriesByNameWide(const char16_t* symbol, std::uint32_t flags, DEBUG_MODULE_AND_ID* ids,
                                             std::uint32_t ids_count, std::uint32_t* entries) = 0;
  virtual HRESULT GetSymbolEntryByToken(std::uint64_t module_base, std::uint32_t token, DEBUG_MODULE_AND_ID* id) = 0;
  virtual HRESULT GetSymbolEntryInformation(DEBUG_MODULE_AND_ID* id, DEBUG_SYMBOL_ENTRY* info) = 0;
  virtual HRESULT GetSymbolEntryString(DEBUG_MODULE_AND_ID* id, std::uint32_t which, char* buffer,
                                       std::uint32_t buffer_size, std::uint32_t* string_size) = 0;
  virtual HRESULT GetSymbolEntryStringWide(DEBUG_MODULE_AND_ID* id, std::uint32_t which, char16_t* buffer,
                                           std::uint32_t buffer_size, std::uint32_t* string_size) = 0;
  virtual HRESULT GetSymbolEntryOffsetRegions(DEBUG_MODULE_AND_ID* id, std::uint32_t flags,
                                              DEBUG_OFFSET_REGION* regions, std::uint32_t regions_count,
                                              std::uint32_t* regions_avail) = 0;
  virtual HRESULT GetSymbolEntryBySymbolEntry(DEBUG_MODULE_AND_ID* from_id, std::uint32_t flags,
                                              DEBUG_MODULE_AND_ID* to_id) = 0;
  virtual HRESULT GetSourceEntriesByOffset(std::uint64_t offset, std::uint32_t flags,
                                           DEBUG_SYMBOL_SOURCE_ENTRY* entries, std::uint32_t entries_count,
                                           std::uint32_t* entries_avail) = 0;
  virtual HRESULT GetSourceEntriesByLine(std::uint32_t line, const char* file, std::uint32_t flags,
                                         DEBUG_SYMBOL_SOURCE_ENTRY* entries, std::uint32_t entries_count,
                                         std::uint32_t* entries_avail) = 0;
  virtual HRESULT GetSourceEntriesByLineWide(std::uint32_t line, const char16_t* file, std::uint32_t flags,
                                             DEBUG_SYMBOL_SOURCE_ENTRY* entries, std::uint32_t entries_count,
                                             std::uint32_t* entries_avail) = 0;
  virtual HRESULT GetSourceEntryString(DEBUG_SYMBOL_SOURCE_ENTRY* entry, std::uint32_t which, char* buffer,
                                       std::uint32_t buffer_size, std::uint32_t* string_size) = 0;
  virtual HRESULT GetSourceEntryStringWide(DEBUG_SYMBOL_SOURCE_ENTRY* entry, std::uint32_t which, char16_t* buffer,
                                           std::uint32_t buffer_size, std::uint32_t* string_size) = 0;
  virtual HRESULT GetSourceEntryOffsetRegions(DEBUG_SYMBOL_SOURCE_ENTRY* entry, std::uint32_t flags,
                                              DEBUG_OFFSET_REGION* regions, std::uint32_t regions_count,
                                              std::uint32_t* regions_avail) = 0;
  virtual HRESULT GetSourceEntryBySourceEntry(DEBUG_SYMBOL_SOURCE_ENTRY* from_entry, std::uint32_t flags,
                                              DEBUG_SYMBOL_SOURCE_ENTRY* to_entry) = 0;

 protected:
  ~IDebugSymbols3() = default;
};

}  // namespace varnel::platform
