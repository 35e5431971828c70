#include "platform/embedded/ring/process_identity.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace varnel::embedded::ring {
namespace {

constexpr std::uint64_t kStartMask = (std::uint64_t{1} << 40) - 1;

std::atomic<std::uint64_t> own_owner{0};
constinit thread_local std::uint32_t own_thread = 0;

struct ProcessStat {
  char state = '?';
  long threads = 0;
  std::uint64_t start = 0;
};

/// @return false when there is no such process.
bool ReadStat(std::uint32_t process, ProcessStat* out) noexcept {
  char path[32];
  std::snprintf(path, sizeof path, "/proc/%u/stat", process);
  const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  char text[1024];
  const ssize_t size = ::read(fd, text, sizeof text - 1);
  ::close(fd);
  if (size <= 0) return false;
  text[size] = '\0';
  // The second field is the program's name in parentheses and may hold anything; what follows is counted from its end.
  const char* place = std::strrchr(text, ')');
  if (place == nullptr || place[1] != ' ') return false;
  out->state = place[2];
  place += 3;
  constexpr int kThreads = 20;
  constexpr int kStart = 22;
  for (int field = 4; field <= kStart && place != nullptr; ++field) {
    if (field == kThreads) out->threads = std::strtol(place, nullptr, 10);
    if (field == kStart) out->start = std::strtoull(place, nullptr, 10);
    place = std::strchr(place + 1, ' ');
  }
  return true;
}

}  // namespace

std::uint64_t OwnOwnerWord() noexcept {
  std::uint64_t owner = own_owner.load(std::memory_order_relaxed);
  if (owner != 0) return owner;
  ProcessStat stat;
  const auto process = static_cast<std::uint32_t>(::getpid());
  ReadStat(process, &stat);
  owner = (std::uint64_t{process} << 40) | (stat.start & kStartMask);
  own_owner.store(owner, std::memory_order_relaxed);
  return owner;
}

bool OwnerLives(std::uint64_t owner) noexcept {
  if (owner == OwnOwnerWord()) return true;
  ProcessStat stat;
  if (owner == 0 || !ReadStat(OwnerProcess(owner), &stat)) return false;
  if ((stat.start & kStartMask) != (owner & kStartMask)) return false;
  const bool zombie = stat.state == 'Z' || stat.state == 'X';
  return !zombie || stat.threads > 1;
}

std::uint32_t CurrentThread() noexcept {
  if (own_thread == 0) own_thread = static_cast<std::uint32_t>(::syscall(SYS_gettid));
  return own_thread;
}

std::uint32_t CurrentProcess() noexcept {
  return OwnerProcess(OwnOwnerWord());
}

void ForgetIdentityAfterFork() noexcept {
  own_owner.store(0, std::memory_order_relaxed);
  own_thread = 0;
}

}  // namespace varnel::embedded::ring
