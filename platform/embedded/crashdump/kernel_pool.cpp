#include "platform/embedded/crashdump/kernel_pool.h"

#include "platform/embedded/crashdump/bytes.h"

namespace varnel::embedded {

std::uint64_t KernelPool::Take(std::uint64_t size) {
  const std::uint64_t place = next_;
  next_ += RoundUp(size, 16);
  while (mapped_ < next_) {
    map_->MapNew(mapped_, PhysicalMemory::kPageSize, PageAccess::kReadWrite);
    mapped_ += PhysicalMemory::kPageSize;
  }
  return place;
}

std::uint64_t KernelPool::Keep(std::span<const std::byte> bytes) {
  const std::uint64_t place = Take(bytes.size());
  map_->Write(place, bytes);
  return place;
}

void KernelPool::PutString(std::uint64_t place, std::u16string_view text) {
  const auto bytes = static_cast<std::uint16_t>(text.size() * 2);
  map_->Put<std::uint16_t>(place, bytes);
  map_->Put<std::uint16_t>(place + 2, bytes);
  map_->Put<std::uint64_t>(place + 8, text.empty() ? 0 : Keep(std::as_bytes(std::span(text))));
}

}  // namespace varnel::embedded
