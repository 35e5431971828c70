#include "platform/embedded/crashdump/physical_memory.h"

#include <algorithm>

namespace varnel::embedded {
namespace {

// What lies below the first MiB: all but its first page and the old adapters' window.
constexpr PhysicalMemory::Run kLowRun = {1, 0x9E};
constexpr std::uint64_t kHighBegin = 0x100;
constexpr std::uint64_t kSmallest = 4096;  // pages
constexpr std::uint64_t kFarApart =
    0x200000;  // 8 GiB in pages: from here on half of the pages come from the upper part
constexpr std::uint64_t kLargePage = 512;

}  // namespace

PhysicalMemory::PhysicalMemory(std::uint64_t size) {
  const std::uint64_t end = std::max(size / kPageSize, kSmallest);
  runs_ = {kLowRun, Run{kHighBegin, end - kHighBegin}};
  low_ = kHighBegin + 7;
  if (end >= kFarApart) high_ = end / 2 + 3;
  large_ = end / kLargePage * kLargePage;
}

std::uint64_t PhysicalMemory::TakePage(Owner owner) {
  ++taken_;
  std::uint64_t& next = high_ != 0 && taken_ % 2 == 0 ? high_ : low_;
  const std::uint64_t number = next;
  next += taken_ % 7 == 0 ? 2 : 1;
  Page(number, owner);
  return number;
}

std::uint64_t PhysicalMemory::TakeLargePage() {
  large_ -= kLargePage;
  return large_;
}

std::span<std::byte, PhysicalMemory::kPageSize> PhysicalMemory::Page(std::uint64_t number, Owner owner) {
  auto& kept = pages_[number];
  if (!kept) {
    kept = std::make_unique<Kept>();
    kept->owner = owner;
  }
  return kept->bytes;
}

}  // namespace varnel::embedded
