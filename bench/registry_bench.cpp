// What a position write costs: RegSetValueExW of 24 bytes with the key held open, beside a bare LMDB change of the same
// bytes with the same flags in a store of its own; once set again and again, which goes through a cell, and once with
// the size changing from write to write, which goes into the store each time. All run in the temporary folder, in
// turns, in one process.
#include <benchmark/benchmark.h>
#include <lmdb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/embedded/registry/lmdb_registry.h"

namespace {

using namespace varnel::embedded;
using namespace varnel::platform;

constexpr int kProviders = 7;
constexpr char16_t kPath[] = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\{?}\\KeyWords";

std::string TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) std::abort();
  return pattern;
}

void Require(bool good) {
  if (!good) std::abort();
}

// A registry as an installation leaves it: the positions of seven providers, the AutoLogger's keys.
class RegistryUnderTest {
 public:
  RegistryUnderTest() : folder_(TemporaryFolder()), registry_(folder_ + "/registry") {
    for (int provider = 0; provider < kProviders; ++provider) {
      std::u16string path = kPath;
      path[path.find(u'?')] = static_cast<char16_t>(u'0' + provider);
      Require(registry_.RegCreateKeyExW(kHkeyLocalMachine, path.c_str(), 0, 0x20006, &key_, nullptr) == 0);
      Write();
    }
  }
  ~RegistryUnderTest() {
    registry_.RegCloseKey(key_);
    std::filesystem::remove_all(folder_);
  }

  void Write() { Write(24); }
  void WriteToStore() { Write(record_[1] % 2 == 0 ? 23 : 24); }

 private:
  void Write(std::uint32_t size) {
    ++record_[1];
    Require(registry_.RegSetValueExW(key_, u"0x0000000000000080", kRegBinary, record_.data(), size) == 0);
  }

  const std::string folder_;
  LmdbRegistry registry_;
  HKEY key_ = nullptr;
  std::array<std::uint64_t, 3> record_{0x80, 0, 0};
};

class BareStore {
 public:
  BareStore() : folder_(TemporaryFolder()) {
    Require(::mdb_env_create(&environment_) == 0);
    Require(::mdb_env_set_maxreaders(environment_, 1024) == 0);
    Require(::mdb_env_set_mapsize(environment_, 16u << 20) == 0);
    Require(::mdb_env_open(environment_, folder_.c_str(), MDB_NOSYNC | MDB_NOTLS, 0666) == 0);
    MDB_txn* change = nullptr;
    Require(::mdb_txn_begin(environment_, nullptr, 0, &change) == 0);
    Require(::mdb_dbi_open(change, nullptr, 0, &table_) == 0);
    Require(::mdb_txn_commit(change) == 0);
    Write();
  }
  ~BareStore() {
    ::mdb_env_close(environment_);
    std::filesystem::remove_all(folder_);
  }

  void Write() {
    ++record_[1];
    MDB_txn* change = nullptr;
    MDB_val key{8, record_.data()};
    MDB_val data{24, record_.data()};
    Require(::mdb_txn_begin(environment_, nullptr, 0, &change) == 0);
    Require(::mdb_put(change, table_, &key, &data, 0) == 0);
    Require(::mdb_txn_commit(change) == 0);
  }

 private:
  const std::string folder_;
  MDB_env* environment_ = nullptr;
  MDB_dbi table_ = 0;
  std::array<std::uint64_t, 3> record_{0x80, 0, 0};
};

template <typename Work>
double NanosecondsOfOne(int count, const Work& work) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < count; ++i) work();
  return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - begin).count() / count;
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

void PositionWrite(benchmark::State& state) {
  RegistryUnderTest registry;
  for (auto _ : state) registry.Write();
}
BENCHMARK(PositionWrite);

void BareWrite(benchmark::State& state) {
  BareStore store;
  for (auto _ : state) store.Write();
}
BENCHMARK(BareWrite);

// In turns, so that whatever else the machine does falls on both alike.
void PrintRatio() {
  constexpr int kRounds = 41;
  constexpr int kWrites = 2000;
  RegistryUnderTest registry;
  BareStore bare;
  std::vector<double> cell;
  std::vector<double> store;
  std::vector<double> floor;
  for (int round = 0; round < kRounds; ++round) {
    floor.push_back(NanosecondsOfOne(kWrites, [&] { bare.Write(); }));
    cell.push_back(NanosecondsOfOne(kWrites, [&] { registry.Write(); }));
    store.push_back(NanosecondsOfOne(kWrites, [&] { registry.WriteToStore(); }));
  }
  const double b = Median(floor);
  std::printf("a position write takes %.0f ns, one into the store %.0f ns, a bare begin, put and commit %.0f ns\n",
              Median(cell), Median(store), b);
  std::printf("ratio|position write|%.3f|at most 2|RegSetValueExW of 24 bytes to a bare LMDB begin, put and commit\n",
              Median(cell) / b);
  std::printf("ratio|write into the store|%.2f|at most 2|RegSetValueExW that no cell takes, to the same\n",
              Median(store) / b);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  PrintRatio();
  return 0;
}
