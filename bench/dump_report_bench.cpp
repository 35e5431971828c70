// From a crash dump to its report, on a machine folder, as the module does it without symbols: the dump's identity, the
// engine, the facts, the text. Three figures:
//   a small dump, beside the floor that reads the file once, takes the identity's MD5 and prints the same report;
//   a complete dump of 64 GiB of memory, nearly all of it a hole in the file, beside one of 64 MiB;
//   a module of a list of 5,000, beside one of a list of 500.
// Arguments: small dumps to measure as well. All files stand in the page cache. What is compared runs in turns.
#include <cJSON.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "analyzer/dump_identity.h"
#include "analyzer/dump_report.h"
#include "bench_figures.h"
#include "bench_machine.h"
#include "platform/embedded/crashdump/crash_dump.h"
#include "platform/embedded/crypto/md5.h"

namespace {

using namespace varnel;
using bench::BenchMachine;
using bench::Require;

constexpr int kTurns = 21;
constexpr std::size_t kBlock = 65'536;  // of an identity: the file's first and its last
constexpr std::uint32_t kUsualModules = 200;

void WriteDump(const std::string& path, embedded::CrashDumpForm form, std::uint64_t memory, std::uint32_t modules) {
  embedded::CrashedMachineOptions crash;
  crash.memory_size = memory;
  crash.more_modules = modules;
  crash.system_time = 134'000'000'000'000'000;
  crash.up_time = 36'000'000'000;
  const embedded::CrashedMachine machine(crash);
  embedded::FileSink sink(path);
  embedded::DumpOptions options;
  options.form = form;
  Require(embedded::WriteCrashDump(machine, options, &sink).ok(), "a dump");
}

/// Makes the whole of it: without its modules it would be no report to measure.
std::string Report(const std::string& name) {
  const std::u16string path = BenchMachine::WindowsPath(name);
  std::u16string identity;
  std::string report;
  Require(CalcDumpIdentity(path, &identity) == 0, "CalcDumpIdentity");
  Require(AnalyzeDumpNoSymbol(path, &report, 1) == 0, "AnalyzeDumpNoSymbol");
  Require(report.find("\"loaded_modules\"") != std::string::npos, "the modules of the report");
  return report;
}

double NanosecondsOfReport(const std::string& name) {
  return bench::NanosecondsOfOne(1, [&] { Report(name); });
}

/// The least that a report of this file could cost.
class Floor {
 public:
  Floor(std::string path, const std::string& report) : path_(std::move(path)), tree_(cJSON_Parse(report.c_str())) {
    Require(tree_ != nullptr, "parsing the report");
  }
  ~Floor() { cJSON_Delete(tree_); }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  void Run() {
    const int file = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    bytes_.resize(std::filesystem::file_size(path_));
    Require(::pread(file, bytes_.data(), bytes_.size(), 0) == static_cast<ssize_t>(bytes_.size()), "pread");
    ::close(file);
    const std::size_t block = std::min(kBlock, bytes_.size());
    embedded::Md5 hash;
    hash.Update(std::span(bytes_).first(block));
    hash.Update(std::span(bytes_).last(block));
    Require(hash.Value() != embedded::Md5::Digest{}, "MD5");
    char* text = cJSON_PrintUnformatted(tree_);
    Require(text != nullptr, "printing");
    cJSON_free(text);
  }

