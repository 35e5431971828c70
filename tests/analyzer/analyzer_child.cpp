#include "tests/analyzer/analyzer_child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <sstream>

#include "tests/analyzer/analyzer_run.h"

extern char** environ;

namespace varnel::testing {
namespace {

constexpr int kLimitMs = 300'000;  // a child that is silent for so long hangs

std::vector<char*> Pointers(std::vector<std::string>* texts) {
  std::vector<char*> pointers;
  for (std::string& text : *texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// All that it writes; false when it fell silent without an end.
bool ReadAll(int from_child, std::string* output) {
  char block[4096];
  for (;;) {
    pollfd ready{from_child, POLLIN, 0};
    if (::poll(&ready, 1, kLimitMs) <= 0) return false;
    const ssize_t size = ::read(from_child, block, sizeof block);
    if (size <= 0) return true;
    output->append(block, static_cast<std::size_t>(size));
  }
}

void TakeLine(const std::string& line, ChildEnd* end) {
  std::istringstream words(line);
  std::string key;
  words >> key;
  if (key == "end") {
    words >> end->initialized >> end->started >> end->calls;
  } else if (key == "failed") {
    end->failures.push_back(line);
  } else {
    end->told.push_back(FromToldLine(line));
  }
}

}  // namespace

AnalyzerChild::AnalyzerChild(const std::string& root, Moment moment, unsigned nth) {
  std::vector<std::string> arguments{VARNEL_ANALYZER_RUN_CHILD, root};
  if (moment != Moment::kNever) {
    arguments.emplace_back(moment == Moment::kBefore ? "before" : "after");
    arguments.push_back(std::to_string(nth));
  }
  int pipe[2];
  EXPECT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, pipe[1], STDOUT_FILENO);
  EXPECT_EQ(::posix_spawn(&child_, arguments[0].c_str(), &actions, nullptr, Pointers(&arguments).data(), environ), 0);
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(pipe[1]);
  from_child_ = pipe[0];
}

AnalyzerChild::~AnalyzerChild() {
  if (from_child_ >= 0) Wait();
}

ChildEnd AnalyzerChild::Wait() {
  ChildEnd end;
  std::string output;
  end.in_time = ReadAll(from_child_, &output);
  ::close(from_child_);
  from_child_ = -1;
  if (!end.in_time) ::kill(child_, SIGABRT);
  int status = 0;
  EXPECT_EQ(::waitpid(child_, &status, 0), child_);
  end.killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
  EXPECT_TRUE(end.killed || !end.in_time || (WIFEXITED(status) && WEXITSTATUS(status) == 0)) << status;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) TakeLine(line, &end);
  return end;
}

}  // namespace varnel::testing
