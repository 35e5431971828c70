#include <gtest/gtest.h>

#include "formats/etl_event.h"
#include "formats/guid_text.h"

namespace varnel::formats {
namespace {

TEST(EtlGroups, NameTheProvidersOfKernelEvents) {
  EXPECT_EQ(FormatGuid(EtlGroupProvider(0, 0)), "{68FDD900-4A3E-11D1-84F4-0000F80464E3}");
  EXPECT_EQ(FormatGuid(EtlGroupProvider(3, 1)), "{3D6FA8D0-FE05-11D0-9DDA-00C04FD7BA7C}");
  EXPECT_EQ(FormatGuid(EtlGroupProvider(11, 10)), "{01853A65-418F-4F36-AEFC-DC0F1D2FD235}");
  EXPECT_EQ(FormatGuid(EtlGroupProvider(15, 46)), "{CE1DBFB4-137E-4DA6-87B0-3F59AA102CBC}");
  EXPECT_EQ(FormatGuid(EtlGroupProvider(24, 32)), "{DEF2FE46-7BD6-4B80-BD94-F57FE20D0CE3}");
}

TEST(EtlGroups, GiveLoadsOfImagesToTheImageProvider) {
  EXPECT_EQ(EtlGroupProvider(3, 10), EtlGroupProvider(20, 10));
  EXPECT_NE(EtlGroupProvider(3, 11), EtlGroupProvider(20, 11));
}

TEST(EtlGroups, AreZeroWhereNoneIsKnown) {
  EXPECT_EQ(EtlGroupProvider(12, 0), GUID{});
  EXPECT_EQ(EtlGroupProvider(255, 255), GUID{});
}

}  // namespace
}  // namespace varnel::formats
