// The engine's registers. See engine.h for who may call and who owns what.
#pragma once

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 13.
class IDebugRegisters : public IUnknown {
 public:
  virtual HRESULT GetNumberRegisters(std::uint32_t* number) = 0;
  virtual HRESULT GetDescription(std::uint32_t register_index, char* name_buffer, std::uint32_t name_buffer_size,
                                 std::uint32_t* name_size, DEBUG_REGISTER_DESCRIPTION* desc) = 0;
  /// Names are in lower case: "rip".
  virtual HRESULT GetIndexByName(const char* name, std::uint32_t* index) = 0;
  virtual HRESULT GetValue(std::uint32_t register_index, DEBUG_VALUE* value) = 0;
  virtual HRESULT SetValue(std::uint32_t register_index, DEBUG_VALUE* value) = 0;
  virtual HRESULT GetValues(std::uint32_t count, std::uint32_t* indices, std::uint32_t start, DEBUG_VALUE* values) = 0;
  virtual HRESULT SetValues(std::uint32_t count, std::uint32_t* indices, std::uint32_t start, DEBUG_VALUE* values) = 0;
  virtual HRESULT OutputRegisters(std::uint32_t output_control, std::uint32_t flags) = 0;
  virtual HRESULT GetInstructionOffset(std::uint64_t* offset) = 0;
  virtual HRESULT GetStackOffset(std::uint64_t* offset) = 0;
  virtual HRESULT GetFrameOffset(std::uint64_t* offset) = 0;

 protected:
  ~IDebugRegisters() = default;
};

}  // namespace varnel::platform
