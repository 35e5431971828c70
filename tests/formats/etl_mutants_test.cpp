// Two hundred mutants of each trace file that Windows wrote: bytes changed, cut, swapped, repeated. Whatever comes of
// it, the reader ends, stays small, and accounts for every byte. The seeds are fixed, so that a failure comes again.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "formats/etl_reader.h"
#include "platform/unpack.h"
#include "tests/support/replaced_heap.h"

namespace varnel::formats {
namespace {

constexpr int kMutants = 200;
constexpr std::size_t kBufferHeader = 72;

using Bytes = std::vector<std::byte>;
using Random = std::mt19937_64;

Bytes ReadAll(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  Bytes bytes(text.size());
  if (!text.empty()) std::memcpy(bytes.data(), text.data(), text.size());
  return bytes;
}

std::size_t Below(Random& random, std::size_t bound) {
  return bound == 0 ? 0 : static_cast<std::size_t>(random() % bound);
}

/// Where the buffers of the whole file begin; half of all damage is done near there, since it does the most harm.
class Mutator {
 public:
  explicit Mutator(const Bytes& original) : original_(original) {
    for (std::size_t at = 0; original.size() - at >= kBufferHeader;) {
      starts_.push_back(at);
      std::uint32_t size = 0;
      std::memcpy(&size, original.data() + at, sizeof(size));
      if (size < kBufferHeader || size > original.size() - at) break;
      at += size;
    }
  }

  Bytes Make(int number) const {
    Random random(0x5EED0000u + static_cast<unsigned>(number));
    Bytes bytes = original_;
    switch (number % 5) {
      case 0:
        ChangeBytes(random, &bytes);
        break;
      case 1:
        ChangeNumbers(random, &bytes);
        break;
      case 2:
        bytes.resize(number % 2 == 0 ? Place(random) : Below(random, bytes.size()));
        break;
      case 3:
        Swap(random, &bytes);
        break;
      default:
        Repeat(random, &bytes);
        break;
    }
    return bytes;
  }

 private:
  std::size_t Place(Random& random) const {
    if (random() % 2 == 0) return Below(random, original_.size());
    const std::size_t start = starts_[Below(random, starts_.size())];
    return std::min(start + Below(random, 2 * kBufferHeader), original_.size() - 1);
  }

  void ChangeBytes(Random& random, Bytes* bytes) const {
    for (std::size_t i = Below(random, 32) + 1; i > 0; --i) (*bytes)[Place(random)] = std::byte(random() & 0xFF);
  }

  void ChangeNumbers(Random& random, Bytes* bytes) const {
    constexpr std::uint32_t kNumbers[] = {0,      1,      7,       8,          71,         72,        73,
                                          0x7FFF, 0xFFFF, 0x10000, 0x7FFFFFFF, 0xFFFFFFF8, 0xFFFFFFFF};
    for (std::size_t i = Below(random, 8) + 1; i > 0; --i) {
      const std::uint32_t number = kNumbers[Below(random, std::size(kNumbers))];
      const std::size_t at = Place(random) / 4 * 4;
      if (bytes->size() - at >= sizeof(number)) std::memcpy(bytes->data() + at, &number, sizeof(number));
    }
  }

  void Swap(Random& random, Bytes* bytes) const {
    const std::size_t size = Below(random, std::min<std::size_t>(bytes->size() / 2, 0x20000)) + 1;
    const std::size_t a = std::min(Place(random), bytes->size() - size);
    const std::size_t b = std::min(Place(random), bytes->size() - size);
    if (std::max(a, b) - std::min(a, b) < size) return ChangeBytes(random, bytes);
    const auto at = [bytes](std::size_t i) { return bytes->begin() + static_cast<std::ptrdiff_t>(i); };
    std::swap_ranges(at(a), at(a + size), at(b));
  }

