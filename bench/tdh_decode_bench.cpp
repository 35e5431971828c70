// What decoding an event to its properties costs, as the module does it: the information twice (size, then content),
// then size and value of each property. Beside it the floor, which knows the layout by heart and only copies each
// value. The records stand in memory; their payloads differ from one to the next.
//
//   tdh_ansi / tdh_wide / tdh_binary   one kind of event each, the three templates of our manifests
//   tdh_mixed                          the three in turns, of two providers
//   tdh_describing                     events that bring their own layout
//   load_manifest                      reading and compiling one of our manifests
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "formats/guid_text.h"
#include "manifest_text.h"
#include "payload_builder.h"
#include "platform/embedded/tdh/embedded_tdh.h"
#include "tracelogging_builder.h"

namespace {

using namespace varnel;
using namespace varnel::embedded;
using namespace varnel::platform;
using varnel::testing::PayloadBuilder;

constexpr std::size_t kRecords = 4096;
constexpr std::uint32_t kWhole = 0xFFFFFFFF;
constexpr const char* kFirstGuid = "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}";
constexpr const char* kSecondGuid = "{4A234950-2B7D-4221-BADF-12593BD342A8}";

void Require(bool good) {
  if (!good) std::abort();
}

std::vector<std::byte> PayloadOf(std::uint16_t id, std::uint32_t counter) {
  PayloadBuilder builder;
  builder.U32(counter).U32(1).Text("RedirectUsbDevice" + std::string(counter % 5, 'x')).U32(counter % 3000).U32(0);
  if (id == 1) builder.Text("device " + std::to_string(counter) + " was attached to port 4");
  if (id == 2) builder.Wide(u"device was attached to port 4 of the hub" + std::u16string(counter % 7, u'!'));
  if (id == 3) builder.U32(32).Fill(32, static_cast<std::uint8_t>(counter));
  return builder;
}

/// Records with their payloads, one behind the other as in a buffer of a trace.
class Events {
 public:
  explicit Events(std::span<const std::uint16_t> ids, bool describing = false) {
    const GUID providers[] = {*formats::ParseGuid(kFirstGuid), *formats::ParseGuid(kSecondGuid)};
    schema_ = varnel::testing::TraceLoggingBuilder("Message")
                  .Field("Counter", 8)
                  .Field("Flags", 8)
                  .Field("Function", 2)
                  .Field("CodeLine", 8)
                  .Field("status", 8)
                  .Field("AdditionalMsgAnsi", 2)
                  .Build();
    item_ = {0, kExtTypeEventSchemaTl, 0, static_cast<std::uint16_t>(schema_.size()),
             reinterpret_cast<std::uintptr_t>(schema_.data())};
    for (std::size_t i = 0; i < kRecords; ++i) {
      const std::uint16_t id = ids[i % ids.size()];
      payloads_.push_back(PayloadOf(id, static_cast<std::uint32_t>(i)));
      EVENT_RECORD record{};
      record.EventHeader.Flags = kEventHeaderFlag64BitHeader;
      record.EventHeader.ProviderId = providers[ids.size() > 1 ? i / 3 % 2 : 0];
      record.EventHeader.EventDescriptor.Id = describing ? 0 : id;
      if (describing) record.ExtendedDataCount = 1;
      record.ExtendedData = describing ? &item_ : nullptr;
      record.UserData = payloads_.back().data();
      record.UserDataLength = static_cast<std::uint16_t>(payloads_.back().size());
      records_.push_back(record);
    }
  }

  const std::vector<EVENT_RECORD>& records() const { return records_; }

 private:
  std::vector<std::byte> schema_;
  EVENT_HEADER_EXTENDED_DATA_ITEM item_{};
  std::vector<std::vector<std::byte>> payloads_;
  std::vector<EVENT_RECORD> records_;
};

/// The helper with two of our manifests, and a caller's buffers.
class Decoder {
 public:
  Decoder()
      : tdh_([](const char16_t* path, std::vector<std::byte>* bytes) -> std::uint32_t {
          *bytes = varnel::testing::ToBytes(path[0] == u'1' ? varnel::testing::WardletManifest("First", kFirstGuid)
                                                            : varnel::testing::WardletManifest("Second", kSecondGuid));
          return 0;
        }) {
    Require(Load() == 0 && tdh_.TdhLoadManifest(u"2.xml") == 0);
  }

  std::uint32_t Load() { return tdh_.TdhLoadManifest(u"1.xml"); }

