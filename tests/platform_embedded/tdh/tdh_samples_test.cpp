// Real traces through the Trace Data Helper: every property of every event that a manifest knows is found by its name,
// and its bytes are those that the layout tells.
#include <gtest/gtest.h>

#include "formats/etl_event_input.h"
#include "formats/etl_reader.h"
#include "formats/payload_decoder.h"
#include "platform/unpack.h"
#include "tdh_fixture.h"

namespace varnel::embedded {
namespace {

struct SamplePair {
  const char* trace;
  const char* manifest;
  int events;
  int properties;
};

class TdhSamples : public TdhTest, public ::testing::WithParamInterface<SamplePair> {
 protected:
  /// Asks for each property by name; counts them. They have to follow each other without gaps.
  int AskForAll(const EVENT_RECORD& record) {
    const auto bytes = Info(&record);
    EXPECT_EQ(result_, 0u);
    std::uint32_t sum = 0;
    const std::uint32_t count = AsInfo(bytes).TopLevelPropertyCount;
    std::vector<std::uint8_t> value;
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::u16string name = TextAt(bytes, PropertyAt(bytes, i).NameOffset);
      const auto descriptor = Asking(name.c_str());
      std::uint32_t size = 0;
      EXPECT_EQ(tdh_.TdhGetPropertySize(&record, 1, &descriptor, &size), 0u);
      value.resize(size + 1);
      EXPECT_EQ(tdh_.TdhGetProperty(&record, 1, &descriptor, size, value.data()), 0u);
      EXPECT_EQ(std::memcmp(value.data(), static_cast<const char*>(record.UserData) + sum, size), 0);
      sum += size;
    }
    EXPECT_LE(sum, record.UserDataLength);
    return static_cast<int>(count);
  }
};

TEST_P(TdhSamples, EveryPropertyOfEveryKnownEventIsFound) {
  files_[u"C:\\m.man"] = testing::ReadSample(VARNEL_SAMPLES_DIR, std::string("manifests/") + GetParam().manifest);
  const auto trace = testing::ReadSample(VARNEL_SAMPLES_DIR, std::string("etl/") + GetParam().trace);
  if (trace.empty() || files_[u"C:\\m.man"].empty()) GTEST_SKIP() << "the sample files are not here";
  ASSERT_EQ(tdh_.TdhLoadManifest(u"C:\\m.man"), 0u);
  formats::EtlMemorySource source(trace);
  formats::EtlReadOptions options;
  options.unpack = platform::Unpack;
  auto reader = formats::EtlReader::Open(source, options);
  ASSERT_TRUE(reader.ok());
  int events = 0;
  int properties = 0;
  while (const formats::EtlEventView* view = reader.value()->Next()) {
    TestRecord record(view->provider, view->id, {view->payload.begin(), view->payload.end()});
    record->EventHeader.Flags = formats::EtlRecordFlags(*view);
    record->EventHeader.EventDescriptor.Version = view->version;
    std::uint32_t size = 0;
    if (tdh_.TdhGetEventInformation(record, nullptr, &size) == platform::kErrorNotFound) continue;
    ++events;
    properties += AskForAll(*static_cast<const EVENT_RECORD*>(record));
  }
  EXPECT_EQ(events, GetParam().events);
  EXPECT_EQ(properties, GetParam().properties);
}

INSTANTIATE_TEST_SUITE_P(Pairs, TdhSamples,
                         ::testing::Values(SamplePair{"HTTP_Server.etl", "HTTP_Server.man", 2041, 8746},
                                           SamplePair{"KernelNetwork.etl", "SystemEvents.man", 8923, 72586},
                                           SamplePair{"powershell.etl", "Microsoft-Windows-PowerShell.xml", 112, 334}));

}  // namespace
}  // namespace varnel::embedded
