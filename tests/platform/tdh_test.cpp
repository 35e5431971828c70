// Manifests and decoding, as operations and results.
#include "platform/tdh.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "temp_folder.h"

namespace varnel::platform {
namespace {

constexpr char kManifest[] =
    "<instrumentationManifest xmlns=\"http://schemas.microsoft.com/win/2004/08/events\" "
    "xmlns:win=\"http://manifests.microsoft.com/win/2004/08/windows/events\"><instrumentation><events>"
    "<provider name=\"Conformance\" guid=\"{5E2F3A10-7B4C-4D55-9A6E-0C1D2E3F4051}\" symbol=\"CONFORMANCE\" "
    "resourceFileName=\"x.dll\" messageFileName=\"x.dll\"><templates><template tid=\"T\">"
    "<data name=\"Number\" inType=\"win:UInt32\"/><data name=\"Text\" "
    "inType=\"win:AnsiString\"/></template></templates>"
    "<events><event value=\"1\" template=\"T\"/></events></provider></events></instrumentation>"
    "</instrumentationManifest>";
constexpr GUID kProvider = {0x5E2F3A10, 0x7B4C, 0x4D55, {0x9A, 0x6E, 0x0C, 0x1D, 0x2E, 0x3F, 0x40, 0x51}};

/// Writes a file, loads it and removes it again.
std::uint32_t Load(std::string_view text) {
  const TempFolder folder;
  WriteText(folder / u"conformance.man", text);
  return TdhPort().TdhLoadManifest((folder / u"conformance.man").c_str());
}

EVENT_RECORD RecordOf(std::vector<std::uint8_t>* payload) {
  EVENT_RECORD record{};
  record.EventHeader.Flags = kEventHeaderFlag64BitHeader;
  record.EventHeader.ProviderId = kProvider;
  record.EventHeader.EventDescriptor.Id = 1;
  record.UserData = payload->data();
  record.UserDataLength = static_cast<std::uint16_t>(payload->size());
  return record;
}

TEST(Tdh, AManifestThatIsNotThereAnswers2) {
  const TempFolder folder;
  EXPECT_EQ(TdhPort().TdhLoadManifest((folder / u"none.man").c_str()), kErrorFileNotFound);
}

TEST(Tdh, NoPathAnswers87) {
  EXPECT_EQ(TdhPort().TdhLoadManifest(nullptr), kErrorInvalidParameter);
}

TEST(Tdh, AFileThatIsNoManifestAnswers1465) {
  EXPECT_EQ(Load("this is no manifest"), kErrorXmlParseError);
}

TEST(Tdh, AnEventThatNothingDefinesAnswers1168) {
  std::vector<std::uint8_t> payload(4);
  EVENT_RECORD record = RecordOf(&payload);
  record.EventHeader.ProviderId.Data1 ^= 0xFFFF;
  std::uint32_t size = 0;
  EXPECT_EQ(TdhPort().TdhGetEventInformation(&record, nullptr, &size), kErrorNotFound);
}

TEST(Tdh, ALoadedManifestOutlivesItsFileAndGivesTheValues) {
  ASSERT_EQ(Load(kManifest), kErrorSuccess);
  std::vector<std::uint8_t> payload = {1, 2, 3, 4, 'o', 'k', 0};
  const EVENT_RECORD record = RecordOf(&payload);
  std::uint32_t size = 0;
  ASSERT_EQ(TdhPort().TdhGetEventInformation(&record, nullptr, &size), kErrorInsufficientBuffer);
  std::vector<std::uint64_t> buffer(size / 8 + 1);
  auto* info = reinterpret_cast<TRACE_EVENT_INFO*>(buffer.data());
  ASSERT_EQ(TdhPort().TdhGetEventInformation(&record, info, &size), kErrorSuccess);
  ASSERT_EQ(info->TopLevelPropertyCount, 2u);
  const auto* base = reinterpret_cast<const char*>(info);
  const auto* name = reinterpret_cast<const char16_t*>(base + info->EventPropertyInfoArray[1].NameOffset);
  EXPECT_EQ(std::u16string(name), u"Text");
  EXPECT_EQ(info->EventPropertyInfoArray[1].InType, 2);

  const PROPERTY_DATA_DESCRIPTOR descriptor{reinterpret_cast<std::uintptr_t>(name), 0xFFFFFFFF, 0};
  std::uint32_t value_size = 0;
  ASSERT_EQ(TdhPort().TdhGetPropertySize(&record, 1, &descriptor, &value_size), kErrorSuccess);
  ASSERT_EQ(value_size, 3u);
  std::uint8_t value[3] = {};
  EXPECT_EQ(TdhPort().TdhGetProperty(&record, 1, &descriptor, 2, value), kErrorInsufficientBuffer);
  ASSERT_EQ(TdhPort().TdhGetProperty(&record, 1, &descriptor, 3, value), kErrorSuccess);
  EXPECT_EQ(std::memcmp(value, "ok", 3), 0);
  const PROPERTY_DATA_DESCRIPTOR unknown{reinterpret_cast<std::uintptr_t>(u"text"), 0xFFFFFFFF, 0};
  EXPECT_EQ(TdhPort().TdhGetPropertySize(&record, 1, &unknown, &value_size), kErrorNotFound);
}

}  // namespace
}  // namespace varnel::platform
