// Reading trace files without decoding, on one core, from memory:
//   merge8    a million events of eight processors whose stamps interleave one by one, merged in time order
//   runs8     the same in runs, as processors that take turns leave them
//   packed    the merged file with its buffers packed, about four to one as files of Windows are
// Floors, measured in turns in the same run: a plain copy of the file's bytes, and nothing but unpacking the same
// buffers.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "formats/etl_reader.h"
#include "formats/etl_writer.h"
#include "platform/unpack.h"

namespace {

using namespace varnel;           // NOLINT: a program of one file
using namespace varnel::formats;  // NOLINT

constexpr int kEvents = 1'000'000;
constexpr int kProcessors = 8;
constexpr std::int64_t kStart = 132'500'000'000'000'000;

using Bytes = std::vector<std::byte>;

void Require(bool good) {
  if (!good) std::abort();
}

/// The payload of an event as our providers write it: counter, flags, function, line, status, text. The text is as
/// little alike from event to event as makes the packed file about a quarter of the plain one.
Bytes Payload(std::uint32_t counter) {
  Bytes bytes(64);
  std::memcpy(bytes.data(), &counter, sizeof(counter));
  std::snprintf(reinterpret_cast<char*>(bytes.data()) + 8, 24, "CollectorThreadBody");
  const unsigned long long mixed = (counter + 1) * 0x9E3779B97F4A7C15ULL;
  std::snprintf(reinterpret_cast<char*>(bytes.data()) + 36, 28, "%016llx %u", mixed ^ mixed >> 31, counter);
  return bytes;
}

/// `run`: how many events a processor writes before it is another's turn.
Bytes ComposeFile(int run) {
  EtlLogHeader header = EtlFileWriter::DefaultHeader(kStart);
  header.processors = kProcessors;
  Bytes file;
  auto writer = EtlFileWriter::Create(header, [&file](std::uint64_t offset, std::span<const std::byte> bytes) {
    if (file.size() < offset + bytes.size()) file.resize(offset + bytes.size());
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
    return true;
  });
  Require(writer.ok());
  EtlEventFields fields;
  fields.provider = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
  fields.id = 1;
  fields.keyword = 0x81;
  for (int i = 0; i < kEvents; ++i) {
    fields.stamp = writer.value()->StampAt(kStart + i);
    const auto processor = static_cast<std::uint16_t>(i / run % kProcessors);
    Require(writer.value()->Write(processor, fields, Payload(static_cast<std::uint32_t>(i))));
  }
  Require(writer.value()->Close(kStart + kEvents));
  return file;
}

/// A plain XPRESS packer: the newest place with the same three bytes, as long a match as there is.
class XpressPacker {
 public:
  Bytes Pack(std::span<const std::byte> in) {
    out_.clear();
    places_.clear();
    flag_count_ = 32;
    nibble_at_ = 0;
    for (std::size_t at = 0; at < in.size();) {
      const auto [distance, length] = Match(in, at);
      if (length < 3) {
        Flag(false);
        out_.push_back(in[at]);
        Remember(in, at++);
        continue;
      }
      Flag(true);
      PutMatch(distance, length);
      for (std::size_t i = 0; i < length; ++i) Remember(in, at++);
    }
    out_.resize(out_.size() + 4);  // room behind the last word of flags
    return out_;
  }

 private:
  static std::uint32_t Three(std::span<const std::byte> in, std::size_t at) {
    std::uint32_t key = 0;
    std::memcpy(&key, in.data() + at, 3);
    return key;
  }
  void Remember(std::span<const std::byte> in, std::size_t at) {
    if (in.size() - at >= 3) places_[Three(in, at)] = at;
  }
  std::pair<std::size_t, std::size_t> Match(std::span<const std::byte> in, std::size_t at) const {
    constexpr std::size_t kFarthest = 8192;
    if (in.size() - at < 3) return {0, 0};
    const auto found = places_.find(Three(in, at));
    if (found == places_.end() || at - found->second > kFarthest) return {0, 0};
    std::size_t length = 0;
    while (at + length < in.size() && in[found->second + length] == in[at + length]) ++length;
    return {at - found->second, length};
  }
  void Flag(bool match) {
    if (flag_count_ == 32) {
      flags_at_ = out_.size();
      out_.resize(out_.size() + 4);
      flag_count_ = 0;
    }
    std::uint32_t flags = 0;
    std::memcpy(&flags, out_.data() + flags_at_, 4);
    if (match) flags |= 0x80000000u >> flag_count_;
    std::memcpy(out_.data() + flags_at_, &flags, 4);
    ++flag_count_;
  }
  void Put16(std::size_t value) {
    out_.push_back(std::byte(value & 0xFF));
    out_.push_back(std::byte(value >> 8 & 0xFF));
  }
  /// Lengths grow from three bits over a shared half byte and a byte to 16 bits.
  void PutMatch(std::size_t distance, std::size_t match_length) {
    const std::size_t length = match_length - 3;
    Put16((distance - 1) << 3 | std::min<std::size_t>(length, 7));
    if (length < 7) return;
    const auto half = std::byte(std::min<std::size_t>(length - 7, 15));
    if (nibble_at_ == 0) {
      nibble_at_ = out_.size();
      out_.push_back(half);
    } else {
      out_[nibble_at_] |= half << 4;
      nibble_at_ = 0;
    }
    if (length < 7 + 15) return;
    out_.push_back(std::byte(std::min<std::size_t>(length - 7 - 15, 255)));
    if (length >= 7 + 15 + 255) Put16(length);
  }

