// WardletToolFactory: makes tool objects. It holds nothing but its reference count. Any thread may call.
#pragma once

#include <atomic>
#include <cstdint>

#include "interfaces/wardlet_tool.h"

namespace varnel {

class WardletToolFactory final : public VarnelClassFactory {
 public:
  /// With one reference, the caller's; null when memory runs out.
  static WardletToolFactory* Create();

  VarnelStatus QueryInterface(const GUID* iid, void** out) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  VarnelStatus CreateInstance(VarnelUnknown* outer, const GUID* iid, void** out) override;
  VarnelStatus LockServer(std::int32_t lock) override;

 private:
  WardletToolFactory();
  ~WardletToolFactory() = default;

  std::atomic<std::uint32_t> reference_count_{1};
};

}  // namespace varnel
