// PropertiesBlock: the caller's EVENT_TRACE_PROPERTIES with the texts behind it, checked against the size that the
// block says it has. Borrows the block.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/trace.h"

namespace varnel::embedded {

class PropertiesBlock {
 public:
  explicit PropertiesBlock(platform::EVENT_TRACE_PROPERTIES* properties) : properties_(properties) {}

  /// 0, 87 for null, 24 when the block says that it is smaller than its fixed part.
  std::uint32_t Check() const;

  /// The text at an offset: an empty one for offset 0, nothing when the offset lies outside or the text does not end
  /// inside the block. REQUIRES: checked.
  std::optional<std::u16string> Text(std::uint32_t offset) const;

  /// Whether `text` and its NUL fit at `offset`.
  bool Fits(std::uint32_t offset, std::u16string_view text) const;
  /// REQUIRES: it fits.
  void Put(std::uint32_t offset, std::u16string_view text);

  platform::EVENT_TRACE_PROPERTIES* operator->() const { return properties_; }

 private:
  platform::EVENT_TRACE_PROPERTIES* properties_;
};

}  // namespace varnel::embedded
