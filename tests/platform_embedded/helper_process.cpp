#include "helper_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace varnel::embedded {

HelperProcess::HelperProcess(const std::string& machine, std::vector<std::string> arguments) {
  int to_child[2];
  int from_child[2];
  if (::pipe2(to_child, O_CLOEXEC) != 0 || ::pipe2(from_child, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, to_child[0], STDIN_FILENO);
  ::posix_spawn_file_actions_adddup2(&actions, from_child[1], STDOUT_FILENO);
  arguments.insert(arguments.begin(), {VARNEL_MACHINE_HELPER, machine});
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  if (::posix_spawn(&pid_, VARNEL_MACHINE_HELPER, &actions, nullptr, argv.data(), environ) != 0) pid_ = -1;
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(to_child[0]);
  ::close(from_child[1]);
  input_ = to_child[1];
  char answer[5];
  ready_ = ::read(from_child[0], answer, sizeof answer) == 5;
  ::close(from_child[0]);
}

HelperProcess::~HelperProcess() {
  Finish();
}

void HelperProcess::Kill() {
  if (pid_ > 0) ::kill(pid_, SIGKILL);
  Finish();
}

int HelperProcess::Finish() {
  if (input_ >= 0) ::close(input_);
  input_ = -1;
  if (pid_ <= 0) return -1;
  int status = 0;
  ::waitpid(pid_, &status, 0);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace varnel::embedded
