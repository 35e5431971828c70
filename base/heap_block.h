// A block of the process heap that frees itself.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace varnel {

/// Null when memory ran out; not cleared.
class HeapBlock {
 public:
  explicit HeapBlock(std::size_t size) : block_(platform::SystemPort().HeapAlloc(size)) {}
  ~HeapBlock() { platform::SystemPort().HeapFree(block_); }
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  void* get() const { return block_; }

 private:
  void* const block_;
};

}  // namespace varnel
