#include "tests/support/dumped_memory.h"

#include <algorithm>

namespace varnel::support {

DumpedMemory& DumpedMemory::Put(std::uint64_t address, std::span<const std::byte> bytes) {
  Hide(address, bytes.size());
  if (!bytes.empty()) blocks_[address].assign(bytes.begin(), bytes.end());
  return *this;
}

DumpedMemory& DumpedMemory::Put64(std::uint64_t address, std::uint64_t value) {
  std::byte bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<std::byte>(value >> (8 * i));
  return Put(address, bytes);
}

DumpedMemory& DumpedMemory::Hide(std::uint64_t address, std::uint64_t size) {
  const std::uint64_t end = address + size;
  std::map<std::uint64_t, std::vector<std::byte>> left;
  for (auto& [begin, bytes] : blocks_) {
    const std::uint64_t block_end = begin + bytes.size();
    if (block_end <= address || begin >= end) {
      left[begin] = std::move(bytes);
      continue;
    }
    if (begin < address)
      left[begin].assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(address - begin));
    if (block_end > end) left[end].assign(bytes.begin() + static_cast<std::ptrdiff_t>(end - begin), bytes.end());
  }
  blocks_ = std::move(left);
  return *this;
}

std::size_t DumpedMemory::ReadPiece(std::uint64_t address, std::span<std::byte> into) const noexcept {
  auto block = blocks_.upper_bound(address);
  if (block == blocks_.begin()) return 0;
  --block;
  const std::uint64_t offset = address - block->first;
  if (offset >= block->second.size()) return 0;
  const std::size_t count = std::min<std::size_t>(into.size(), block->second.size() - offset);
  std::copy_n(block->second.begin() + static_cast<std::ptrdiff_t>(offset), count, into.begin());
  return count;
}

std::size_t DumpedMemory::ReadVirtual(std::uint64_t address, std::span<std::byte> into) const noexcept {
  ++reads_;
  std::size_t done = 0;
  while (done < into.size()) {
    const std::size_t count = ReadPiece(address + done, into.subspan(done));
    if (count == 0) break;
    done += count;
  }
  return done;
}

}  // namespace varnel::support
