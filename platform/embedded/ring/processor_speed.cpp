#include "platform/embedded/ring/processor_speed.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>

namespace varnel::embedded::ring {
namespace {

constexpr std::uint32_t kUnknown = 1000;
constexpr std::uint32_t kFastest = 1'000'000;

using Room = std::array<char, 2048>;

/// The beginning of a file; empty when it can't be read.
std::string_view ReadBeginning(const char* path, Room* room) noexcept {
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return {};
  const ssize_t size = ::read(fd, room->data(), room->size());
  ::close(fd);
  return {room->data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

/// The whole number that a text begins with; 0 when it begins with none.
std::uint32_t NumberAt(std::string_view text) noexcept {
  text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
  std::uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

std::uint32_t Ask() noexcept {
  Room room;
  // What it can do rather than what it does at the moment, where the host tells both.
  const std::uint32_t kilohertz =
      NumberAt(ReadBeginning("/sys/devices/system/cpu/cpu0/cpufreq/cpuinfo_max_freq", &room));
  if (kilohertz >= 1000) return kilohertz / 1000;
  const std::uint32_t found = MegahertzIn(ReadBeginning("/proc/cpuinfo", &room));
  return found != 0 ? found : kUnknown;
}

}  // namespace

std::uint32_t MegahertzIn(std::string_view cpu_info) noexcept {
  const std::size_t line = cpu_info.find("cpu MHz");
  const std::size_t colon = line == std::string_view::npos ? line : cpu_info.find(':', line);
  if (colon == std::string_view::npos) return 0;
  const std::uint32_t megahertz = NumberAt(cpu_info.substr(colon + 1));
  return megahertz <= kFastest ? megahertz : 0;
}

std::uint32_t ProcessorMegahertz() noexcept {
  static std::atomic<std::uint32_t> speed{0};
  if (speed.load(std::memory_order_relaxed) == 0) speed.store(Ask(), std::memory_order_relaxed);
  return speed.load(std::memory_order_relaxed);
}

}  // namespace varnel::embedded::ring
