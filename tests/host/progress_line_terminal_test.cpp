// On a terminal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "host/progress_line.h"

namespace varnel::host {
namespace {

using namespace std::chrono_literals;

// Standard error as a terminal, for the scope of this object.
class TerminalAsStandardError {
 public:
  TerminalAsStandardError() : master_(::posix_openpt(O_RDWR | O_NOCTTY)), saved_(::dup(STDERR_FILENO)) {
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) return;
    const int slave = ::open(::ptsname(master_), O_RDWR | O_NOCTTY);
    ::dup2(slave, STDERR_FILENO);
    ::close(slave);
  }
  ~TerminalAsStandardError() {
    Restore();
    ::close(saved_);
    ::close(master_);
  }
  bool works() const { return ::isatty(STDERR_FILENO) == 1; }
  void Restore() const { ::dup2(saved_, STDERR_FILENO); }
  /// What was written so far. A terminal hands it on piece by piece, so that a mark behind it is waited for.
  std::string Shown() const {
    static constexpr char kMark[] = "<mark>";
    std::string shown;
    if (::write(STDERR_FILENO, kMark, sizeof kMark - 1) != sizeof kMark - 1) return "the mark was not written";
    for (;;) {
      char text[4096];
      const ssize_t n = ::read(master_, text, sizeof text);
      if (n <= 0) return shown + "the mark did not come";
      shown.append(text, static_cast<std::size_t>(n));
      if (const std::size_t mark = shown.find(kMark); mark != std::string::npos) return shown.substr(0, mark);
    }
  }

 private:
  const int master_;
  const int saved_;
};

TEST(ProgressLine, IsWrittenOverOnATerminalAndClearedAtTheEnd) {
  const TerminalAsStandardError terminal;
  if (!terminal.works()) GTEST_SKIP() << "no terminals here";
  {
    ProgressLine line(true);
    line.Show(5, 1s);
    line.Show(5, 1900ms);  // nothing new to show
    line.Show(6, 2s);
  }
  EXPECT_EQ(terminal.Shown(), "\r\033[K5 texts, 1 s (Ctrl-C ends)\r\033[K6 texts, 2 s (Ctrl-C ends)\r\033[K");
}

TEST(ProgressLine, ShowsNothingWhenItIsNotWanted) {
  const TerminalAsStandardError terminal;
  if (!terminal.works()) GTEST_SKIP() << "no terminals here";
  {
    ProgressLine line(false);
    line.Show(5, 1s);
  }
  EXPECT_EQ(terminal.Shown(), "");
}

}  // namespace
}  // namespace varnel::host
