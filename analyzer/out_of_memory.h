// Keeps exceptions of the standard library inside the analyzer: its lists and texts grow on the C++ heap.
#pragma once

#include <exception>

#include "analyzer/hresult.h"

namespace varnel {

/// What `work` gives, or E_OUTOFMEMORY when it was cut short for want of memory. What it has done by then stays done.
template <typename Work>
std::int32_t WithinMemory(const Work& work) noexcept {
  try {
    return work();
  } catch (const std::exception&) {
    return kHresultOutOfMemory;
  }
}

}  // namespace varnel
