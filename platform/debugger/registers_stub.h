// Every slot of IDebugRegisters answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/registers.h"

namespace varnel::platform {

class RegistersStub : public IDebugRegisters {
 public:
  // IDebugRegisters
  HRESULT GetNumberRegisters(std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetDescription(std::uint32_t, char*, std::uint32_t, std::uint32_t*, DEBUG_REGISTER_DESCRIPTION*) override {
    return kNotImplemented;
  }
  HRESULT GetIndexByName(const char*, std::uint32_t*) override { return kNotImplemented; }
  HRESULT GetValue(std::uint32_t, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT SetValue(std::uint32_t, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT GetValues(std::uint32_t, std::uint32_t*, std::uint32_t, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT SetValues(std::uint32_t, std::uint32_t*, std::uint32_t, DEBUG_VALUE*) override { return kNotImplemented; }
  HRESULT OutputRegisters(std::uint32_t, std::uint32_t) override { return kNotImplemented; }
  HRESULT GetInstructionOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetStackOffset(std::uint64_t*) override { return kNotImplemented; }
  HRESULT GetFrameOffset(std::uint64_t*) override { return kNotImplemented; }

 protected:
  ~RegistersStub() = default;
};

}  // namespace varnel::platform
