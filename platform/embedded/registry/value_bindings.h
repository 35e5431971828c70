// ValueBindings: which cells the values have that were set last through one handle. No thread but one at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/embedded/registry/value_cells.h"

namespace varnel::embedded {

class ValueBindings {
 public:
  /// The binding of a value that was set under just this name, in this shape; with number 0 when there is none.
  ValueCells::Binding Find(std::u16string_view name, std::uint32_t type, std::size_t size) const;

  /// Forgets an earlier value for it: one of the same name, else that which was kept longest. A name that is too long
  /// is not kept.
  void Keep(std::u16string_view name, std::uint32_t type, std::size_t size, const ValueCells::Binding& binding);

 private:
  // Within the object, so that a value that was set is never answered with a want of memory.
  static constexpr std::size_t kMaxName = 64;  // UTF-16 units

  struct Entry {
    std::u16string_view Name() const { return {name.data(), length}; }

    std::array<char16_t, kMaxName> name{};
    std::size_t length = 0;
    std::uint32_t type = 0;
    std::size_t size = 0;
    ValueCells::Binding binding;
  };

  // A consumer's handle has one value for each of its keywords, seldom more than a few.
  std::array<Entry, 4> entries_;
  std::size_t next_ = 0;
};

}  // namespace varnel::embedded
