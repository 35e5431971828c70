// The published manifests that stand beside the tree give the figures that an independent reader counted in them.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "formats/guid_text.h"
#include "formats/manifest_reader.h"
#include "manifest_text.h"

namespace varnel::formats {
namespace {

struct Figures {
  const char* file;
  std::size_t providers, events, templates, data, structures, value_maps, bit_maps, map_entries, keywords, tasks,
      opcodes, channels, strings;
  std::size_t length_by_field, fixed_length, count_by_field, fixed_count, with_map;
};

// Of the 34 <provider> and 18 <struct> elements of SystemEvents.man one and five belong to performance counters: they
// are no providers of events and no members of templates.
constexpr Figures kFigures[] = {
    {"ClrEtwAll.man", 4, 384, 170, 857, 10, 12, 26, 217, 53, 45, 229, 0, 819, 0, 0, 15, 8, 69},
    {"ETWClrProfiler.man", 1, 19, 16, 56, 0, 1, 2, 11, 8, 17, 0, 0, 30, 0, 0, 10, 0, 3},
    {"HTTP_Server.man", 1, 85, 62, 222, 0, 3, 0, 8, 15, 11, 85, 1, 203, 8, 0, 0, 0, 14},
    {"SystemEvents.man", 33, 450, 218, 946, 13, 8, 1, 27, 69, 147, 61, 40, 386, 51, 14, 15, 1, 11},
    {"eventing.man", 1, 3, 3, 27, 0, 0, 0, 0, 1, 1, 0, 1, 3, 0, 0, 0, 0, 0},
    {"etwproviders.man", 4, 30, 29, 86, 0, 0, 0, 0, 8, 14, 15, 0, 0, 0, 0, 0, 0, 0},
    {"AdvancedProvider_cpp.man", 1, 69, 60, 92, 0, 1, 1, 6, 1, 5, 5, 4, 65, 12, 9, 9, 9, 2},
    {"evntdrv.xml", 1, 3, 2, 4, 0, 0, 0, 0, 0, 0, 0, 1, 3, 0, 0, 0, 0, 0},
    {"UfxClientSample.man", 1, 5, 4, 22, 0, 0, 0, 0, 5, 7, 0, 0, 10, 0, 0, 0, 0, 0},
    {"Microsoft-Windows-Kernel-General.xml", 2, 29, 23, 150, 5, 2, 0, 8, 6, 6, 0, 1, 14, 9, 0, 13, 0, 2},
    {"Microsoft-Windows-Kernel-Power.xml", 1, 351, 227, 1406, 0, 29, 0, 200, 14, 211, 34, 0, 459, 80, 0, 14, 0, 29},
    {"Microsoft-Windows-Kernel-Process.xml", 1, 37, 22, 154, 0, 0, 1, 1, 11, 19, 0, 0, 31, 0, 0, 0, 0, 1},
    {"Microsoft-Windows-Kernel-Network.xml", 1, 22, 7, 68, 0, 0, 0, 0, 2, 2, 12, 0, 16, 0, 0, 0, 0, 0},
    {"Microsoft-Windows-WER-SystemErrorReporting.xml", 1, 19, 3, 6, 0, 0, 0, 0, 0, 1, 1, 0, 2, 0, 0, 0, 0, 0},
    {"Microsoft-Windows-PowerShell.xml", 1, 188, 81, 238, 0, 2, 2, 17, 10, 13, 27, 0, 67, 0, 0, 0, 0, 4},
    {"Microsoft-Windows-Kernel-WHEA.xml", 1, 31, 12, 68, 0, 3, 0, 6, 1, 1, 0, 0, 8, 5, 0, 1, 0, 3},
    {"Microsoft-Windows-HttpService.xml", 1, 98, 69, 269, 0, 3, 0, 8, 15, 12, 92, 0, 127, 13, 0, 0, 0, 3},
    {"Microsoft-Windows-DotNETRuntime.xml", 1, 166, 92, 486, 0, 6, 8, 52, 29, 29, 84, 0, 194, 0, 0, 6, 0, 14},
};

void CountProperty(const PropertyLayout& property, Figures* sum) {
  ++(property.is_structure ? sum->structures : sum->data);
  sum->length_by_field += property.length.told == Told::kByField;
  sum->fixed_length += property.length.told == Told::kFixed;
  sum->count_by_field += property.count.told == Told::kByField;
  sum->fixed_count += property.count.told == Told::kFixed;
  sum->with_map += property.map != nullptr;
}

Figures Count(const InstrumentationManifest& manifest) {
  Figures sum{};
  sum.providers = manifest.providers.size();
  sum.strings = manifest.string_count;
  for (const ProviderManifest& provider : manifest.providers) {
    sum.events += provider.events.size();
    sum.templates += provider.templates.size();
    sum.keywords += provider.keywords.size();
    sum.tasks += provider.tasks.size();
    sum.opcodes += provider.opcodes.size();
    for (const TaskDefinition& task : provider.tasks) sum.opcodes += task.opcodes.size();
    sum.channels += provider.channels.size();
    for (const ValueMap& map : provider.maps) {
      ++(map.is_bitmap ? sum.bit_maps : sum.value_maps);
      sum.map_entries += map.entries.size();
    }
    for (const EventLayout& layout : provider.templates) {
      for (const PropertyLayout& property : layout.properties) CountProperty(property, &sum);
    }
  }
  return sum;
}

class ManifestSamples : public ::testing::TestWithParam<Figures> {};

TEST_P(ManifestSamples, GiveTheirFigures) {
  const Figures& want = GetParam();
  const auto bytes = testing::ReadSample(VARNEL_SAMPLES_DIR, std::string("manifests/") + want.file);
  if (bytes.empty()) GTEST_SKIP() << "the sample files are not here";
  const auto result = ReadManifest(bytes, want.file);
  ASSERT_TRUE(result.ok()) << result.error().message;
  const Figures got = Count(result.value());
  EXPECT_EQ(got.providers, want.providers);
  EXPECT_EQ(got.events, want.events);
  EXPECT_EQ(got.templates, want.templates);
  EXPECT_EQ(got.data, want.data);
  EXPECT_EQ(got.structures, want.structures);
  EXPECT_EQ(got.value_maps, want.value_maps);
  EXPECT_EQ(got.bit_maps, want.bit_maps);
  EXPECT_EQ(got.map_entries, want.map_entries);
  EXPECT_EQ(got.keywords, want.keywords);
  EXPECT_EQ(got.tasks, want.tasks);
  EXPECT_EQ(got.opcodes, want.opcodes);
  EXPECT_EQ(got.channels, want.channels);
  EXPECT_EQ(got.strings, want.strings);
  EXPECT_EQ(got.length_by_field, want.length_by_field);
  EXPECT_EQ(got.fixed_length, want.fixed_length);
  EXPECT_EQ(got.count_by_field, want.count_by_field);
  EXPECT_EQ(got.fixed_count, want.fixed_count);
  EXPECT_EQ(got.with_map, want.with_map);
}

INSTANTIATE_TEST_SUITE_P(Published, ManifestSamples, ::testing::ValuesIn(kFigures), [](const auto& info) {
  std::string name = info.param.file;
  for (char& c : name) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0) c = '_';
  }
  return name;
});

