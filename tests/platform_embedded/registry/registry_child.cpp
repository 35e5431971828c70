// A process of its own for the tests of the registry: opens a registry folder and does what its arguments say.
//
//   registry_child FOLDER HOST_BOOT count N       sets "v" of SOFTWARE\Child to 1..N (N 0: for ever), a line for each
//   registry_child FOLDER HOST_BOOT add PREFIX N  adds N values PREFIX0.. to SOFTWARE\Child, each with its own name
//   registry_child FOLDER HOST_BOOT large BYTES   sets "large" of SOFTWARE\Child
//   registry_child FOLDER HOST_BOOT fill BYTES    adds values of 10000 bytes while files may grow to BYTES only
//   registry_child FOLDER HOST_BOOT delete        deletes SOFTWARE\Child
//   registry_child FOLDER HOST_BOOT spin FILE     sets "v" of SOFTWARE\Child to 1, 2, ..., each as three numbers of 64
//                                                 bits, for ever; the last accepted one stands in FILE
//   registry_child FOLDER HOST_BOOT serve         does what its input says, a result for each line:
//                                                   open | set HANDLE NAME TYPE DATA | delete HANDLE NAME | get HANDLE
//                                                   NAME
//   registry_child FOLDER HOST_BOOT drain STEP    sets "v" to "2" in its cell, then deletes "other" and is killed at
//   that
//                                                 step (0 to 3) of the drain before
//   registry_child FOLDER HOST_BOOT readers N     opens N views at once and waits for its end
//
// Every command but "readers" uses the port and prints each result that is not 0. A line is written before the next
// call is made, so a reader knows what was accepted. It ends by exit, with the registry still open.
#include <fcntl.h>
#include <lmdb.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/embedded/registry/lmdb_registry.h"

