// HeapBlock: a block of the process heap that goes with its scope.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace varnel {

class HeapBlock {
 public:
  /// Not cleared; get() is null when memory ran out.
  explicit HeapBlock(std::size_t size) : block_(platform::SystemPort().HeapAlloc(size)) {}
  ~HeapBlock() {
    if (block_ != nullptr) platform::SystemPort().HeapFree(block_);
  }
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  void* get() const { return block_; }
  template <typename T>
  T* as() const {
    return static_cast<T*>(block_);
  }

 private:
  void* const block_;
};

}  // namespace varnel
