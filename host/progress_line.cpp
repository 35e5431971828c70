#include "host/progress_line.h"

#include <unistd.h>

#include <cstdio>

#include "host/process.h"

namespace varnel::host {

ProgressLine::ProgressLine(bool wanted) : shown_(wanted && IsTerminal(STDERR_FILENO)) {}

ProgressLine::~ProgressLine() {
  if (dirty_) std::fputs("\r\033[K", stderr);
}

void ProgressLine::Show(std::uint64_t texts, std::chrono::milliseconds elapsed) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(elapsed);
  if (!shown_ || (dirty_ && texts == texts_ && seconds == elapsed_)) return;
  dirty_ = true;
  texts_ = texts;
  elapsed_ = seconds;
  std::fprintf(stderr, "\r\033[K%llu texts, %lld s (Ctrl-C ends)", static_cast<unsigned long long>(texts),
               static_cast<long long>(seconds.count()));
  std::fflush(stderr);
}

}  // namespace varnel::host
