#include "platform/embedded/crashdump/kernel_image.h"

#include <gtest/gtest.h>

namespace varnel::embedded {
namespace {

TEST(KernelImage, IsAWindowsImageForThisProcessorThatNoProgramLoaderTakes) {
  const auto file = KernelImageFile();
  ASSERT_GT(file.size(), 0x200u);
  EXPECT_EQ(file[0], 'M');
  EXPECT_EQ(file[1], 'Z');
  const std::size_t headers = file[0x3C] | file[0x3D] << 8;
  EXPECT_EQ(file[headers], 'P');
  EXPECT_EQ(file[headers + 4] | file[headers + 5] << 8, 0x8664);
  EXPECT_EQ(file[headers + 24 + 68], 1) << "the native subsystem";
}

}  // namespace
}  // namespace varnel::embedded
