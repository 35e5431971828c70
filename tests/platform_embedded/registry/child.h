// Starts registry_child and reads what it prints.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

extern char** environ;

namespace varnel::embedded {

class Child {
 public:
  explicit Child(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VARNEL_REGISTRY_CHILD);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    int out[2];
    int in[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(in, O_CLOEXEC) != 0) std::abort();
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    ::posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    if (::posix_spawn(&process_, argv[0], &actions, nullptr, argv.data(), environ) != 0) std::abort();
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(out[1]);
    ::close(in[0]);
    out_ = out[0];
    in_ = in[1];
  }
  ~Child() {
    if (process_ > 0) Kill();
    ::close(out_);
    ::close(in_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// The next whole line; empty at the end of the output.
  std::string Line() {
    std::string line;
    char c = 0;
    while (::read(out_, &c, 1) == 1) {
      if (c == '\n') return line;
      line.push_back(c);
    }
    return "";
  }
  void Tell(const std::string& line) {
    const std::string bytes = line + "\n";
    if (::write(in_, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) std::abort();
  }
  void Kill() {
    ::kill(process_, SIGKILL);
    Wait();
  }
  /// The exit code; -1 when it was killed.
  int Wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t process_ = 0;
  int out_ = -1;
  int in_ = -1;
};

}  // namespace varnel::embedded
