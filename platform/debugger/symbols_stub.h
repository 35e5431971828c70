// Every slot of IDebugSymbols3 answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/symbols.h"

namespace varnel::platform {

class SymbolsStub : public IDebugSymbols3 {
 public:
  // IDebugSymbols
  HRESULT GetSymbolOptions(std::uint32_t*) override { return kNotImplemented; }
  HRESULT AddSymbolOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT RemoveSymbolOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetSymbolOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT GetNameByOffset(std::uint64_t, char*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetOffsetByName(const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNearNameByOffset(std::uint64_t, std::int32_t, char*, std::uint32_t, std::uint32_t*,
                              std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetLineByOffset(std::uint64_t, std::uint32_t*, char*, std::uint32_t, std::uint32_t*,
                          std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetOffsetByLine(std::uint32_t, const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNumberModules(std::uint32_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetModuleByIndex(std::uint32_t, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetModuleByModuleName(const char*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleByOffset(std::uint64_t, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleNames(std::uint32_t, std::uint64_t, char*, std::uint32_t, std::uint32_t*, char*, std::uint32_t,
                         std::uint32_t*, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleParameters(std::uint32_t, std::uint64_t*, std::uint32_t, DEBUG_MODULE_PARAMETERS*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolModule(const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetTypeName(std::uint64_t, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetTypeId(std::uint64_t, const char*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetTypeSize(std::uint64_t, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetFieldOffset(std::uint64_t, std::uint32_t, const char*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetSymbolTypeId(const char*, std::uint32_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetOffsetTypeId(std::uint64_t, std::uint32_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT ReadTypedDataVirtual(std::uint64_t, std::uint64_t, std::uint32_t, void*, std::uint32_t,
                               std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WriteTypedDataVirtual(std::uint64_t, std::uint64_t, std::uint32_t, void*, std::uint32_t,
                                std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT OutputTypedDataVirtual(std::uint32_t, std::uint64_t, std::uint64_t, std::uint32_t, std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT ReadTypedDataPhysical(std::uint64_t, std::uint64_t, std::uint32_t, void*, std::uint32_t,
                                std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT WriteTypedDataPhysical(std::uint64_t, std::uint64_t, std::uint32_t, void*, std::uint32_t,
                                 std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT OutputTypedDataPhysical(std::uint32_t, std::uint64_t, std::uint64_t, std::uint32_t, std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT GetScope(std::uint64_t*, DEBUG_STACK_FRAME*, void*, std::uint32_t) override { return kNotImplemented; }
  HRESULT SetScope(std::uint64_t, DEBUG_STACK_FRAME*, void*, std::uint32_t) override { return kNotImplemented; }
  HRESULT ResetScope() override { return kNotImplemented; }
  HRESULT GetScopeSymbolGroup(std::uint32_t, IDebugSymbolGroup*, IDebugSymbolGroup**) override {
    return kNotImplemented;
  }
  HRESULT CreateSymbolGroup(IDebugSymbolGroup**) override { return kNotImplemented; }
  HRESULT StartSymbolMatch(const char*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNextSymbolMatch(std::uint64_t, char*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT EndSymbolMatch(std::uint64_t) override { return kNotImplemented; }
  HRESULT Reload(const char*) override { return kNotImplemented; }
  HRESULT GetSymbolPath(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetSymbolPath(const char*) override { return kNotImplemented; }
  HRESULT AppendSymbolPath(const char*) override { return kNotImplemented; }
  HRESULT GetImagePath(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetImagePath(const char*) override { return kNotImplemented; }
  HRESULT AppendImagePath(const char*) override { return kNotImplemented; }
  HRESULT GetSourcePath(char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetSourcePathElement(std::uint32_t, char*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetSourcePath(const char*) override { return kNotImplemented; }
  HRESULT AppendSourcePath(const char*) override { return kNotImplemented; }
  HRESULT FindSourceFile(std::uint32_t, const char*, std::uint32_t, std::uint32_t*, char*, std::uint32_t,
                         std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceFileLineOffsets(const char*, std::uint64_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }

  // IDebugSymbols2
  HRESULT GetModuleVersionInformation(std::uint32_t, std::uint64_t, const char*, void*, std::uint32_t,
                                      std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleNameString(std::uint32_t, std::uint32_t, std::uint64_t, char*, std::uint32_t,
                              std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetConstantName(std::uint64_t, std::uint32_t, std::uint64_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetFieldName(std::uint64_t, std::uint32_t, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetTypeOptions(std::uint32_t*) override { return kNotImplemented; }
  HRESULT AddTypeOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT RemoveTypeOptions(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetTypeOptions(std::uint32_t) override { return kNotImplemented; }

  // IDebugSymbols3
  HRESULT GetNameByOffsetWide(std::uint64_t, char16_t*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetOffsetByNameWide(const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNearNameByOffsetWide(std::uint64_t, std::int32_t, char16_t*, std::uint32_t, std::uint32_t*,
                                  std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetLineByOffsetWide(std::uint64_t, std::uint32_t*, char16_t*, std::uint32_t, std::uint32_t*,
                              std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetOffsetByLineWide(std::uint32_t, const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetModuleByModuleNameWide(const char16_t*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolModuleWide(const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetTypeNameWide(std::uint64_t, std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetTypeIdWide(std::uint64_t, const char16_t*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetFieldOffsetWide(std::uint64_t, std::uint32_t, const char16_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolTypeIdWide(const char16_t*, std::uint32_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetScopeSymbolGroup2(std::uint32_t, IDebugSymbolGroup2*, IDebugSymbolGroup2**) override {
    return kNotImplemented;
  }
  HRESULT CreateSymbolGroup2(IDebugSymbolGroup2**) override { return kNotImplemented; }
  HRESULT StartSymbolMatchWide(const char16_t*, std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetNextSymbolMatchWide(std::uint64_t, char16_t*, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT ReloadWide(const char16_t*) override { return kNotImplemented; }
  HRESULT GetSymbolPathWide(char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetSymbolPathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT AppendSymbolPathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT GetImagePathWide(char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetImagePathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT AppendImagePathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT GetSourcePathWide(char16_t*, std::uint32_t, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetSourcePathElementWide(std::uint32_t, char16_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT SetSourcePathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT AppendSourcePathWide(const char16_t*) override { return kNotImplemented; }
  HRESULT FindSourceFileWide(std::uint32_t, const char16_t*, std::uint32_t, std::uint32_t*, char16_t*, std::uint32_t,
                             std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceFileLineOffsetsWide(const char16_t*, std::uint64_t*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleVersionInformationWide(std::uint32_t, std::uint64_t, const char16_t*, void*, std::uint32_t,
                                          std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleNameStringWide(std::uint32_t, std::uint32_t, std::uint64_t, char16_t*, std::uint32_t,
                                  std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetConstantNameWide(std::uint64_t, std::uint32_t, std::uint64_t, char16_t*, std::uint32_t,
                              std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetFieldNameWide(std::uint64_t, std::uint32_t, std::uint32_t, char16_t*, std::uint32_t,
                           std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT IsManagedModule(std::uint32_t, std::uint64_t) override { return kNotImplemented; }
  HRESULT GetModuleByModuleName2(const char*, std::uint32_t, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleByModuleName2Wide(const char16_t*, std::uint32_t, std::uint32_t, std::uint32_t*,
                                     std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT GetModuleByOffset2(std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t*, std::uint64_t*) override {
    return kNotImplemented;
  }
  HRESULT AddSyntheticModule(std::uint64_t, std::uint32_t, const char*, const char*, std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT AddSyntheticModuleWide(std::uint64_t, std::uint32_t, const char16_t*, const char16_t*,
                                 std::uint32_t) override {
    return kNotImplemented;
  }
  HRESULT RemoveSyntheticModule(std::uint64_t) override { return kNotImplemented; }
  HRESULT GetCurrentScopeFrameIndex(std::uint32_t*) override { return kNotImplemented; }
  HRESULT SetScopeFrameByIndex(std::uint32_t) override { return kNotImplemented; }
  HRESULT SetScopeFromJitDebugInfo(std::uint32_t, std::uint64_t) override { return kNotImplemented; }
  HRESULT SetScopeFromStoredEvent() override { return kNotImplemented; }
  HRESULT OutputSymbolByOffset(std::uint32_t, std::uint32_t, std::uint64_t) override { return kNotImplemented; }
  HRESULT GetFunctionEntryByOffset(std::uint64_t, std::uint32_t, void*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetFieldTypeAndOffset(std::uint64_t, std::uint32_t, const char*, std::uint32_t*, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetFieldTypeAndOffsetWide(std::uint64_t, std::uint32_t, const char16_t*, std::uint32_t*,
                                    std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT AddSyntheticSymbol(std::uint64_t, std::uint32_t, const char*, std::uint32_t, DEBUG_MODULE_AND_ID*) override {
    return kNotImplemented;
  }
  HRESULT AddSyntheticSymbolWide(std::uint64_t, std::uint32_t, const char16_t*, std::uint32_t,
                                 DEBUG_MODULE_AND_ID*) override {
    return kNotImplemented;
  }
  HRESULT RemoveSyntheticSymbol(DEBUG_MODULE_AND_ID*) override { return kNotImplemented; }
  HRESULT GetSymbolEntriesByOffset(std::uint64_t, std::uint32_t, DEBUG_MODULE_AND_ID*, std::uint64_t*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntriesByName(const char*, std::uint32_t, DEBUG_MODULE_AND_ID*, std::uint32_t,
                                 std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntriesByNameWide(const char16_t*, std::uint32_t, DEBUG_MODULE_AND_ID*, std::uint32_t,
                                     std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntryByToken(std::uint64_t, std::uint32_t, DEBUG_MODULE_AND_ID*) override { return kNotImplemented; }
  HRESULT GetSymbolEntryInformation(DEBUG_MODULE_AND_ID*, DEBUG_SYMBOL_ENTRY*) override { return kNotImplemented; }
  HRESULT GetSymbolEntryString(DEBUG_MODULE_AND_ID*, std::uint32_t, char*, std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntryStringWide(DEBUG_MODULE_AND_ID*, std::uint32_t, char16_t*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntryOffsetRegions(DEBUG_MODULE_AND_ID*, std::uint32_t, DEBUG_OFFSET_REGION*, std::uint32_t,
                                      std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSymbolEntryBySymbolEntry(DEBUG_MODULE_AND_ID*, std::uint32_t, DEBUG_MODULE_AND_ID*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntriesByOffset(std::uint64_t, std::uint32_t, DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntriesByLine(std::uint32_t, const char*, std::uint32_t, DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t,
                                 std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntriesByLineWide(std::uint32_t, const char16_t*, std::uint32_t, DEBUG_SYMBOL_SOURCE_ENTRY*,
                                     std::uint32_t, std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntryString(DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t, char*, std::uint32_t,
                               std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntryStringWide(DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t, char16_t*, std::uint32_t,
                                   std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntryOffsetRegions(DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t, DEBUG_OFFSET_REGION*, std::uint32_t,
                                      std::uint32_t*) override {
    return kNotImplemented;
  }
  HRESULT GetSourceEntryBySourceEntry(DEBUG_SYMBOL_SOURCE_ENTRY*, std::uint32_t, DEBUG_SYMBOL_SOURCE_ENTRY*) override {
    return kNotImplemented;
  }

 protected:
  ~SymbolsStub() = default;
};

}  // namespace varnel::platform
