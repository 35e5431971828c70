#include "interfaces/wardlet_tool.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

#include "formats/guid_text.h"
#include "pipeline/wardlet_version.h"
#include "tests/interfaces/wardlet_tool_from_c.h"
#include "tests/tool/tool_fixture.h"
#include "tool/module_entry.h"

namespace varnel {
namespace {

TEST(WardletToolInterfaces, GuidsAreThoseThatHostsKnow) {
  using formats::FormatGuid;
  EXPECT_EQ(FormatGuid(GUID_WARDLET_TOOL), "{4A234956-2B7D-4221-BADF-12593BD342A8}");
  EXPECT_EQ(FormatGuid(IID_VarnelUnknow), "{00000000-0000-0000-C000-000000000046}");
  EXPECT_EQ(FormatGuid(IID_VarnelClassFactory), "{00000001-0000-0000-C000-000000000046}");
  EXPECT_EQ(FormatGuid(IID_VarnelDefaultInterface), "{656F27DC-8938-4937-9619-74762D800B0E}");
  EXPECT_EQ(FormatGuid(IID_WardletToolInterface), "{1C78F7BF-9446-4EF0-9B98-5BE27BDF71A2}");
}

TEST(WardletToolInterfaces, TheVersionRecordIsTwelveBytes) {
  EXPECT_EQ(sizeof(VarnelVersionInfo), 12u);
  EXPECT_EQ(offsetof(VarnelVersionInfo, wMajor), 4u);
  EXPECT_EQ(offsetof(VarnelVersionInfo, wMinor), 6u);
  EXPECT_EQ(offsetof(VarnelVersionInfo, wBuild), 8u);
  EXPECT_EQ(offsetof(VarnelVersionInfo, wRevision), 10u);
}

TEST(WardletToolInterfaces, InterfacesHoldNothingButTheirTable) {
  EXPECT_EQ(sizeof(VarnelUnknown), sizeof(void*));
  EXPECT_EQ(sizeof(VarnelClassFactory), sizeof(void*));
  EXPECT_EQ(sizeof(VarnelDefaultInterface), sizeof(void*));
  EXPECT_EQ(sizeof(WardletToolInterface), sizeof(void*));
}

class HostInC : public testing::ToolTest {};

TEST_F(HostInC, MakesAsksStartsStopsAndReleasesTheTool) {
  WardletToolInterface* tool = nullptr;
  ASSERT_EQ(CHostMakeTool(GetClassObject, &tool), VNSTAT_SUCCESS);
  VarnelVersionInfo info{};
  EXPECT_EQ(CHostVersion(tool, &info), VNSTAT_SUCCESS);
  EXPECT_EQ(info.wMajor, kVersionMajor);
  EXPECT_EQ(info.wRevision, kVersionRevision);
  int texts = 0;
  EXPECT_EQ(CHostStartAndStop(tool, &texts), VNSTAT_SUCCESS);
  EXPECT_EQ(CHostRelease(tool), 0u);
  EXPECT_EQ(CanUnloadNow(), 0u);
}

}  // namespace
}  // namespace varnel
