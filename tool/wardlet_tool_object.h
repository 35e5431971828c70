// WardletToolInterfacePri: the tool object, one object with two interfaces. A thin door: it holds nothing but its
// reference count, all working state is module-wide, and destroying it stops nothing. Any thread may call.
#pragma once

#include <atomic>
#include <cstdint>

#include "interfaces/wardlet_tool.h"

namespace varnel {

/// The root operations of both interfaces lead to the same ones: the second interface's adjust the object's pointer.
class WardletToolInterfacePri final : public VarnelDefaultInterface, public WardletToolInterface {
 public:
  /// With one reference, the caller's; null when memory runs out.
  static WardletToolInterfacePri* Create();

  VarnelStatus QueryInterface(const GUID* iid, void** out) override;
  std::uint32_t AddRef() override;
  std::uint32_t Release() override;
  VarnelStatus InstallVarnel(const VarnelWideChar* source_folder) override;
  VarnelStatus UninstallVarnel() override;
  VarnelStatus GetVarnelVersion(VarnelVersionInfo* info) override;
  VarnelStatus Start(std::uint32_t flags, VarnelEventCallback callback, void* context) override;
  VarnelStatus Stop() override;

 private:
  WardletToolInterfacePri();
  ~WardletToolInterfacePri() = default;

  std::atomic<std::uint32_t> reference_count_{1};
};

}  // namespace varnel
