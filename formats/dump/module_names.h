// ModuleNames reads the names of a dump's modules and makes up one where there is none. All names of one dump together
// read and take no more than the dump itself and no more than 64 MiB, however often they point at one long text.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "formats/dump/dump_records.h"

namespace varnel::formats {

class ModuleNames {
 public:
  /// Fills the bytes it is given from the beginning and says how many.
  using Reader = std::function<std::size_t(std::span<std::byte>)>;

  explicit ModuleNames(std::uint64_t file_size) noexcept : budget_bytes_(std::min(file_size, kMaxBudget)) {}

  /// `size_bytes` of UTF-16 up to the first null. Empty when they are not all there, or when the budget is spent.
  std::u16string Read(std::uint64_t size_bytes, const Reader& read);
  /// Fills an empty name from the path, which the budget pays as well, or else with "unknown_" and the base in 16
  /// hexadecimal digits.
  void Complete(DumpModule* module);

 private:
  static constexpr std::uint64_t kMaxBudget = 64 << 20;

  std::uint64_t budget_bytes_;
};

/// What stands behind the last backslash or slash.
std::u16string FileNameOf(const std::u16string& path);

}  // namespace varnel::formats
