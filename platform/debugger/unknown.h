// The root of the engine's interfaces.
#pragma once

#include <cstdint>

#include "interfaces/guid.h"

namespace varnel::platform {

/// 0 or positive: success. Negative: a failure.
using HRESULT = std::int32_t;

inline constexpr HRESULT kNotImplemented = static_cast<HRESULT>(0x80004001);
inline constexpr HRESULT kNoInterface = static_cast<HRESULT>(0x80004002);

// No virtual destructor, here or below: an object ends with its last Release, and a destructor would take a slot.

/// Slots 0 to 2.
class IUnknown {
 public:
  /// A counted pointer to another interface of the same object; null and kNoInterface for one that it lacks.
  virtual HRESULT QueryInterface(const GUID& id, void** object) = 0;
  virtual std::uint32_t AddRef() = 0;
  virtual std::uint32_t Release() = 0;

 protected:
  ~IUnknown() = default;
};

}  // namespace varnel::platform