namespace {

using namespace varnel::embedded;
using namespace varnel::platform;

void Say(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

class Child {
 public:
  Child(const std::string& folder, const std::string& host) {
    options_.host_boot_id = host;
    options_.at_drain = [](DrainStep step) -> std::uint32_t {
      if (static_cast<int>(step) == die_at) ::kill(::getpid(), SIGKILL);
      return 0;
    };
    folder_ = folder;
    // Left open, and reachable to the last: the process's end is its close.
    static LmdbRegistry* const left_open = new LmdbRegistry(folder, options_);
    registry_ = left_open;
  }

  int Run(const std::string& command, const std::vector<std::string>& arguments) {
    if (command == "readers") return Readers(std::stoi(arguments[0]));
    if (command == "delete") return static_cast<int>(registry_->RegDeleteTreeW(kHkeyLocalMachine, u"SOFTWARE\\Child"));
    if (registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\Child", 0, 0x2001F, &key_, nullptr) != 0) return 2;
    if (command == "count") return Count(std::stoul(arguments[0]));
    if (command == "add") return Add(arguments[0], std::stoul(arguments[1]));
    if (command == "large") return Set(u"large", std::string(std::stoul(arguments[0]), 'L')) == 0 ? 0 : 1;
    if (command == "spin") return Spin(arguments[0]);
    if (command == "serve") return Serve();
    if (command == "drain") return DieInDrain(std::stoi(arguments[0]));
    if (command == "fill") return Fill(std::stoul(arguments[0]));
    return 64;
  }

 private:
  std::uint32_t Set(const std::u16string& name, const std::string& data) {
    const std::uint32_t result =
        registry_->RegSetValueExW(key_, name.c_str(), kRegBinary, data.data(), static_cast<std::uint32_t>(data.size()));
    if (result != 0) Say("failed " + std::to_string(result));
    return result;
  }

  int Count(unsigned long limit) {
    for (unsigned long i = 1; limit == 0 || i <= limit; ++i) {
      if (Set(u"v", std::to_string(i)) != 0) return 1;
      Say(std::to_string(i));
    }
    return 0;
  }

  int Add(const std::string& prefix, unsigned long count) {
    for (unsigned long i = 0; i < count; ++i) {
      const std::string name = prefix + std::to_string(i);
      if (Set(std::u16string(name.begin(), name.end()), name) != 0) return 1;
    }
    return 0;
  }

  int Spin(const std::string& path) const {
    const int file = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    void* const memory = ::mmap(nullptr, 8, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) return 3;
    auto* const accepted = static_cast<std::atomic<std::uint64_t>*>(memory);
    for (std::uint64_t i = *accepted + 1;; ++i) {
      const std::uint64_t record[3] = {i, i, i};
      if (registry_->RegSetValueExW(key_, u"v", kRegBinary, record, sizeof record) != 0) return 1;
      accepted->store(i);
    }
  }

  int Serve() const {
    HKEY keys[3] = {};
    for (std::string line; std::getline(std::cin, line);) {
      std::istringstream in(line);
      std::string command, name, data;
      unsigned handle = 0;
      std::uint32_t type = 0;
      std::uint32_t result = 0;
      in >> command >> handle >> name >> type >> data;
      const std::u16string wide(name.begin(), name.end());
      std::string answer;
      if (command == "open") {
        for (HKEY& key : keys) {
          if (key != nullptr) registry_->RegCloseKey(key);
          result |= registry_->RegCreateKeyExW(kHkeyLocalMachine, u"SOFTWARE\\Child", 0, 0x2001F, &key, nullptr);
        }
      } else if (command == "set") {
        result = registry_->RegSetValueExW(keys[handle], wide.c_str(), type, data.data(),
                                           static_cast<std::uint32_t>(data.size()));
      } else if (command == "delete") {
        result = registry_->RegDeleteValueW(keys[handle], wide.c_str());
      } else {
        char room[256];
        std::uint32_t size = sizeof room;
        result = registry_->RegQueryValueExW(keys[handle], wide.c_str(), &type, room, &size);
        if (result == 0) answer = " " + std::to_string(type) + " " + std::string(room, size);
      }
      Say(std::to_string(result) + answer);
    }
    return 0;
  }

  int DieInDrain(int step) {
    if (Set(u"other", "x") != 0 || Set(u"v", "1") != 0 || Set(u"v", "2") != 0) return 1;
    die_at = step;
    registry_->RegDeleteValueW(key_, u"other");
    return 3;
  }

  int Fill(unsigned long limit) {
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit file_size{limit, limit};
    if (::setrlimit(RLIMIT_FSIZE, &file_size) != 0) return 3;
    for (unsigned long i = 0;; ++i) {
      const std::string name = "fill" + std::to_string(i);
      if (Set(std::u16string(name.begin(), name.end()), std::string(10'000, 'F')) != 0) return 0;
      Say(name);
    }
  }

  // By the library itself: a process of ours holds a view for the length of one call only.
  int Readers(int count) const {
    MDB_env* environment = nullptr;
    if (::mdb_env_create(&environment) != 0 || ::mdb_env_set_maxreaders(environment, 1024) != 0) return 2;
    if (::mdb_env_open(environment, (folder_ + "/store").c_str(), MDB_NOSYNC | MDB_NOTLS, 0666) != 0) return 2;
    for (int i = 0; i < count; ++i) {
      MDB_txn* view = nullptr;
      if (::mdb_txn_begin(environment, nullptr, MDB_RDONLY, &view) != 0) return 3;
    }
    Say("open");
    std::getchar();
    return 0;
  }

  static inline int die_at = -1;

  std::string folder_;
  StoreOptions options_;
  LmdbRegistry* registry_ = nullptr;
  HKEY key_ = nullptr;
};

}  // namespace

// The thread sanitizer's search for deadlocks ends a process that holds more than 64 shared locks on one thread, which
// is what the command "readers" is for. Without that sanitizer nobody asks.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
  return "detect_deadlocks=0";
}

int main(int argc, char** argv) {
  if (argc < 4) return 64;
  return Child(argv[1], argv[2]).Run(argv[3], std::vector<std::string>(argv + 4, argv + argc));
}
