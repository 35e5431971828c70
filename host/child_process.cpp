#include "host/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

extern char** environ;

namespace varnel::host {
namespace {

// Where the child's standard streams go.
class FileActions {
 public:
  FileActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void Redirect(int from, int to) { ::posix_spawn_file_actions_adddup2(&actions_, from, to); }
  void Drop(int stream) { ::posix_spawn_file_actions_addopen(&actions_, stream, "/dev/null", O_WRONLY, 0); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

// A child begins with the usual handling of signals, whatever this process set.
class DefaultSignals {
 public:
  DefaultSignals() {
    ::posix_spawnattr_init(&attributes_);
    sigset_t all;
    ::sigemptyset(&all);
    for (const int signal : {SIGPIPE, SIGINT, SIGTERM}) ::sigaddset(&all, signal);
    ::posix_spawnattr_setsigdefault(&attributes_, &all);
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF);
  }
  ~DefaultSignals() { ::posix_spawnattr_destroy(&attributes_); }
  DefaultSignals(const DefaultSignals&) = delete;
  DefaultSignals& operator=(const DefaultSignals&) = delete;
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

}  // namespace

formats::Result<ChildProcess> ChildProcess::Start(const std::vector<std::string>& arguments, Output output) {
  FileActions actions;
  int ends[2] = {-1, -1};
  if (output == Output::kPiped) {
    if (::pipe2(ends, O_CLOEXEC) != 0) return formats::Error{std::string("pipe: ") + std::strerror(errno)};
    actions.Redirect(ends[1], STDOUT_FILENO);
  } else if (output == Output::kDropped) {
    actions.Drop(STDOUT_FILENO);
    actions.Drop(STDERR_FILENO);
  }
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t pid = -1;
  const DefaultSignals attributes;
  const int error = ::posix_spawn(&pid, words[0], actions.get(), attributes.get(), words.data(), environ);
  if (ends[1] >= 0) ::close(ends[1]);
  if (error != 0) {
    if (ends[0] >= 0) ::close(ends[0]);
    return formats::Error{arguments.front() + ": " + std::strerror(error)};
  }
  return ChildProcess(pid, ends[0]);
}

ChildProcess::~ChildProcess() {
  if (pid_ > 0) {
    Signal(SIGKILL);
    Wait();
  }
  if (output_ >= 0) ::close(output_);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept {
  *this = std::move(other);
}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  std::swap(pid_, other.pid_);
  std::swap(output_, other.output_);
  std::swap(unread_, other.unread_);
  std::swap(at_end_, other.at_end_);
  return *this;
}

std::optional<std::string> ChildProcess::ReadLine() {
  while (true) {
    if (const std::size_t end = unread_.find('\n'); end != std::string::npos) {
      std::string line = unread_.substr(0, end);
      unread_.erase(0, end + 1);
      return line;
    }
    if (at_end_ || output_ < 0) {
      return unread_.empty() ? std::nullopt : std::optional(std::exchange(unread_, std::string()));
    }
    char block[4096];
    const ssize_t n = ::read(output_, block, sizeof block);
    if (n > 0) unread_.append(block, static_cast<std::size_t>(n));
    at_end_ = n == 0 || (n < 0 && errno != EINTR);
  }
}

bool ChildProcess::WaitForOutput(std::chrono::milliseconds time) {
  if (at_end_ || output_ < 0 || unread_.find('\n') != std::string::npos) return true;
  pollfd wait{output_, POLLIN, 0};
  return ::poll(&wait, 1, static_cast<int>(time.count())) > 0;
}

void ChildProcess::Signal(int signal) const {
  if (pid_ > 0) ::kill(pid_, signal);
}

int ChildProcess::Wait() {
  if (pid_ <= 0) return -1;
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string OwnProgram() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).string();
}

}  // namespace varnel::host