  void Decode(const EVENT_RECORD& event) {
    std::uint32_t size = 0;
    Require(tdh_.TdhGetEventInformation(&event, nullptr, &size) == kErrorInsufficientBuffer);
    if (info_.size() * 8 < size) info_.resize(size / 8 + 1);
    auto* info = reinterpret_cast<TRACE_EVENT_INFO*>(info_.data());
    Require(tdh_.TdhGetEventInformation(&event, info, &size) == 0);
    for (std::uint32_t i = 0; i < info->TopLevelPropertyCount; ++i) {
      const auto* base = reinterpret_cast<const std::byte*>(info);
      const PROPERTY_DATA_DESCRIPTOR descriptor{
          reinterpret_cast<std::uintptr_t>(base + info->EventPropertyInfoArray[i].NameOffset), kWhole, 0};
      std::uint32_t value_size = 0;
      Require(tdh_.TdhGetPropertySize(&event, 1, &descriptor, &value_size) == 0);
      if (value_.size() < value_size) value_.resize(value_size);
      Require(tdh_.TdhGetProperty(&event, 1, &descriptor, value_size, value_.data()) == 0);
      benchmark::DoNotOptimize(value_.data());
      benchmark::ClobberMemory();
    }
  }

 private:
  EmbeddedTdh tdh_;
  std::vector<std::uint64_t> info_;
  std::vector<std::uint8_t> value_;
};

/// Copies each value of one of our events out, by a layout that stands in the code.
class Floor {
 public:
  void Decode(const EVENT_RECORD& event) {
    const auto* at = static_cast<const std::uint8_t*>(event.UserData);
    const auto* const end = at + event.UserDataLength;
    at = Copy(at, 4);
    at = Copy(at, 4);
    at = Copy(at, std::strlen(reinterpret_cast<const char*>(at)) + 1);
    at = Copy(at, 4);
    at = Copy(at, 4);
    if (event.EventHeader.EventDescriptor.Id == 3) at = Copy(at, 4);
    Copy(at, static_cast<std::size_t>(end - at));
  }

 private:
  const std::uint8_t* Copy(const std::uint8_t* from, std::size_t size) {
    if (value_.size() < size) value_.resize(size);
    std::memcpy(value_.data(), from, size);
    benchmark::DoNotOptimize(value_.data());
    benchmark::ClobberMemory();
    return from + size;
  }

  std::vector<std::uint8_t> value_;
};

/// Of this thread alone, so that what else the machine does counts on neither side.
double ProcessorNanoseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

template <typename Worker>
double NanosecondsOfOne(Worker& worker, const Events& events, int rounds) {
  const double begin = ProcessorNanoseconds();
  for (int i = 0; i < rounds; ++i) {
    for (const EVENT_RECORD& event : events.records()) worker.Decode(event);
  }
  return (ProcessorNanoseconds() - begin) / (static_cast<double>(rounds) * kRecords);
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

template <typename Worker>
void Run(benchmark::State& state, const Events& events) {
  Worker worker;
  std::size_t i = 0;
  for (auto _ : state) worker.Decode(events.records()[i++ % kRecords]);
  state.SetItemsProcessed(state.iterations());
}

const std::uint16_t kAnsi[] = {1};
const std::uint16_t kWide[] = {2};
const std::uint16_t kBinary[] = {3};
const std::uint16_t kMixed[] = {1, 2, 3};

void LoadManifest(benchmark::State& state) {
  Decoder decoder;
  for (auto _ : state) Require(decoder.Load() == 0);
}
BENCHMARK(LoadManifest)->Name("load_manifest");

/// Both in turns, so that a change of the machine's speed meets both.
void PrintRatio(const char* name, const Events& events, const char* promise) {
  Decoder decoder;
  Floor floor;
  std::vector<double> cost, bare;
  for (int turn = 0; turn < 15; ++turn) {
    cost.push_back(NanosecondsOfOne(decoder, events, 10));
    bare.push_back(NanosecondsOfOne(floor, events, 40));
  }
  const double ours = Median(cost);
  std::printf("ratio|%s|%.2f million events/s (%.0f ns; %.1f times the floor of %.1f ns)|%s|%s\n", name, 1000 / ours,
              ours, ours / Median(bare), Median(bare), promise,
              "one core, processor time; information, then size and value of each property; the floor copies values of "
              "a known layout");
}

}  // namespace

int main(int argc, char** argv) {
  static const Events ansi(kAnsi), wide(kWide), binary(kBinary), mixed(kMixed), describing(kAnsi, true);
  benchmark::RegisterBenchmark("tdh_ansi", [](benchmark::State& state) { Run<Decoder>(state, ansi); });
  benchmark::RegisterBenchmark("tdh_wide", [](benchmark::State& state) { Run<Decoder>(state, wide); });
  benchmark::RegisterBenchmark("tdh_binary", [](benchmark::State& state) { Run<Decoder>(state, binary); });
  benchmark::RegisterBenchmark("tdh_mixed", [](benchmark::State& state) { Run<Decoder>(state, mixed); });
  benchmark::RegisterBenchmark("tdh_describing", [](benchmark::State& state) { Run<Decoder>(state, describing); });
  benchmark::RegisterBenchmark("floor_mixed", [](benchmark::State& state) { Run<Floor>(state, mixed); });
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  PrintRatio("decode an event, one kind", ansi, "at least 1 million/s");
  PrintRatio("decode an event, three kinds of two providers in turns", mixed, "at least 1 million/s");
  return 0;
}
