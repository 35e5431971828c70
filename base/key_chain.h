// KeyChain: keys of the machine's hive, each opened from the one before and made where it can't be opened; closed
// together, the deepest first. Not synchronised.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/types.h"

namespace varnel {

class KeyChain {
 public:
  KeyChain() = default;
  ~KeyChain();
  KeyChain(const KeyChain&) = delete;
  KeyChain& operator=(const KeyChain&) = delete;

  /// Goes down to a sub-key, at most five times, with the right to read and to write. 0, or the code of a key that can
  /// neither be opened nor made.
  std::uint32_t Descend(const char16_t* name);

  /// The machine's hive before the first step.
  platform::HKEY deepest() const;

 private:
  std::array<platform::HKEY, 5> keys_{};
  std::size_t depth_ = 0;
};

}  // namespace varnel
