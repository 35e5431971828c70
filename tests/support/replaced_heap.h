// The C++ heap of a program that links this: operator new and delete of its own over malloc, which count what they hand
// out and can be told to refuse.
#pragma once

#include <cstddef>

namespace varnel::testing {

/// False where the program's heap can't be replaced, under the thread sanitizer: nothing is counted or refused then,
/// and a test that needs it is skipped.
bool HeapIsReplaced();

/// `refuses` is asked before each allocation, on the allocating thread; where it answers true, operator new throws
/// bad_alloc or gives null as it was called. It must not allocate. Null, as at the start: nothing is refused.
void SetHeapRefusal(bool (*refuses)());

/// The most that all threads together have held at a time since this was made, above what they held then. One at a
/// time.
class HeapPeak {
 public:
  HeapPeak();
  HeapPeak(const HeapPeak&) = delete;
  HeapPeak& operator=(const HeapPeak&) = delete;

  std::size_t bytes() const;

 private:
  const std::size_t before_;
};

}  // namespace varnel::testing
