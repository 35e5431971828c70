#include "platform/debugger/engine_stub.h"

#include <cstring>

namespace varnel::platform {
namespace {

constexpr GUID kIidUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

bool Same(const GUID& a, const GUID& b) {
  return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

}  // namespace

HRESULT DebugEngineStub::QueryInterface(const GUID& id, void** object) {
  *object = nullptr;
  if (Same(id, kIidUnknown) || Same(id, kIidDebugClient)) *object = static_cast<IDebugClient*>(this);
  if (Same(id, kIidDebugClient4)) *object = static_cast<IDebugClient4*>(this);
  if (Same(id, kIidDebugControl)) *object = static_cast<IDebugControl*>(this);
  if (Same(id, kIidDebugControl4)) *object = static_cast<IDebugControl4*>(this);
  if (Same(id, kIidDebugSymbols3)) *object = static_cast<IDebugSymbols3*>(this);
  if (Same(id, kIidDebugSystemObjects)) *object = static_cast<IDebugSystemObjects*>(this);
  if (Same(id, kIidDebugDataSpaces)) *object = static_cast<IDebugDataSpaces*>(this);
  if (Same(id, kIidDebugDataSpaces2)) *object = static_cast<IDebugDataSpaces2*>(this);
  if (Same(id, kIidDebugRegisters)) *object = static_cast<IDebugRegisters*>(this);
  if (Same(id, kIidDebugAdvanced)) *object = static_cast<IDebugAdvanced*>(this);
  if (*object == nullptr) return kNoInterface;
  AddRef();
  return 0;
}

std::uint32_t DebugEngineStub::AddRef() {
  return references_.fetch_add(1, std::memory_order_relaxed) + 1;
}

std::uint32_t DebugEngineStub::Release() {
  const std::uint32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
  if (left == 0) Destroy();
  return left;
}

}  // namespace varnel::platform
