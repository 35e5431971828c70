// The engine's memory: virtual, physical and the other spaces of the target. See engine.h for who may call and who owns
// what.
#pragma once

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 22.
class IDebugDataSpaces : public IUnknown {
 public:
  /// 0 when at least one byte was read: bytes_read tells how many.
  virtual HRESULT ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                              std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                               std::uint32_t* bytes_written) = 0;
  virtual HRESULT SearchVirtual(std::uint64_t offset, std::uint64_t length, void* pattern, std::uint32_t pattern_size,
                                std::uint32_t pattern_granularity, std::uint64_t* match_offset) = 0;
  virtual HRESULT ReadVirtualUncached(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                      std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteVirtualUncached(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                       std::uint32_t* bytes_written) = 0;
  virtual HRESULT ReadPointersVirtual(std::uint32_t count, std::uint64_t offset, std::uint64_t* ptrs) = 0;
  virtual HRESULT WritePointersVirtual(std::uint32_t count, std::uint64_t offset, std::uint64_t* ptrs) = 0;
  virtual HRESULT ReadPhysical(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                               std::uint32_t* bytes_read) = 0;
  virtual HRESULT WritePhysical(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                                std::uint32_t* bytes_written) = 0;
  virtual HRESULT ReadControl(std::uint32_t processor, std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                              std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteControl(std::uint32_t processor, std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                               std::uint32_t* bytes_written) = 0;
  virtual HRESULT ReadIo(std::uint32_t interface_type, std::uint32_t bus_number, std::uint32_t address_space,
                         std::uint64_t offset, void* buffer, std::uint32_t buffer_size, std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteIo(std::uint32_t interface_type, std::uint32_t bus_number, std::uint32_t address_space,
                          std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                          std::uint32_t* bytes_written) = 0;
  virtual HRESULT ReadMsr(std::uint32_t msr, std::uint64_t* value) = 0;
  virtual HRESULT WriteMsr(std::uint32_t msr, std::uint64_t value) = 0;
  virtual HRESULT ReadBusData(std::uint32_t bus_data_type, std::uint32_t bus_number, std::uint32_t slot_number,
                              std::uint32_t offset, void* buffer, std::uint32_t buffer_size,
                              std::uint32_t* bytes_read) = 0;
  virtual HRESULT WriteBusData(std::uint32_t bus_data_type, std::uint32_t bus_number, std::uint32_t slot_number,
                               std::uint32_t offset, void* buffer, std::uint32_t buffer_size,
                               std::uint32_t* bytes_written) = 0;
  virtual HRESULT CheckLowMemory() = 0;
  virtual HRESULT ReadDebuggerData(std::uint32_t index, void* buffer, std::uint32_t buffer_size,
                                   std::uint32_t* data_size) = 0;
  virtual HRESULT ReadProcessorSystemData(std::uint32_t processor, std::uint32_t index, void* buffer,
                                          std::uint32_t buffer_size, std::uint32_t* data_size) = 0;

 protected:
  ~IDebugDataSpaces() = default;
};

/// Slots 23 to 28.
class IDebugDataSpaces2 : public IDebugDataSpaces {
 public:
  virtual HRESULT VirtualToPhysical(std::uint64_t virtual_address, std::uint64_t* physical) = 0;
  virtual HRESULT GetVirtualTranslationPhysicalOffsets(std::uint64_t virtual_address, std::uint64_t* offsets,
                                                       std::uint32_t offsets_size, std::uint32_t* levels) = 0;
  virtual HRESULT ReadHandleData(std::uint64_t handle, std::uint32_t data_type, void* buffer, std::uint32_t buffer_size,
                                 std::uint32_t* data_size) = 0;
  virtual HRESULT FillVirtual(std::uint64_t start, std::uint32_t size, void* pattern, std::uint32_t pattern_size,
                              std::uint32_t* filled) = 0;
  virtual HRESULT FillPhysical(std::uint64_t start, std::uint32_t size, void* pattern, std::uint32_t pattern_size,
                               std::uint32_t* filled) = 0;
  /// What is known of the page that holds the offset.
  virtual HRESULT QueryVirtual(std::uint64_t offset, MEMORY_BASIC_INFORMATION64* info) = 0;

 protected:
  ~IDebugDataSpaces2() = default;
};

/// Slots 29 to 33.
class IDebugDataSpaces3 : public IDebugDataSpaces2 {
 public:
  virtual HRESULT ReadImageNtHeaders(std::uint64_t image_base, IMAGE_NT_HEADERS64* headers) = 0;
  virtual HRESULT ReadTagged(GUID* tag, std::uint32_t offset, void* buffer, std::uint32_t buffer_size,
                             std::uint32_t* total_size) = 0;
  virtual HRESULT StartEnumTagged(std::uint64_t* handle) = 0;
  virtual HRESULT GetNextTagged(std::uint64_t handle, GUID* tag, std::uint32_t* size) = 0;
  virtual HRESULT EndEnumTagged(std::uint64_t handle) = 0;

 protected:
  ~IDebugDataSpaces3() = default;
};

/// Slots 34 to 43.
class IDebugDataSpaces4 : public IDebugDataSpaces3 {
 public:
  virtual HRESULT GetOffsetInformation(std::uint32_t space, std::uint32_t which, std::uint64_t offset, void* buffer,
                                       std::uint32_t buffer_size, std::uint32_t* info_size) = 0;
  virtual HRESULT GetNextDifferentlyValidOffsetVirtual(std::uint64_t offset, std::uint64_t* next_offset) = 0;
  virtual HRESULT GetValidRegionVirtual(std::uint64_t base, std::uint32_t size, std::uint64_t* valid_base,
                                        std::uint32_t* valid_size) = 0;
  virtual HRESULT SearchVirtual2(std::uint64_t offset, std::uint64_t length, std::uint32_t flags, void* pattern,
                                 std::uint32_t pattern_size, std::uint32_t pattern_granularity,
                                 std::uint64_t* match_offset) = 0;
  virtual HRESULT ReadMultiByteStringVirtual(std::uint64_t offset, std::uint32_t max_bytes, char* buffer,
                                             std::uint32_t buffer_size, std::uint32_t* string_bytes) = 0;
  virtual HRESULT ReadMultiByteStringVirtualWide(std::uint64_t offset, std::uint32_t max_bytes, std::uint32_t code_page,
                                                 char16_t* buffer, std::uint32_t buffer_size,
                                                 std::uint32_t* string_bytes) = 0;
  virtual HRESULT ReadUnicodeStringVirtual(std::uint64_t offset, std::uint32_t max_bytes, std::uint32_t code_page,
                                           char* buffer, std::uint32_t buffer_size, std::uint32_t* string_bytes) = 0;
  virtual HRESULT ReadUnicodeStringVirtualWide(std::uint64_t offset, std::uint32_t max_bytes, char16_t* buffer,
                                               std::uint32_t buffer_size, std::uint32_t* string_bytes) = 0;
  virtual HRESULT ReadPhysical2(std::uint64_t offset, std::uint32_t flags, void* buffer, std::uint32_t buffer_size,
                                std::uint32_t* bytes_read) = 0;
  virtual HRESULT WritePhysical2(std::uint64_t offset, std::uint32_t flags, void* buffer, std::uint32_t buffer_size,
                                 std::uint32_t* bytes_written) = 0;

 protected:
  ~IDebugDataSpaces4() = default;
};

}  // namespace varnel::platform
