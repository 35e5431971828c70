// The base of every engine of ours: one object behind all interfaces, with every slot answering that it is not
// implemented. An engine overrides what it has.
#pragma once

#include <atomic>

#include "platform/debugger/advanced_stub.h"
#include "platform/debugger/client_stub.h"
#include "platform/debugger/control_stub.h"
#include "platform/debugger/data_spaces_stub.h"
#include "platform/debugger/engine.h"
#include "platform/debugger/registers_stub.h"
#include "platform/debugger/symbols_stub.h"
#include "platform/debugger/system_objects_stub.h"

namespace varnel::platform {

/// Made with one reference; the last Release calls Destroy. Counting and QueryInterface may be called from any thread.
class DebugEngineStub : public ClientStub,
                        public ControlStub,
                        public SymbolsStub,
                        public DataSpacesStub,
                        public SystemObjectsStub,
                        public RegistersStub,
                        public AdvancedStub {
 public:
  DebugEngineStub(const DebugEngineStub&) = delete;
  DebugEngineStub& operator=(const DebugEngineStub&) = delete;

  /// Gives the interfaces of engine.h, and IUnknown.
  HRESULT QueryInterface(const GUID& id, void** object) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;

 protected:
  DebugEngineStub() = default;
  ~DebugEngineStub() = default;

  /// Ends the object: `delete this`, for one that stands on the heap.
  virtual void Destroy() = 0;

 private:
  std::atomic<std::uint32_t> references_{1};
};

}  // namespace varnel::platform
