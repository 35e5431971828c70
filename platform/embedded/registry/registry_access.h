// Helpers of the registry port: rights, and the guard that keeps exceptions in.
#pragma once

#include <cstdint>
#include <new>

#include "platform/registry.h"

namespace varnel::embedded {

inline constexpr std::uint32_t kAllRights = 0xF003F;

/// The rights that a handle has when it was asked for with `access`: the general ones become the registry's own.
std::uint32_t GrantedRights(std::uint32_t access);

/// Runs a call of the port; memory that runs out becomes its result.
template <typename Call>
std::uint32_t Guarded(Call&& call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return platform::kErrorNotEnoughMemory;
  } catch (...) {
    return platform::kErrorRegistryIoFailed;
  }
}

}  // namespace varnel::embedded