  Bytes out_;
  std::unordered_map<std::uint32_t, std::size_t> places_;
  std::size_t flags_at_ = 0;
  unsigned flag_count_ = 32;
  std::size_t nibble_at_ = 0;
};

template <typename T>
T At(const Bytes& bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof(value));
  return value;
}

Bytes PackFile(const Bytes& plain) {
  const auto size = At<std::uint32_t>(plain, 0);
  Bytes file(plain.begin(), plain.begin() + size);
  const std::uint32_t mode = 0x04000000;
  std::memcpy(file.data() + 72 + 32 + 32, &mode, sizeof(mode));
  XpressPacker packer;
  for (std::size_t at = size; at < plain.size(); at += size) {
    const auto end = At<std::uint32_t>(plain, at + 0x30);
    const Bytes body = packer.Pack(std::span(plain).subspan(at + 72, end - 72));
    const std::size_t start = file.size();
    file.insert(file.end(), plain.begin() + static_cast<std::ptrdiff_t>(at),
                plain.begin() + static_cast<std::ptrdiff_t>(at + 72));
    file.insert(file.end(), body.begin(), body.end());
    const auto packed_size = static_cast<std::uint32_t>(72 + body.size());
    std::memcpy(file.data() + start, &packed_size, sizeof(packed_size));
    file[start + 0x34] |= std::byte{0x40};
  }
  return file;
}

void ReadAll(const Bytes& file) {
  EtlMemorySource source(file);
  EtlReadOptions options;
  options.unpack = platform::Unpack;
  auto reader = EtlReader::Open(source, std::move(options));
  Require(reader.ok());
  std::int64_t last = 0;
  int events = 0;
  while (const EtlEventView* event = reader.value()->Next()) {
    Require(event->file_time >= last);
    last = event->file_time;
    ++events;
  }
  Require(events == kEvents + 1 && reader.value()->account().skipped_bytes == 0);
}

void CopyAll(const Bytes& file) {
  static Bytes copy;
  copy.resize(file.size());
  std::memcpy(copy.data(), file.data(), file.size());
  benchmark::DoNotOptimize(copy.data());
  benchmark::ClobberMemory();
}

void UnpackAll(const Bytes& file) {
  static Bytes room(1 << 20);
  for (std::size_t at = At<std::uint32_t>(file, 0); at < file.size();) {
    const auto size = At<std::uint32_t>(file, at);
    const std::size_t wanted = At<std::uint32_t>(file, at + 0x30) - 72;
    Require(platform::Unpack(kEtlPackingXpress, std::span(file).subspan(at + 72, size - 72),
                             std::span(room).first(wanted)));
    at += size;
  }
}

/// Of the processor's time, so that other programs of the machine don't count.
double Milliseconds(void (*work)(const Bytes&), const Bytes& file) {
  const std::clock_t begin = std::clock();
  work(file);
  return static_cast<double>(std::clock() - begin) * 1000 / CLOCKS_PER_SEC;
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

/// In turns, so that whatever else the machine does falls on both alike.
std::pair<double, double> Measure(void (*work)(const Bytes&), void (*floor)(const Bytes&), const Bytes& file) {
  constexpr int kRounds = 15;
  std::vector<double> ours, bare;
  for (int round = 0; round < kRounds; ++round) {
    bare.push_back(Milliseconds(floor, file));
    ours.push_back(Milliseconds(work, file));
  }
  return {Median(ours), Median(bare)};
}

void PrintMerge(const char* name, const Bytes& file) {
  const auto [ours, copy] = Measure(ReadAll, CopyAll, file);
  std::printf("ratio|%s|%.1f million events/s (%.1f times the time of a copy)|at least 10 million/s|%s\n", name,
              kEvents / ours / 1000, ours / copy,
              "one core, 144 bytes an event, eight processors; the floor is a memcpy of the file");
}

void PrintPacked(const Bytes& file) {
  const auto [ours, bare] = Measure(ReadAll, UnpackAll, file);
  std::printf("ratio|read a packed trace file|%.2f of the rate of unpacking alone|at least 0.8|%s\n", bare / ours,
              "events merged and read; the floor unpacks each buffer and does nothing else");
  std::printf("unpacking alone takes %.1f ms, reading %.1f ms, for %.1f MB\n", bare, ours,
              static_cast<double>(file.size()) / 1e6);
}

}  // namespace

int main(int argc, char** argv) {
  static const Bytes merged = ComposeFile(1);
  static const Bytes runs = ComposeFile(50);
  static const Bytes packed = PackFile(merged);
  const auto add = [](const char* name, void (*work)(const Bytes&), const Bytes& file) {
    benchmark::RegisterBenchmark(name, [work, &file](benchmark::State& state) {
      for (auto _ : state) work(file);
      state.SetItemsProcessed(state.iterations() * kEvents);
      state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(file.size()));
    });
  };
  add("merge8", ReadAll, merged);
  add("runs8", ReadAll, runs);
  add("copy_floor", CopyAll, merged);
  add("packed", ReadAll, packed);
  add("unpack_floor", UnpackAll, packed);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  PrintMerge("read a trace file, processors one by one", merged);
  PrintMerge("read a trace file, processors in turns of 50", runs);
  PrintPacked(packed);
  return 0;
}
