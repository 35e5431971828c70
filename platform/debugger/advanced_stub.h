// Every slot of IDebugAdvanced answers that it is not implemented. See engine_stub.h.
#pragma once

#include "platform/debugger/advanced.h"

namespace varnel::platform {

class AdvancedStub : public IDebugAdvanced {
 public:
  // IDebugAdvanced
  HRESULT GetThreadContext(void*, std::uint32_t) override { return kNotImplemented; }
  HRESULT SetThreadContext(void*, std::uint32_t) override { return kNotImplemented; }

 protected:
  ~AdvancedStub() = default;
};

}  // namespace varnel::platform
