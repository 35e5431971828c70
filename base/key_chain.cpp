#include "base/key_chain.h"

#include "platform/platform.h"

namespace varnel {
namespace {

constexpr std::uint32_t kReadAndWrite = 0x2001F;

}  // namespace

KeyChain::~KeyChain() {
  while (depth_ > 0) platform::RegistryPort().RegCloseKey(keys_[--depth_]);
}

std::uint32_t KeyChain::Descend(const char16_t* name) {
  platform::Registry& registry = platform::RegistryPort();
  platform::HKEY key = nullptr;
  if (registry.RegOpenKeyExW(deepest(), name, 0, kReadAndWrite, &key) != platform::kErrorSuccess) {
    const std::uint32_t error =
        registry.RegCreateKeyExW(deepest(), name, platform::kRegOptionNonVolatile, kReadAndWrite, &key, nullptr);
    if (error != platform::kErrorSuccess) return error;
  }
  keys_[depth_++] = key;
  return platform::kErrorSuccess;
}

platform::HKEY KeyChain::deepest() const {
  return depth_ == 0 ? platform::kHkeyLocalMachine : keys_[depth_ - 1];
}

}  // namespace varnel
