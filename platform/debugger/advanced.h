// The engine's advanced interface: thread contexts. See engine.h for who may call and who owns what.
#pragma once

#include "platform/debugger/types.h"

namespace varnel::platform {

/// Slots 3 to 4.
class IDebugAdvanced : public IUnknown {
 public:
  /// A CONTEXT of the target's machine: 1232 bytes on x64, on a boundary of 16.
  virtual HRESULT GetThreadContext(void* context, std::uint32_t context_size) = 0;
  virtual HRESULT SetThreadContext(void* context, std::uint32_t context_size) = 0;

 protected:
  ~IDebugAdvanced() = default;
};

}  // namespace varnel::platform