 private:
  const std::string path_;
  cJSON* const tree_;
  std::vector<std::uint8_t> bytes_;
};

std::string Text(const char* format, double value) {
  char text[64];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

void SmallDump(const BenchMachine& machine, const std::string& name, const std::string& what) {
  const std::string report = Report(name);
  Floor floor(machine.HostPath(name), report);
  const auto turns = bench::TakeTurns(
      kTurns, [&] { return NanosecondsOfReport(name); },
      [&] { return bench::NanosecondsOfOne(1, [&] { floor.Run(); }); });
  const std::string size = std::to_string(std::filesystem::file_size(machine.HostPath(name)) / 1024) + " KiB";
  const std::string meaning = "a small dump (" + what + ", " + size + ") to its report, " +
                              Text("%.2f times its floor of ", turns.ratio) + Text("%.2f ms", turns.floor / 1e6);
  bench::PrintFigure("dump_small", Text("%.2f ms", turns.ours / 1e6), "less than 50 ms", meaning.c_str());
}

/// Bytes of memory of the process's own, at their highest since the last call of ForgetPeak.
std::uint64_t PeakKib() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmHWM:", 0) == 0) return std::strtoull(line.c_str() + 6, nullptr, 10);
  }
  Require(false, "VmHWM");
  return 0;
}
void ForgetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

double PeakMib(const std::string& name) {
  ForgetPeak();
  Report(name);
  return static_cast<double>(PeakKib()) / 1024;
}

void LargeDump(const BenchMachine& machine) {
  WriteDump(machine.HostPath("64m.dmp"), embedded::CrashDumpForm::kComplete, std::uint64_t{64} << 20, kUsualModules);
  WriteDump(machine.HostPath("64g.dmp"), embedded::CrashDumpForm::kComplete, std::uint64_t{64} << 30, kUsualModules);
  Require(std::filesystem::file_size(machine.HostPath("64g.dmp")) > std::uint64_t{64} << 30, "the size of 64 GiB");
  Report("64g.dmp");  // what the heap keeps is no part of the figure
  const double small = PeakMib("64m.dmp");
  const double large = PeakMib("64g.dmp");
  const auto turns = bench::TakeTurns(
      kTurns, [] { return NanosecondsOfReport("64g.dmp"); }, [] { return NanosecondsOfReport("64m.dmp"); });
  const std::string meaning =
      "a complete dump of 64 GiB to its report, to one of 64 MiB: " + Text("%.2f ms", turns.ours / 1e6) +
      Text(" to %.2f ms", turns.floor / 1e6);
  bench::PrintFigure("dump_complete", Text("%.2f", turns.ratio), "at most 2", meaning.c_str());
  const std::string memory =
      "the process's highest memory while it reports that dump (its bitmap has 2 MiB), to that of the smaller: " +
      Text("%.1f MiB", large) + Text(" to %.1f MiB", small);
  bench::PrintFigure("dump_complete_memory", Text("%.2f", large / small), "flat", memory.c_str());
}

void ManyModules(const BenchMachine& machine) {
  constexpr std::uint32_t kFew = 500;
  constexpr std::uint32_t kMany = 5000;
  const std::uint64_t memory = std::uint64_t{64} << 20;
  WriteDump(machine.HostPath("few.dmp"), embedded::CrashDumpForm::kKernel, memory, kFew);
  WriteDump(machine.HostPath("many.dmp"), embedded::CrashDumpForm::kKernel, memory, kMany);
  const auto turns = bench::TakeTurns(
      kTurns, [] { return NanosecondsOfReport("many.dmp") / kMany; },
      [] { return NanosecondsOfReport("few.dmp") / kFew; });
  const std::string meaning =
      "a module of 5,000 in a kernel dump's report, to one of 500: " + Text("%.2f us", turns.ours / 1e3) +
      Text(" to %.2f us", turns.floor / 1e3);
  bench::PrintFigure("dump_modules", Text("%.2f", turns.ratio), "-", meaning.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  const BenchMachine machine;
  WriteDump(machine.HostPath("small.dmp"), embedded::CrashDumpForm::kSmall, std::uint64_t{64} << 20, kUsualModules);
  SmallDump(machine, "small.dmp", "of our own writer");
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path file = argv[i];
    const std::string name = "given" + std::to_string(i) + ".dmp";
    std::filesystem::copy_file(file, machine.HostPath(name));
    SmallDump(machine, name, file.filename().string());
  }
  LargeDump(machine);
  ManyModules(machine);
  return 0;
}
