// Opening a dump whose bytes a test made.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "formats/dump/kernel_dump.h"
#include "formats/dump/read_values.h"
#include "tests/support/dump_bytes.h"
#include "tests/support/dump_file.h"

namespace varnel::formats {

inline OpenedDump OpenBytes(std::vector<std::byte> bytes) {
  return KernelDump::Open(std::make_shared<support::DumpFileSource>(std::move(bytes)));
}

/// Bytes that tell their place and `seed`.
inline std::vector<std::byte> Pattern(std::size_t size, unsigned seed) {
  std::vector<std::byte> out(size);
  for (std::size_t i = 0; i < size; ++i) out[i] = std::byte((i * 7 + seed) & 0xFF);
  return out;
}

}  // namespace varnel::formats
