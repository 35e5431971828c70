// The road of an event from the manifests that the module composes to the text that the host gets, through the Trace
// Data Helper of the embedded platform; everything else stands in memory.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "payload_builder.h"
#include "pipeline/event_decode.h"
#include "platform/embedded/tdh/embedded_tdh.h"
#include "platform/embedded/tdh/manifest_file.h"
#include "session/provider_manifest.h"
#include "session/provider_table.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::PayloadBuilder;

class ModuleEvents : public ::testing::Test {
 protected:
  ModuleEvents() {
    platform_.files.AddFolder(u"C:\\Windows\\Temp");
    platform_.ports.tdh = &tdh_;
  }

  /// The text of an event; empty when it can't be decoded. What it gave is in result_, counter_ and flags_.
  std::string TextOf(const GUID& provider, std::uint16_t id, std::vector<std::byte> payload) {
    platform::EVENT_RECORD record{};
    record.EventHeader.Flags = platform::kEventHeaderFlag64BitHeader;
    record.EventHeader.ProviderId = provider;
    record.EventHeader.TimeStamp = 132539328000000000;
    record.EventHeader.ProcessId = 33;
    record.EventHeader.ThreadId = 44;
    record.EventHeader.EventDescriptor.Id = id;
    record.EventHeader.EventDescriptor.Level = 4;
    record.EventHeader.EventDescriptor.Keyword = 0x8000000000000080;
    record.UserData = payload.data();
    record.UserDataLength = static_cast<std::uint16_t>(payload.size());
    RawEvent* event = nullptr;
    result_ = ConvertEtwEventToRawEvent(&record, &event);
    if (event == nullptr) return {};
    counter_ = event->dwCounter;
    flags_ = event->dwFlags;
    const std::string text = event->pszJsonText;
    DestoryRawEvent(event);
    return text;
  }

  /// What follows "Level" in a text.
  static std::string Properties(const std::string& text) {
    const std::size_t level = text.find("\"Level\":");
    const std::size_t comma = level == std::string::npos ? level : text.find(',', level);
    return comma == std::string::npos ? text : text.substr(comma + 1);
  }

  testing::ScriptedPlatform platform_;
  embedded::EmbeddedTdh tdh_{embedded::ReadThrough(&platform_.files, &platform_.system)};
  std::uint32_t result_ = 0;
  std::uint32_t counter_ = 0;
  std::uint32_t flags_ = 0;
};

PayloadBuilder Common() {
  return PayloadBuilder().U32(7).U32(9).Text("Main").U32(42).U32(0xC0000005);
}

TEST_F(ModuleEvents, TheHelperTakesAllSevenManifestsAndTheirFilesAreGone) {
  EXPECT_EQ(LoadAllProviderXmlFile(), 0u);
  EXPECT_TRUE(platform_.files.List(u"C:\\Windows\\Temp").empty());
  EXPECT_EQ(LoadAllProviderXmlFile(), 0u) << "each start loads them again";
}

TEST_F(ModuleEvents, EachTemplateOfEachProviderGivesItsPropertiesInTheirOrder) {
  ASSERT_EQ(LoadAllProviderXmlFile(), 0u);
  const GUID* providers[] = {
      &g_ProviderSampleGUID,  &GUID_SOURCE_USB_REDIRECT_TOOL, &GUID_DESTINATION_USB_REDIRECT_TOOL,
      &GUID_VIRTUAL_HID_TOOL, &GUID_KVIRTUAL_AUDIO_TOOL,      &GUID_KELVO_GAMEPAD_TOOL,
      &GUID_KELVO_IDD_TOOL};
  const std::string common = R"("Function":"Main","CodeLine":"42","status":"0xC0000005",)";
  for (const GUID* provider : providers) {
    EXPECT_EQ(Properties(TextOf(*provider, 1, Common().Text("ansi text"))),
              common + R"("AdditionalMsgAnsi":"ansi text"})");
    EXPECT_EQ(counter_, 7u);
    EXPECT_EQ(flags_, 9u);
    EXPECT_EQ(Properties(TextOf(*provider, 2, Common().Wide(u"w\u00EFde"))), common +
                                                                                 "\"AdditionalMsgWide\":\"w\xC3\xAF"
                                                                                 "de\"}");
    EXPECT_EQ(Properties(TextOf(*provider, 3, Common().U32(3).U8(1).U8(0xAB).U8(0))),
              common + R"("BinaryCount":"0x3","AdditionalBinary":"0x01, 0xAB, 0x00"})");
  }
}

TEST_F(ModuleEvents, ABinaryPartOf300BytesIsShownWhole) {
  ASSERT_EQ(LoadAllProviderXmlFile(), 0u);
  std::string list;
  for (int i = 0; i < 300; ++i) list += i == 0 ? "0x07" : ", 0x07";
  EXPECT_EQ(Properties(TextOf(g_ProviderSampleGUID, 3, Common().U32(300).Fill(300, 7))),
            R"("Function":"Main","CodeLine":"42","status":"0xC0000005","BinaryCount":"0x12C","AdditionalBinary":")" +
                list + "\"}");
}

TEST_F(ModuleEvents, APropertyThatThePayloadDoesNotHoldIsLeftOut) {
  ASSERT_EQ(LoadAllProviderXmlFile(), 0u);
  EXPECT_EQ(Properties(TextOf(g_ProviderSampleGUID, 3, Common().U32(9).U8(1))),
            R"("Function":"Main","CodeLine":"42","status":"0xC0000005","BinaryCount":"0x9"})");
  EXPECT_EQ(Properties(TextOf(g_ProviderSampleGUID, 3, Common().U32(0))),
            R"("Function":"Main","CodeLine":"42","status":"0xC0000005","BinaryCount":"0x0"})")
      << "nor one of no bytes";
  TextOf(g_ProviderSampleGUID, 1, PayloadBuilder().U16(7));
  EXPECT_EQ(result_, 0u);
  EXPECT_EQ(counter_, 0u) << "a counter that could not be read is 0";
  EXPECT_EQ(flags_, 0u);
}

TEST_F(ModuleEvents, WithoutItsManifestAnEventHasNoText) {
  EXPECT_EQ(TextOf(g_ProviderSampleGUID, 1, Common().Text("x")), "");
  EXPECT_EQ(result_, 31u);
  ASSERT_EQ(LoadAllProviderXmlFile(), 0u);
  EXPECT_EQ(TextOf(g_ProviderSampleGUID, 4, Common().Text("x")), "");
  EXPECT_EQ(result_, 31u);
}

}  // namespace
}  // namespace varnel
