#include "formats/dump/page_entry.h"

#include <array>

namespace varnel::formats {
namespace {

constexpr std::uint64_t kPresent = 1;
constexpr std::uint64_t kWritable = 1u << 1;
constexpr std::uint64_t kLarge = 1u << 7;
constexpr std::uint64_t kCopyOnWrite = 1u << 9;
constexpr std::uint64_t kPrototype = 1u << 10;
constexpr std::uint64_t kTransition = 1u << 11;
// The kernel's own note in a present entry: the page may be written, although the processor is told only at the first
// write.
constexpr std::uint64_t kMayWrite = 1u << 11;
constexpr std::uint64_t kFrame = 0x0000FFFFFFFFF000;
constexpr std::uint64_t kPageFilePlace = 0xFFFFFFFF0000F000;  // the offset, and which of the files
// Set in entries that are not present, so that a processor that reads ahead finds no memory there.
constexpr std::uint64_t kInvalidMark = std::uint64_t{1} << 45;

constexpr std::uint32_t kGuard = 0x100;
constexpr std::uint32_t kNoCache = 0x200;
constexpr std::uint32_t kWriteCombine = 0x400;

std::uint64_t LowBits(int count) {
  return (std::uint64_t{1} << count) - 1;
}

}  // namespace

PageEntryKind KindOfPageEntry(std::uint64_t entry) noexcept {
  if ((entry & kPresent) != 0) return PageEntryKind::kPresent;
  if ((entry & kPrototype) != 0) return PageEntryKind::kPrototype;
  if ((entry & kTransition) != 0) return PageEntryKind::kTransition;
  return (entry & kPageFilePlace) != 0 ? PageEntryKind::kPageFile : PageEntryKind::kDemandZero;
}

std::uint64_t AddressOfPresent(std::uint64_t entry, int level) noexcept {
  return entry & kFrame & ~LowBits(12 + 9 * (level - 1));
}

std::uint64_t AddressOfTransition(std::uint64_t entry) noexcept {
  return entry & kFrame & ~kInvalidMark;
}

std::uint64_t AddressOfPrototype(std::uint64_t entry) noexcept {
  return static_cast<std::uint64_t>(static_cast<std::int64_t>(entry) >> 16);
}

bool NamesLargePage(std::uint64_t entry, int level) noexcept {
  return (level == 2 || level == 3) && (entry & kLarge) != 0;
}

std::uint32_t HardwareProtection(std::uint64_t entry, bool writable, bool executable) noexcept {
  const bool copy = (entry & kCopyOnWrite) != 0;
  const bool write = writable && (entry & (kWritable | kMayWrite)) != 0;
  const std::uint32_t data = copy ? 0x08 : write ? 0x04 : 0x02;
  return executable ? data << 4 : data;
}

std::uint32_t SoftwareProtection(std::uint64_t entry) noexcept {
  constexpr std::array<std::uint32_t, 8> kAccess = {0x01, 0x02, 0x10, 0x20, 0x04, 0x08, 0x40, 0x80};
  const auto noted = static_cast<std::uint32_t>(entry >> 5) & 0x1F;
  const std::uint32_t access = kAccess[noted & 7];
  if ((noted & 7) == 0) return access;
  constexpr std::array<std::uint32_t, 4> kFurther = {0, kNoCache, kGuard, kWriteCombine};
  return access | kFurther[noted >> 3];
}

}  // namespace varnel::formats
