// The modules of a dumped machine as the engine numbers and names them: the loaded ones first, then the unloaded ones.
// The kernel is "nt" whatever its image is called; any other has its file's name without the ending, with '_' for what
// is no letter, digit or '_', and behind a name that stands before it already '_' and its base. Where a driver came and
// went at one base again and again, "_2", "_3" ... follow. Plain values, but that the images' names stay where the dump
// has them: it must outlive this. Any thread may ask.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "formats/dump/kernel_dump.h"

namespace varnel::embedded {

struct TargetModule {
  std::uint64_t base = 0;
  std::uint32_t size = 0;  // bytes
  std::uint32_t time_date_stamp = 0;
  std::uint32_t check_sum = 0;
  std::uint64_t exception_table = 0;       // address of the function table; 0 when the dump does not tell
  std::uint32_t exception_table_size = 0;  // bytes
  bool unloaded = false;
  std::string name;            // "nt"; from a file's name of at most 255 characters
  std::u16string_view image;   // the image as the dump tells of it, with its folder where it has one; may be empty
  std::u16string_view loaded;  // the image's file name alone; may be empty

  bool Holds(std::uint64_t address) const { return address >= base && address - base < size; }
};

class TargetModules {
 public:
  explicit TargetModules(const formats::KernelDump& dump);

  std::uint32_t loaded() const { return loaded_; }
  std::uint32_t unloaded() const { return static_cast<std::uint32_t>(modules_.size()) - loaded_; }
  /// Null behind the last one.
  const TargetModule* At(std::uint32_t index) const { return index < modules_.size() ? &modules_[index] : nullptr; }

  /// The first module from `start` on; names are compared without the case of ASCII letters.
  std::optional<std::uint32_t> FindName(std::string_view name, std::uint32_t start) const;
  std::optional<std::uint32_t> FindAddress(std::uint64_t address, std::uint32_t start) const;
  std::optional<std::uint32_t> FindBase(std::uint64_t base) const;

 private:
  std::vector<TargetModule> modules_;
  std::uint32_t loaded_ = 0;
  std::unordered_map<std::uint64_t, std::uint32_t> by_base_;
};

}  // namespace varnel::embedded
