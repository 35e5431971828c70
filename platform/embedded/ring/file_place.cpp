#include "platform/embedded/ring/file_place.h"

#include <algorithm>

#include "formats/etl_format.h"

namespace varnel::embedded::ring {
namespace {

constexpr std::uint32_t kModeKilobytes = 0x2000;
constexpr std::uint64_t kSmallestCircle = 2;  // the header buffer and one behind it

FilePlace Load(const FilePlaceWords& words) noexcept {
  FilePlace place;
  place.next_sequence = words.next_sequence.load(std::memory_order_relaxed);
  place.buffers_written = words.buffers_written.load(std::memory_order_relaxed);
  place.events_lost = words.events_lost.load(std::memory_order_relaxed);
  place.buffers_lost = words.buffers_lost.load(std::memory_order_relaxed);
  place.last_stamp = static_cast<std::int64_t>(words.last_stamp.load(std::memory_order_relaxed));
  place.total_written = words.total_written.load(std::memory_order_relaxed);
  return place;
}

}  // namespace

FilePlace ReadPlace(const ControlMap& map) noexcept {
  auto& words = map.words();
  for (;;) {
    const std::uint64_t version = words.place_version.load(std::memory_order_acquire);
    const FilePlace place = Load(words.places[version & 1]);
    std::atomic_thread_fence(std::memory_order_acquire);
    if (words.place_version.load(std::memory_order_relaxed) == version) return place;
  }
}

void StorePlace(const ControlMap& map, const FilePlace& place) noexcept {
  auto& words = map.words();
  const std::uint64_t version = words.place_version.load(std::memory_order_relaxed);
  auto& copy = words.places[(version + 1) & 1];
  std::atomic_thread_fence(std::memory_order_release);
  copy.next_sequence.store(place.next_sequence, std::memory_order_relaxed);
  copy.buffers_written.store(place.buffers_written, std::memory_order_relaxed);
  copy.events_lost.store(place.events_lost, std::memory_order_relaxed);
  copy.buffers_lost.store(place.buffers_lost, std::memory_order_relaxed);
  copy.last_stamp.store(static_cast<std::uint64_t>(place.last_stamp), std::memory_order_relaxed);
  copy.total_written.store(place.total_written, std::memory_order_relaxed);
  words.place_version.store(version + 1, std::memory_order_release);
}

FileShape FileShape::Of(const SessionConstants& constants) noexcept {
  FileShape shape;
  shape.buffer_size = constants.buffer_size;
  shape.circular = (constants.log_file_mode & formats::kEtlModeCircular) != 0;
  const std::uint64_t unit = (constants.log_file_mode & kModeKilobytes) != 0 ? 1024 : 1024 * 1024;
  const std::uint64_t limit = constants.maximum_file_size * unit;
  if (limit != 0 || shape.circular) shape.capacity = std::max(kSmallestCircle, limit / constants.buffer_size);
  return shape;
}

}  // namespace varnel::embedded::ring
