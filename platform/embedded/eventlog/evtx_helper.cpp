#include "platform/embedded/eventlog/evtx_helper.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace varnel::embedded {
namespace {

constexpr char kProgram[] = "varnel-evtx";

bool IsProgram(const std::string& path) {
  return ::access(path.c_str(), X_OK) == 0;
}

/// The folder of the library or program that holds this code.
std::string OwnFolder() {
  Dl_info info{};
  if (::dladdr(reinterpret_cast<const void*>(&IsProgram), &info) == 0 || info.dli_fname == nullptr) return {};
  char* const whole = ::realpath(info.dli_fname, nullptr);
  if (whole == nullptr) return {};
  std::string path(whole);
  std::free(whole);
  return path.substr(0, path.rfind('/'));
}

/// The descriptors and signals of the new process: requests at 0, answers at 1, no other output, all signals as the
/// system sets them.
class SpawnSetup {
 public:
  SpawnSetup(int requests, int answers) {
    ::posix_spawn_file_actions_init(&actions_);
    ::posix_spawn_file_actions_adddup2(&actions_, requests, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions_, answers, STDOUT_FILENO);
    ::posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes_, &signals);
    sigfillset(&signals);
    ::posix_spawnattr_setsigdefault(&attributes_, &signals);
    // A group of its own: an interrupt at the terminal is the host's business.
    ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnSetup() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnSetup(const SpawnSetup&) = delete;
  SpawnSetup& operator=(const SpawnSetup&) = delete;

  pid_t Spawn(const std::string& path) const {
    std::string program(path);
    char* const arguments[] = {program.data(), nullptr};
    char* const environment[] = {nullptr};
    pid_t pid = -1;
    return ::posix_spawn(&pid, path.c_str(), &actions_, &attributes_, arguments, environment) == 0 ? pid : -1;
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

std::string EvtxHelperPath() {
  const char* const named = std::getenv("VARNEL_EVTX_HELPER");
  if (named != nullptr && *named != '\0') return named;
  const std::string folder = OwnFolder();
  for (const std::string& path : {folder + "/" + kProgram, folder + "/../libexec/varnel-wardlet/" + kProgram,
                                  folder + "/../../libexec/varnel-wardlet/" + kProgram,  // from lib/TRIPLET
                                  std::string(VARNEL_EVTX_HELPER_BUILT)}) {
    if (IsProgram(path)) return path;
  }
  return {};
}

bool EvtxHelper::Start() {
  if (pid_ >= 0) return true;
  const std::string path = options_.path.empty() ? EvtxHelperPath() : options_.path;
  int sockets[2];
  int pipes[2];
  cannot_start_ = true;
  if (path.empty() || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0) return false;
  requests_ = UniqueFd(sockets[0]);
  const UniqueFd its_requests(sockets[1]);
  if (::pipe2(pipes, O_CLOEXEC) != 0) return false;
  answers_ = UniqueFd(pipes[0]);
  const UniqueFd its_answers(pipes[1]);
  pid_ = SpawnSetup(its_requests.get(), its_answers.get()).Spawn(path);
  cannot_start_ = pid_ < 0;
  return pid_ >= 0;
}

void EvtxHelper::Stop() {
  requests_.reset();
  answers_.reset();
  if (pid_ < 0) return;
  // Nothing is lost by it: the process has no state but ours.
  ::kill(pid_, SIGKILL);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
}

bool EvtxHelper::Fail() {
  ++deaths_;
  Stop();
  return false;
}

bool EvtxHelper::Send(evtx::Kind kind, std::string_view body) {
  return evtx::WriteBytes(requests_.get(), options_.timeout_ms, evtx::Frame(kind, body));
}

bool EvtxHelper::Receive(evtx::Message* message) {
  return evtx::ReadMessage(answers_.get(), options_.timeout_ms, message) == evtx::Failure::kNone;
}

bool EvtxHelper::LoadChunk(std::string_view chunk) {
  if (!Start()) return false;
  evtx::Message answer;
  if (!Send(evtx::Kind::kLoadChunk, chunk) || !Receive(&answer) || answer.kind != evtx::Kind::kLoaded) return Fail();
  return true;
}

bool EvtxHelper::ListRecords(std::vector<evtx::EvtxKey>* keys) {
  keys->clear();
  evtx::Message answer;
  if (pid_ < 0) return false;
  if (!Send(evtx::Kind::kListRecords, {}) || !Receive(&answer) || answer.kind != evtx::Kind::kKeys ||
      !evtx::ValuesOf(answer.body, keys)) {
    return Fail();
  }
  return true;
}

/// @return false when what came is no answer for this record.
bool EvtxHelper::ReceiveRecord(std::uint32_t index, evtx::Message* message, evtx::RecordHead* head) {
  if (!Receive(message) || message->body.size() < sizeof *head) return false;
  std::memcpy(head, message->body.data(), sizeof *head);
  return head->index == index && (message->kind == evtx::Kind::kRecord || message->kind == evtx::Kind::kUnreadable);
}

void EvtxHelper::GetRecords(std::span<const std::uint32_t> indexes, const Take& take) {
  if (indexes.empty()) return;
  const bool sent = pid_ >= 0 && Send(evtx::Kind::kGetRecords, evtx::BodyOf(indexes));
  evtx::Message answer;
  for (const std::uint32_t index : indexes) {
    evtx::RecordHead head{};
    if (!sent || !ReceiveRecord(index, &answer, &head)) {
      if (pid_ >= 0) Fail();
      take(Outcome::kHelperDied, 0, {});
      return;
    }
    const bool good = answer.kind == evtx::Kind::kRecord;
    take(good ? Outcome::kGood : Outcome::kUnreadable, head.record_id,
         std::string_view(answer.body).substr(sizeof head));
  }
}

}  // namespace varnel::embedded
