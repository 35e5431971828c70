#include "session/provider_table.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "base/text.h"

namespace varnel {
namespace {

constexpr char16_t kSessionName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";

TEST(GenericSessionNameByGuid, JoinsThePrefixAndTheBracedGuid) {
  char16_t name[260] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, name, 260);
  EXPECT_EQ(std::u16string(name), kSessionName);
}

TEST(GenericSessionNameByGuid, CapacitiesOf256And260GiveTheSameText) {
  char16_t shorter[256] = {}, longer[260] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, shorter, 256);
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, longer, 260);
  EXPECT_EQ(std::u16string(shorter), std::u16string(longer));
}

TEST(GenericSessionNameByGuid, LeavesTheGuidOffWhenOnlyThePrefixFits) {
  char16_t name[19] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, name, 19);
  EXPECT_EQ(std::u16string(name), u"KelvoVarnelWardlet");
}

TEST(GenericSessionNameByGuid, StopsWhenThePrefixDoesNotFit) {
  char16_t name[10] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, name, 10);
  EXPECT_EQ(std::u16string(name), u"KelvoVarn");
}

TEST(GenericSessionNameByGuid, CutsTheGuidWhereTheRoomEnds) {
  char16_t name[24] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, name, 24);
  EXPECT_EQ(std::u16string(name), u"KelvoVarnelWardlet{4A23");
}

TEST(GenericSessionNameByGuid, DoesNothingForNullArguments) {
  char16_t name[8] = u"before";
  GenericSessionNameByGuid(nullptr, name, 8);
  EXPECT_EQ(std::u16string(name), u"before");
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, nullptr, 8);
}

TEST(GetEtwProviderNameByGuid, KnowsAllSevenInTheirOrder) {
  const std::u16string expected[] = {u"ProviderSample", u"SourceUsb",    u"DestUsb", u"VirtualHid",
                                     u"KVirtualAudio",  u"KelvoGamePad", u"KelvoIDD"};
  const std::u16string guids[] = {u"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}", u"{4A234950-2B7D-4221-BADF-12593BD342A8}",
                                  u"{4A234951-2B7D-4221-BADF-12593BD342A8}", u"{4A234955-2B7D-4221-BADF-12593BD342A8}",
                                  u"{4A234954-2B7D-4221-BADF-12593BD342A8}", u"{4A234953-2B7D-4221-BADF-12593BD342A8}",
                                  u"{4A234952-2B7D-4221-BADF-12593BD342A8}"};
  for (std::size_t i = 0; i < kProviderTable.size(); ++i) {
    char16_t name[260] = {}, guid[64] = {};
    EXPECT_EQ(GetEtwProviderNameByGuid(&kProviderTable[i].guid, name, 260), 0u);
    EXPECT_EQ(std::u16string(name), expected[i]);
    GuidToText(kProviderTable[i].guid, guid);
    EXPECT_EQ(std::u16string(guid), guids[i]);
  }
}

TEST(GetEtwProviderNameByGuid, TheModulesOwnGuidIsNoProvider) {
  char16_t name[260] = u"kept";
  EXPECT_EQ(GetEtwProviderNameByGuid(&GUID_WARDLET_TOOL, name, 260), 31u);
  EXPECT_EQ(std::u16string(name), u"kept");
}

TEST(GetEtwProviderNameByGuid, RefusesNullArgumentsAndNoRoom) {
  char16_t name[8] = u"kept";
  EXPECT_EQ(GetEtwProviderNameByGuid(nullptr, name, 8), 87u);
  EXPECT_EQ(GetEtwProviderNameByGuid(&g_ProviderSampleGUID, nullptr, 8), 87u);
  EXPECT_EQ(GetEtwProviderNameByGuid(&g_ProviderSampleGUID, name, 0), 87u);
  EXPECT_EQ(std::u16string(name), u"kept");
}

TEST(GetEtwProviderNameByGuid, ComparesAllSixteenBytes) {
  for (std::size_t byte = 0; byte < sizeof(GUID); ++byte) {
    GUID other = GUID_KELVO_IDD_TOOL;
    reinterpret_cast<unsigned char*>(&other)[byte] ^= 0x80;
    char16_t name[16] = {};
    EXPECT_EQ(GetEtwProviderNameByGuid(&other, name, 16), 31u) << "byte " << byte;
  }
}

}  // namespace
}  // namespace varnel