  void Repeat(Random& random, Bytes* bytes) const {
    const std::size_t from = Place(random);
    const std::size_t size = Below(random, std::min<std::size_t>(bytes->size() - from, 0x20000)) + 1;
    const Bytes part(bytes->begin() + static_cast<std::ptrdiff_t>(from),
                     bytes->begin() + static_cast<std::ptrdiff_t>(std::min(from + size, bytes->size())));
    bytes->insert(bytes->begin() + static_cast<std::ptrdiff_t>(Place(random)), part.begin(), part.end());
  }

  const Bytes& original_;
  std::vector<std::size_t> starts_;
};

/// Gives copies only, as a file does, so that the reader's own buffers count.
class CopyingSource final : public EtlSource {
 public:
  explicit CopyingSource(const Bytes& bytes) : inner_(bytes) {}
  std::uint64_t Size() override { return inner_.Size(); }
  bool Read(std::uint64_t offset, std::span<std::byte> into) override { return inner_.Read(offset, into); }

 private:
  EtlMemorySource inner_;
};

void Drain(EtlSource& source, const Bytes& bytes) {
  EtlReadOptions options;
  options.unpack = platform::Unpack;
  auto opened = EtlReader::Open(source, std::move(options));
  if (!opened.ok()) {
    EXPECT_FALSE(opened.error().message.empty());
    EXPECT_LE(opened.error().offset, bytes.size());
    return;
  }
  EtlReader& reader = *opened.value();
  std::uint64_t events = 0;
  std::size_t touched = 0;
  while (const EtlEventView* event = reader.Next()) {
    ++events;
    if (!event->payload.empty()) touched += std::to_integer<std::size_t>(event->payload.back());
    EtlItemWalk walk(event->extended);
    EtlItemView item;
    while (walk.Next(&item)) touched += item.data.size();
  }
  EXPECT_GE(touched, 0u);
  const EtlAccount& account = reader.account();
  EXPECT_EQ(account.events, events);
  EXPECT_EQ(account.file_size, bytes.size());
  EXPECT_EQ(account.header_bytes + account.event_bytes + account.filler_bytes + account.skipped_bytes, bytes.size());
}

class EtlMutants : public ::testing::TestWithParam<const char*> {};

TEST_P(EtlMutants, EndStaySmallAndAccountForEveryByte) {
  const Bytes original = ReadAll(std::filesystem::path(VARNEL_SAMPLES_DIR) / "etl" / GetParam());
  if (original.empty()) GTEST_SKIP() << "the sample files are not there";
  const Mutator mutator(original);
  for (int i = 0; i < kMutants; ++i) {
    SCOPED_TRACE("mutant " + std::to_string(i));
    const Bytes mutant = mutator.Make(i);
    const testing::HeapPeak peak;
    if (i % 2 == 0) {
      CopyingSource source(mutant);
      Drain(source, mutant);
    } else {
      EtlMemorySource source(mutant);
      Drain(source, mutant);
    }
    EXPECT_LE(peak.bytes(), 3 * mutant.size() + 1024 * 1024);
    if (HasFailure()) return;
  }
}

std::string NameOf(const ::testing::TestParamInfo<const char*>& info) {
  std::string name = info.param;
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
  return name;
}
INSTANTIATE_TEST_SUITE_P(Windows, EtlMutants,
                         ::testing::Values("AMSITrace.etl", "BasicPerfCounters.blg", "BondEtwSample.etl",
                                           "HTTP_Server.etl", "KernelNetwork.etl", "Panther_setup_17763.etl",
                                           "SelfDescribingSingleEvent.etl", "ShutdownPerfDiagLogger.etl",
                                           "diaghub.kernel.1.etl", "diaghub.user_injected.1.etl", "gcevents.etl",
                                           "hw3d_trace.etl", "iis.etl", "image_data_32_v0.etl", "image_data_64_v2.etl",
                                           "kernel_process_example.etl", "live_LwtNetLog.etl", "live_Wifi.etl",
                                           "mytrace.etl", "net.4.5.2.x86.etl", "powershell.etl", "primitive-types.etl",
                                           "process_data_32_v3.etl", "process_data_64_v2.etl", "pyetw_out.etl",
                                           "yhan_trace1.etl"),
                         NameOf);

}  // namespace
}  // namespace varnel::formats
