// A scan of a folder of 10,000 dumps of which 9,990 are recorded, on a machine folder: how often and how much it reads
// of each dump, and what it takes beside its floor, which opens the same files, reads the same two blocks of each and
// takes their MD5 with nothing else around. All files stand in the page cache. Scan and floor run in turns.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "analyzer/crash_dump_config_manager.h"
#include "analyzer/dump_identity.h"
#include "bench_figures.h"
#include "bench_machine.h"
#include "platform/embedded/crypto/md5.h"

namespace {

using namespace varnel;
using bench::Require;

constexpr unsigned kDumps = 10'000;
constexpr unsigned kFresh = 10;
constexpr std::uint64_t kDumpSize = 262'144;  // a small dump's; all but its first bytes are a hole
constexpr std::size_t kBlock = 65'536;
constexpr int kTurns = 3;

const std::u16string kProduct = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kMarker = u"analyzed_dumps_nosym.dat";

/// Counts what is read through the port.
class CountingFiles : public embedded::EmbeddedFiles {
 public:
  using EmbeddedFiles::EmbeddedFiles;

  bool ReadFile(platform::HANDLE file, void* buffer, std::uint32_t size, std::uint32_t* read,
                platform::OVERLAPPED* overlapped) override {
    const bool good = EmbeddedFiles::ReadFile(file, buffer, size, read, overlapped);
    ++calls;
    bytes += *read;
    return good;
  }

  std::uint64_t calls = 0;
  std::uint64_t bytes = 0;
};

void Scan() {
  std::vector<std::u16string> fresh;
  Require(CrashDumpConfigManager().GetUnanalyzedDumpsNoSymbol(kProduct, kMarker, &fresh) == 0, "the scan");
  Require(fresh.size() == kFresh, "ten dumps that are not recorded");
}

/// Its folder of dumps, and the marker that records them.
class ScannedMachine {
 public:
  ScannedMachine() {
    WriteDumps();
    Record();
  }

  const std::vector<std::string>& host_files() const { return host_files_; }
  /// A scan's reads and their bytes.
  std::pair<std::uint64_t, std::uint64_t> CountedScan() {
    embedded::Environment environment;
    CountingFiles files(machine_.platform().machine(), &environment);
    platform::Platform counted = machine_.platform().record();
    counted.files = &files;
    const platform::ScopedPlatform in_force(&counted);
    Scan();
    return {files.calls, files.bytes};
  }

 private:
  void WriteDumps() {
    Require(CrashDumpConfigManager().SetCrashDumpEnabled(3) == 0, "SetCrashDumpEnabled");
    for (unsigned i = 0; i < kDumps; ++i) {
      host_files_.push_back(machine_.HostPath(std::to_string(100'000 + i) + ".dmp"));
      const int file = ::open(host_files_.back().c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666);
      Require(file >= 0 && ::write(file, &i, sizeof i) == sizeof i, "a dump");
      Require(::ftruncate(file, static_cast<off_t>(kDumpSize)) == 0, "a dump's size");
      ::close(file);
    }
  }
  void Record() {
    CrashDumpConfigManager manager;
    std::vector<std::u16string> dumps;
    Require(manager.ListDumpFiles(u"C:\\Windows\\Minidump", &dumps) == 0 && dumps.size() == kDumps, "ListDumpFiles");
    std::vector<std::u16string> identities;
    for (std::size_t i = kFresh; i < dumps.size(); ++i) {
      Require(CalcDumpIdentity(dumps[i], &identities.emplace_back()) == 0, "CalcDumpIdentity");
    }
    Require(manager.WriteMarkerFile(kProduct, kMarker, identities) == 0, "WriteMarkerFile");
  }

  const bench::BenchMachine machine_;
  std::vector<std::string> host_files_;
};

void BareReads(const std::vector<std::string>& files) {
  std::vector<std::uint8_t> block(kBlock);
  for (const std::string& path : files) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    embedded::Md5 hash;
    for (const std::uint64_t at : {std::uint64_t{0}, kDumpSize - kBlock}) {
      Require(::pread(file, block.data(), kBlock, static_cast<off_t>(at)) == static_cast<ssize_t>(kBlock), "pread");
      hash.Update(block);
    }
    Require(hash.Value() != embedded::Md5::Digest{}, "MD5");
    ::close(file);
  }
}

std::string Decimal(double value, const char* unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.2f%s", value, unit);
  return text;
}

}  // namespace

int main() {
  ScannedMachine machine;
  const auto [calls, bytes] = machine.CountedScan();
  const double reads = static_cast<double>(calls) / kDumps;
  const double kib = static_cast<double>(bytes) / 1024 / kDumps;
  bench::PrintFigure("dump_scan_reads", Decimal(reads, ""), "2",
                     "reads for each dump of a scan of 10,000, the marker's one among them");
  bench::PrintFigure("dump_scan_kib", Decimal(kib, " KiB"), "128 KiB",
                     "read for each dump of 256 KiB in that scan, the marker's bytes among them");
  const auto turns = bench::TakeTurns(
      kTurns, [&] { return bench::NanosecondsOfOne(kDumps, [] { Scan(); }); },
      [&] { return bench::NanosecondsOfOne(kDumps, [&] { BareReads(machine.host_files()); }); });
  const std::string meaning =
      "a scan of 10,000 dumps, 9,990 recorded, to its bare reads and MD5: " + Decimal(turns.ours / 1000, " us") +
      " a dump to " + Decimal(turns.floor / 1000, " us");
  bench::PrintFigure("dump_scan", Decimal(turns.ratio, ""), "-", meaning.c_str());
  return 0;
}
