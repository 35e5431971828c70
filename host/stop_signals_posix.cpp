#include "host/stop_signals.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

namespace varnel::host {
namespace {

// Written by the handler: the pipe's write end, and how many signals came. The pipe is never emptied, so that one
// signal stays visible.
std::atomic<int> g_write_end{-1};
std::atomic<int> g_read_end{-1};
std::atomic<int> g_signals{0};
struct sigaction g_old_interrupt, g_old_terminate;

void OnSignal(int signal) {
  if (g_signals.fetch_add(1) > 0) ::_exit(128 + signal);
  const int saved = errno;
  [[maybe_unused]] const ssize_t written = ::write(g_write_end.load(), "s", 1);
  errno = saved;
}

}  // namespace

StopSignals::StopSignals() {
  int ends[2] = {-1, -1};
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) {
    g_read_end = ends[0];
    g_write_end = ends[1];
  }
  g_signals = 0;
  struct sigaction action {};
  action.sa_handler = &OnSignal;
  action.sa_flags = SA_RESTART;
  ::sigaction(SIGINT, &action, &g_old_interrupt);
  ::sigaction(SIGTERM, &action, &g_old_terminate);
}

StopSignals::~StopSignals() {
  ::sigaction(SIGINT, &g_old_interrupt, nullptr);
  ::sigaction(SIGTERM, &g_old_terminate, nullptr);
  ::close(g_read_end.exchange(-1));
  ::close(g_write_end.exchange(-1));
}

bool StopSignals::WaitFor(std::chrono::milliseconds time) const {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + time;
  while (true) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd wait{g_read_end.load(), POLLIN, 0};
    const int ready = ::poll(&wait, 1, static_cast<int>(std::max<long long>(left, 0)));
    if (ready > 0) return true;
    if (ready == 0) return false;
  }
}

}  // namespace varnel::host
