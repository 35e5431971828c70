// Real traces decoded with the real manifests that belong to them, and real events that describe themselves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "formats/etl_event_input.h"
#include "formats/etl_reader.h"
#include "formats/event_decoder.h"
#include "formats/guid_text.h"
#include "formats/manifest_reader.h"
#include "formats/payload_decoder.h"
#include "manifest_text.h"
#include "platform/unpack.h"

namespace varnel::formats {
namespace {

using testing::ReadSample;

/// A trace file held in memory with its reader.
class SampleTrace {
 public:
  explicit SampleTrace(const std::string& name)
      : bytes_(ReadSample(VARNEL_SAMPLES_DIR, "etl/" + name)), source_(bytes_) {
    if (bytes_.empty()) return;
    EtlReadOptions options;
    options.unpack = platform::Unpack;
    auto reader = EtlReader::Open(source_, options);
    EXPECT_TRUE(reader.ok());
    if (reader.ok()) reader_ = std::move(reader).value();
  }

  bool present() const { return reader_ != nullptr; }
  const EtlEventView* Next() { return reader_->Next(); }

 private:
  std::vector<std::byte> bytes_;
  EtlMemorySource source_;
  std::unique_ptr<EtlReader> reader_;
};

struct Pair {
  const char* trace;
  const char* manifest;
  const char* provider;
  int exact;    // events whose last property ends with the payload
  int longer;   // events with bytes behind their last property
  int unknown;  // events of ids or versions that the manifest does not have
};

/// How far the events of a provider are covered by the layouts of its manifest.
struct Coverage {
  int exact = 0;
  int longer = 0;
  int unknown = 0;
  int incomplete = 0;
};

Coverage Measure(SampleTrace* trace, const InstrumentationManifest& manifest, const GUID& provider_id) {
  Coverage coverage;
  std::vector<PropertyPlace> places;
  while (const EtlEventView* view = trace->Next()) {
    if (view->provider != provider_id || view->kind != EtlEventKind::kEvent) continue;
    const EventDefinition* event = nullptr;
    for (const ProviderManifest& provider : manifest.providers) {
      if (event == nullptr && provider.guid == provider_id) event = provider.FindEvent(view->id, view->version);
    }
    if (event == nullptr) {
      ++coverage.unknown;
      continue;
    }
    const EventInput input = ToEventInput(*view);
    if (PlaceProperties(*event->layout, input.pointer_size(), input.payload, &places) <
        event->layout->top_level_count) {
      ++coverage.incomplete;
      continue;
    }
    const std::uint32_t end = places.empty() ? 0 : places.back().offset + places.back().size;
    ++(end == input.payload.size() ? coverage.exact : coverage.longer);
  }
  return coverage;
}

class EventDecoderSamples : public ::testing::TestWithParam<Pair> {};

TEST_P(EventDecoderSamples, LayoutsCoverTheEventsToTheLastByte) {
  const Pair& pair = GetParam();
  SampleTrace trace(pair.trace);
  const auto bytes = ReadSample(VARNEL_SAMPLES_DIR, std::string("manifests/") + pair.manifest);
  if (!trace.present() || bytes.empty()) GTEST_SKIP() << "the sample files are not here";
  const auto manifest = ReadManifest(bytes, pair.manifest);
  ASSERT_TRUE(manifest.ok()) << manifest.error().message;
  const Coverage coverage = Measure(&trace, manifest.value(), *ParseGuid(pair.provider));
  EXPECT_EQ(coverage.exact, pair.exact);
  EXPECT_EQ(coverage.longer, pair.longer);
  EXPECT_EQ(coverage.unknown, pair.unknown);
  EXPECT_EQ(coverage.incomplete, 0) << "no event ends before its last property";
}

constexpr const char* kHttp = "{DD5EF90A-6398-47A4-AD34-4DCECDEF795F}";
constexpr const char* kClr = "{E13C0D23-CCBC-4E12-931B-D9CC2EEE27E4}";

// The network events carry 4 bytes more than their manifest says. Event 82 of the .NET runtime ends in a stack of which
// the manifest declares two addresses; 80 of its private events are of a longer form than the manifest's.
INSTANTIATE_TEST_SUITE_P(
    Pairs, EventDecoderSamples,
    ::testing::Values(
        Pair{"HTTP_Server.etl", "HTTP_Server.man", kHttp, 2041, 0, 0},
        Pair{"HTTP_Server.etl", "Microsoft-Windows-HttpService.xml", kHttp, 2041, 0, 0},
        Pair{"KernelNetwork.etl", "SystemEvents.man", "{7DD42A49-5329-4832-8DFD-43D979153A88}", 0, 8923, 0},
        Pair{"powershell.etl", "Microsoft-Windows-PowerShell.xml", "{A0C1853B-5C40-4B15-8766-3CF1C58F985A}", 112, 0, 0},
        Pair{"kernel_process_example.etl", "Microsoft-Windows-Kernel-Process.xml",
             "{22FB2CD6-0E7B-422B-A0C7-2FAD1FD0E716}", 0, 0, 9},
        Pair{"pyetw_out.etl", "etwproviders.man", "{231CF54B-22A0-49E4-A59A-47052A30FFED}", 0, 0, 1},
        Pair{"gcevents.etl", "ClrEtwAll.man", kClr, 36, 0, 33},
        Pair{"net.4.5.2.x86.etl", "ClrEtwAll.man", kClr, 6402, 5206, 0},
        Pair{"net.4.5.2.x86.etl", "ClrEtwAll.man", "{A669021C-C450-4609-A035-5AF59AF4DF18}", 27173, 0, 0},
        Pair{"net.4.5.2.x86.etl", "ClrEtwAll.man", "{763FD754-7086-4DFE-95EB-C01A46FAF4CA}", 441, 80, 0},
        Pair{"net.4.5.2.x86.etl", "SystemEvents.man", "{EDD08927-9CC4-4E65-B970-C2560FB5C289}", 968, 0, 0},
        Pair{"net.4.5.2.x86.etl", "SystemEvents.man", "{B675EC37-BDB6-4648-BC92-F3FDC74D3CA2}", 85, 0, 0}));

struct SelfDescribing {
  const char* trace;
  int events;
  const char* event_name;  // of the first of them
  const char* json;
};

class SelfDescribingSamples : public ::testing::TestWithParam<SelfDescribing> {};

TEST_P(SelfDescribingSamples, AreDecodedWholeWithoutAManifest) {
  const SelfDescribing& row = GetParam();
  SampleTrace trace(row.trace);
  if (!trace.present()) GTEST_SKIP() << "the sample files are not here";
  const EventDecoder decoder;
  int events = 0;
  while (const EtlEventView* view = trace.Next()) {
    const EventInput input = ToEventInput(*view);
    if (input.schema.empty()) continue;
    const DecodedEvent event = decoder.Decode(input);
    ASSERT_EQ(event.source, DecodingSource::kTraceLogging);
    EXPECT_TRUE(event.complete);
    if (events++ != 0) continue;
    std::string json;
    AppendJsonObject(event.properties, &json);
    EXPECT_EQ(event.event_name, row.event_name);
    EXPECT_EQ(json, row.json);
  }
  EXPECT_EQ(events, row.events);
}

INSTANTIATE_TEST_SUITE_P(
    Traces, SelfDescribingSamples,
    ::testing::Values(
        SelfDescribing{"SelfDescribingSingleEvent.etl", 1, "TestEvent", R"({"a":{"b":"Hello","c":"World!"}})"},
        SelfDescribing{
            "primitive-types.etl", 5, "PrimitiveTypesTest",
            R"({"string_type":"Mercury","boolean_type":0,"char_type":77,"int16_type":-51,"int32_type":-102,)"
            R"("uint16_type":51,"uint32_type":102,"int64_type":"18446744073709551412","uint64_type":"204",)"
            R"("guid_type":"{0AD614C4-0EF4-4225-8013-F44F37CB0397}","file_time_type":"2021-09-09T14:59:35.7990000Z",)"
            R"("system_time_type":"2021-09-09T14:59:35.799Z"})"},
        SelfDescribing{"mytrace.etl", 8, "Startup", R"({"Info":"Application Started"})"},
        SelfDescribing{"yhan_trace1.etl", 1000, "EventName", R"({"StringVal":"EtwDotNet","CounterVal":1})"},
        SelfDescribing{"hw3d_trace.etl", 1, "WinMain", R"({"lpCmdLine":"","nCmdShow":10})"},
        SelfDescribing{
            "live_Wifi.etl", 182, "NetworkTransitionedEvent",
            R"({"eventSource":"NetworkListManager","interfaceGuid":"{00000000-0000-0000-0000-000000000000}",)"
            R"("interfaceType":"Other","newNetworkState":"Unknown","newConnectionCost":"Unknown",)"
            R"("isFirewallStable":0,"PartA_PrivTags":"2048"})"}));

}  // namespace
}  // namespace varnel::formats
