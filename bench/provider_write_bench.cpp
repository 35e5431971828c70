// What one event costs its author, on one thread, nobody reading:
//
//   disabled   the test of a provider that no session has enabled; the floor is an empty loop
//   write      a text event into a session as the module starts it (64 KiB buffers, a circular file of 100 MB); the
//   floor
//              is an LTTng-UST tracepoint of the same payload into a flight recorder, where LTTng is installed
//   ring       the same into a session without a file
//
// Ours and LTTng's run in turns; of each the median counts.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_figures.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/session_store.h"
#include "provider/varnel_provider.h"

namespace {

using namespace varnel;
using namespace varnel::bench;
namespace ring = embedded::ring;

constexpr std::uint32_t kEvents = 2'000'000;
constexpr int kTurns = 5;
constexpr std::uint64_t kModule = 0x80;
constexpr GUID kProvider = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};

double Nanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/// A machine with a registered provider.
class Bench {
 public:
  Bench() {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX").string();
    Require(mkdtemp(pattern.data()) != nullptr, "making a folder");
    root_ = pattern;
    machine_ = embedded::Machine::Create(root_).value();
    varnel_guid guid;
    std::memcpy(&guid, &kProvider, sizeof guid);
    Require(varnel_register(root_.c_str(), &guid, &registration_) == 0, "registering");
  }
  ~Bench() {
    varnel_unregister(registration_);
    std::filesystem::remove_all(root_);
  }
  Bench(const Bench&) = delete;
  Bench& operator=(const Bench&) = delete;

  /// Nanoseconds for an event; what was lost on the way is told, since losing is cheap.
  double Write(bool with_file) {
    ring::SessionParameters parameters;
    parameters.name = u"bench";
    parameters.minimum_buffers = 20;
    parameters.maximum_buffers = 50;
    parameters.maximum_file_size = 100;
    parameters.log_file_mode = 0x18000102;
    parameters.flush_timer_seconds = 1;
    if (with_file) parameters.host_path = root_ + "/C/bench.etl";
    const ring::SessionStore store(machine_->SessionsPath(), embedded::HostBootId(), 1);
    ring::StartFailure failure;
    const auto session = store.Start(parameters, &failure);
    Require(session != nullptr, "starting a session");
    store.ChangeEnables([&](ring::EnableTable& table) {
      table.Set(*table.FindOrAdd(kProvider), {session->id(), 5, ~std::uint64_t{0}, 0});
    });
    const double begin = Nanoseconds();
    for (std::uint32_t i = 0; i < kEvents; ++i) {
      varnel_transfer_msg_ansi(registration_, kModule, 8, "CollectorThreadBody", i, 0,
                               "device 4 of 7 was attached to port 3 of the hub");
    }
    const double each = (Nanoseconds() - begin) / kEvents;
    store.Stop(*session);
    const auto place = ring::ReadPlace(*session->map());
    Require(place.events_lost + session->map()->words().events_lost.load() == 0, "losing no event");
    return each;
  }

  double Disabled() {
    constexpr std::uint32_t kTests = 200'000'000;
    std::uint32_t enabled = 0;
    const double begin = Nanoseconds();
    for (std::uint32_t i = 0; i < kTests; ++i) {
      if (varnel_enabled(registration_) != 0) ++enabled;
      asm volatile("" ::: "memory");
    }
    const double each = (Nanoseconds() - begin) / kTests;
    Require(enabled == 0, "being disabled");
    return each;
  }

 private:
  std::string root_;
  std::shared_ptr<embedded::Machine> machine_;
  varnel_registration* registration_ = nullptr;
};

#ifdef VARNEL_LTTNG_WRITER
bool Run(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

/// LTTng's daemon and a flight recorder session, for the length of its scope.
class Lttng {
 public:
  Lttng() {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-lttng-XXXXXX").string();
    Require(mkdtemp(pattern.data()) != nullptr, "making a folder");
    folder_ = pattern;
    ::setenv("LTTNG_HOME", folder_.c_str(), 1);
    ::setenv("LTTNG_UST_REGISTER_TIMEOUT", "-1", 1);
    started_ = Run("lttng-sessiond --daemonize --no-kernel --pidfile=" + folder_ + "/pid");
    ready_ = Run("lttng create varnel-bench --snapshot --output=" + folder_ + "/out") &&
             Run("lttng enable-channel -u text --overwrite --subbuf-size=64K --num-subbuf=32") &&
             Run("lttng enable-event -u -c text varnel_bench:text") && Run("lttng start");
  }
  ~Lttng() {
    Run("lttng destroy varnel-bench");
    if (started_) Run("kill $(cat " + folder_ + "/pid)");
    std::filesystem::remove_all(folder_);
  }
  Lttng(const Lttng&) = delete;
  Lttng& operator=(const Lttng&) = delete;

  bool ready() const { return ready_; }

  /// Nanoseconds for an event; 0 when it could not be measured.
  static double Write() {
    FILE* const pipe = ::popen((std::string(VARNEL_LTTNG_WRITER) + " " + std::to_string(kEvents)).c_str(), "r");
    if (pipe == nullptr) return 0;
    double each = 0;
    if (std::fscanf(pipe, "%lf", &each) != 1) each = 0;
    ::pclose(pipe);
    return each;
  }

 private:
  std::string folder_;
  bool started_ = false;
  bool ready_ = false;
};
#endif

}  // namespace

int main() {
  Bench ours;
  ours.Write(true);  // warms up
  std::vector<double> write;
  std::vector<double> memory;
  std::vector<double> lttng;
#ifdef VARNEL_LTTNG_WRITER
  const Lttng other;
#endif
  for (int turn = 0; turn < kTurns; ++turn) {
    write.push_back(ours.Write(true));
    memory.push_back(ours.Write(false));
#ifdef VARNEL_LTTNG_WRITER
    if (other.ready()) lttng.push_back(Lttng::Write());
#endif
  }
  std::printf("disabled: %.2f ns a test\n", ours.Disabled());
  std::printf("write: %.1f ns, ring: %.1f ns an event\n", Median(write), Median(memory));
  if (lttng.empty() || Median(lttng) == 0) {
    std::printf("LTTng-UST could not be measured here; no ratio\n");
    return 0;
  }
  std::printf("LTTng-UST: %.1f ns an event\n", Median(lttng));
  char value[32];
  std::snprintf(value, sizeof value, "%.2f", Median(write) / Median(lttng));
  PrintFigure("provider write", value, "at most 2", "one event against an LTTng-UST tracepoint of the same payload");
  std::snprintf(value, sizeof value, "%.2f", Median(memory) / Median(lttng));
  PrintFigure("provider write, no file", value, "at most 2", "the same into a session without a file");
  return 0;
}
