// PeFunction is an entry of an x64 image's function table. A plain value, as the table has it.
#pragma once

#include <cstdint>

namespace varnel::formats {

/// The code in [begin, end), and the place of its unwind information. All are RVAs.
struct PeFunction {
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  std::uint32_t unwind_info = 0;

  bool Holds(std::uint32_t rva) const noexcept { return rva >= begin && rva < end; }
};
static_assert(sizeof(PeFunction) == 12);

}  // namespace varnel::formats
