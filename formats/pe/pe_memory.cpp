#include "formats/pe/pe_memory.h"

namespace varnel::formats {

PeState PeMemory::Read(std::uint32_t rva, std::span<std::byte> into) const noexcept {
  if (rva > size_ || into.size() > size_ - rva) return PeState::kDamaged;
  return space_->ReadVirtual(base_ + rva, into) == into.size() ? PeState::kFound : PeState::kMissing;
}

std::size_t PeMemory::ReadSome(std::uint32_t rva, std::span<std::byte> into) const noexcept {
  if (rva > size_) return 0;
  const std::span<std::byte> inside = into.first(std::min<std::size_t>(into.size(), size_ - rva));
  return inside.empty() ? 0 : std::min(space_->ReadVirtual(base_ + rva, inside), inside.size());
}

PeLookup<std::string> PeMemory::Text(std::uint32_t rva, std::size_t limit) const {
  std::string text;
  std::array<char, 64> chunk;
  for (;;) {
    if (rva >= size_) return PeState::kDamaged;
    const std::size_t wanted = std::min<std::size_t>(chunk.size(), size_ - rva);
    const std::size_t got = ReadSome(rva, std::as_writable_bytes(std::span(chunk).first(wanted)));
    const auto end = std::find(chunk.begin(), chunk.begin() + static_cast<std::ptrdiff_t>(got), '\0');
    text.append(chunk.begin(), end);
    if (text.size() > limit) return PeState::kDamaged;
    if (end != chunk.begin() + static_cast<std::ptrdiff_t>(got)) return text;
    if (got < wanted) return PeState::kMissing;
    rva += static_cast<std::uint32_t>(got);
  }
}

}  // namespace varnel::formats
