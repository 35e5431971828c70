// From a left-over trace file of a million events to the host's callback, through the module as a host loads it: a new
// machine in a temporary folder, one file behind which no session stands any more, start, and the time until the last
// text has come. The floor is one core that only builds and prints the same JSON with cJSON.
//
//   end_to_end [EVENTS]     a million unless told otherwise
#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "bare_json.h"
#include "bench_figures.h"
#include "host/left_over_file.h"
#include "interfaces/wardlet_tool.h"
#include "platform/embedded/tools/machine_layout.h"

namespace {

using namespace varnel;
using namespace varnel::bench;

constexpr std::size_t kSampled = 4096;
constexpr std::int64_t kFirstTime = 0x1DC95B3A1C2D3E0;
constexpr std::int64_t kStep = 1000;  // 100 ns

/// A folder that goes with its scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = (std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX").string();
    Require(mkdtemp(path_.data()) != nullptr, "making a folder");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

void ComposeFile(const std::string& machine, std::size_t count) {
  std::vector<host::LeftOverEvent> events(count);
  for (std::size_t i = 0; i < count; ++i) {
    events[i].time = kFirstTime + kStep * static_cast<std::int64_t>(i);
    events[i].counter = static_cast<std::uint32_t>(i + 1);
    events[i].text = "#" + std::to_string(i + 1) + " device was attached to port 4 of the hub";
  }
  const auto path = host::LeftOverPath("temp", machine);
  Require(path.ok(), "naming the file");
  Require(host::WriteLeftOverFile(path.value(), events).ok(), "writing the file");
}

/// Counts texts and keeps the first few thousand.
class Host {
 public:
  explicit Host(std::size_t expected) : expected_(expected) { sampled_.reserve(kSampled); }

  static std::uint32_t OnText(void* context, const char* text) {
    auto* host = static_cast<Host*>(context);
    const std::lock_guard lock(host->mutex_);
    if (host->sampled_.size() < kSampled) host->sampled_.emplace_back(text);
    if (++host->count_ == host->expected_) host->done_.notify_all();
    return 0;
  }

  void WaitForAll() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return count_ >= expected_; });
  }
  const std::vector<std::string>& sampled() const { return sampled_; }

 private:
  const std::size_t expected_;
  std::mutex mutex_;
  std::condition_variable done_;
  std::size_t count_ = 0;
  std::vector<std::string> sampled_;
};

/// Of all threads of this process, in nanoseconds.
double ProcessorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e9 + static_cast<double>(used.tv_nsec);
}

WardletToolInterface* MakeTool() {
  void* module = dlopen(VARNEL_MODULE_PATH, RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) std::fprintf(stderr, "%s\n", dlerror());
  Require(module != nullptr, "loading the module");
  const auto get_class_object =
      reinterpret_cast<WardletGetClassObjectFunction>(dlsym(module, WARDLET_EXPORT_GET_CLASS_OBJECT));
  VarnelClassFactory* factory = nullptr;
  Require(get_class_object(&GUID_WARDLET_TOOL, &IID_VarnelClassFactory, reinterpret_cast<void**>(&factory)) == 0,
          "asking for the factory");
  WardletToolInterface* tool = nullptr;
  Require(factory->CreateInstance(nullptr, &IID_WardletToolInterface, reinterpret_cast<void**>(&tool)) == 0,
          "making the tool");
  factory->Release();
  return tool;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t count = argc > 1 ? std::stoul(argv[1]) : 1'000'000;
  const TemporaryFolder folder;
  const std::string machine = folder.path() + "/machine";
  Require(embedded::NewMachine(machine).ok(), "making a machine");
  ComposeFile(machine, count);
  Require(setenv("VARNEL_MACHINE", machine.c_str(), 1) == 0, "naming the machine");

  WardletToolInterface* tool = MakeTool();
  Host host(count + 1);  // a new boot's first text says that there was no crash
  const double before = ProcessorTime();
  const double ours = NanosecondsOfOne(count, [&] {
    Require(tool->Start(0, Host::OnText, &host) == 0, "starting the tool");
    host.WaitForAll();
  });
  const double processor = (ProcessorTime() - before) / static_cast<double>(count);
  Require(tool->Stop() == 0, "stopping the tool");
  tool->Release();

  BareJson bare;
  for (const std::string& text : host.sampled()) {
    if (text.find("\"AnalyzeBSODEvents\"") == std::string::npos) bare.Add(text.c_str());
  }
  std::vector<double> floors;
  std::vector<double> processor_floors;
  for (int turn = 0; turn < 51; ++turn) {
    const double begin = ProcessorTime();
    floors.push_back(NanosecondsOfOne(bare.size(), [&] { Require(bare.BuildAll() == bare.size(), "building"); }));
    processor_floors.push_back((ProcessorTime() - begin) / static_cast<double>(bare.size()));
  }
  const double floor = Median(floors);
  char value[160];
  std::snprintf(value, sizeof(value), "%.2f (%.0f thousand events/s; %.0f ns an event, %.0f ns for the JSON alone)",
                floor / ours, 1e6 / ours, ours, floor);
  PrintFigure("end to end", value, ">= 0.5, aim 0.7",
              "rate from a left-over file to the callback, to the rate of only building and printing the same JSON");
  const double processor_floor = Median(processor_floors);
  std::snprintf(value, sizeof(value), "%.2f (%.0f ns an event, %.0f ns for the JSON alone)",
                processor / processor_floor, processor, processor_floor);
  PrintFigure("end to end, processor time", value, "none",
              "processor time of all threads for an event, to that of only building and printing the same JSON");
}
