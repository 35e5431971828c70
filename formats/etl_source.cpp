#include "formats/etl_source.h"

#include <cstring>

namespace varnel::formats {

bool EtlMemorySource::Read(std::uint64_t offset, std::span<std::byte> into) {
  const auto bytes = View(offset, into.size());
  if (bytes.size() != into.size()) return false;
  if (!into.empty()) std::memcpy(into.data(), bytes.data(), into.size());
  return true;
}

std::span<const std::byte> EtlMemorySource::View(std::uint64_t offset, std::size_t size) {
  if (offset > bytes_.size() || size > bytes_.size() - offset) return {};
  return bytes_.subspan(static_cast<std::size_t>(offset), size);
}

}  // namespace varnel::formats