TEST(ManifestSamples, InTypesOfTheAdvancedProviderAreCountedAlike) {
  const auto bytes = testing::ReadSample(VARNEL_SAMPLES_DIR, "manifests/AdvancedProvider_cpp.man");
  if (bytes.empty()) GTEST_SKIP() << "the sample files are not here";
  const auto result = ReadManifest(bytes, "AdvancedProvider_cpp.man");
  ASSERT_TRUE(result.ok()) << result.error().message;
  std::map<InType, int> counts;
  for (const EventLayout& layout : result.value().providers[0].templates) {
    for (const PropertyLayout& property : layout.properties) ++counts[property.in_type];
  }
  EXPECT_EQ(counts[InType::kUInt8], 21);
  EXPECT_EQ(counts[InType::kUInt32], 15);
  EXPECT_EQ(counts[InType::kUnicodeString], 10);
  EXPECT_EQ(counts[InType::kAnsiString], 9);
  EXPECT_EQ(counts[InType::kBinary], 9);
  EXPECT_EQ(counts[InType::kInt8], 4);
  EXPECT_EQ(counts[InType::kUInt16], 3);
  EXPECT_EQ(counts[InType::kInt32], 3);
  EXPECT_EQ(counts[InType::kUInt64], 3);
  EXPECT_EQ(counts[InType::kInt16], 2);
  EXPECT_EQ(counts[InType::kInt64], 2);
  EXPECT_EQ(counts[InType::kFloat], 2);
  EXPECT_EQ(FormatGuid(result.value().providers[0].guid), "{21A9201E-73B0-43FE-9821-7E159A59BC70}");
}

}  // namespace
}  // namespace varnel::formats
