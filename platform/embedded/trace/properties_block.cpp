#include "platform/embedded/trace/properties_block.h"

#include <cstring>

namespace varnel::embedded {

using platform::EVENT_TRACE_PROPERTIES;

std::uint32_t PropertiesBlock::Check() const {
  if (properties_ == nullptr) return platform::kErrorInvalidParameter;
  if (properties_->Wnode.BufferSize < sizeof(EVENT_TRACE_PROPERTIES)) return platform::kErrorBadLength;
  return 0;
}

std::optional<std::u16string> PropertiesBlock::Text(std::uint32_t offset) const {
  if (offset == 0) return std::u16string();
  const std::uint32_t size = properties_->Wnode.BufferSize;
  if (offset < sizeof(EVENT_TRACE_PROPERTIES) || offset >= size) return std::nullopt;
  const auto* bytes = reinterpret_cast<const std::byte*>(properties_);
  std::u16string text;
  for (std::uint32_t at = offset; at + sizeof(char16_t) <= size; at += sizeof(char16_t)) {
    char16_t unit;
    std::memcpy(&unit, bytes + at, sizeof unit);
    if (unit == 0) return text;
    text.push_back(unit);
  }
  return std::nullopt;
}

bool PropertiesBlock::Fits(std::uint32_t offset, std::u16string_view text) const {
  const std::uint32_t size = properties_->Wnode.BufferSize;
  return offset >= sizeof(EVENT_TRACE_PROPERTIES) && offset <= size &&
         (text.size() + 1) * sizeof(char16_t) <= size - offset;
}

void PropertiesBlock::Put(std::uint32_t offset, std::u16string_view text) {
  auto* bytes = reinterpret_cast<std::byte*>(properties_) + offset;
  std::memcpy(bytes, text.data(), text.size() * sizeof(char16_t));
  std::memset(bytes + text.size() * sizeof(char16_t), 0, sizeof(char16_t));
}

}  // namespace varnel::embedded
