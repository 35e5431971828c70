// HeapBlock: a block of the process heap that goes with its scope.
#pragma once

#include <cstddef>

#include "platform/platform.h"

namespace varnel {

class HeapBlock {
 public:
  /// Not cleared; data() is null when memory runs out.
  explicit HeapBlock(std::size_t size) : data_(platform::SystemPort().HeapAlloc(size)) {}
  ~HeapBlock() {
    if (data_ != nullptr) platform::SystemPort().HeapFree(data_);
  }
  HeapBlock(const HeapBlock&) = delete;
  HeapBlock& operator=(const HeapBlock&) = delete;

  void* data() const { return data_; }
  template <typename T>
  T* as() const {
    return static_cast<T*>(data_);
  }

 private:
  void* data_;
};

}  // namespace varnel
