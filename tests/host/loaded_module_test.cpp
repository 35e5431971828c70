#include "host/loaded_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace varnel::host {
namespace {

using testing::HasSubstr;

TEST(LoadedModule, AMissingLibraryIsToldByName) {
  const auto module = LoadedModule::Load("/nowhere/libVarnelWardlet.so");
  ASSERT_FALSE(module.ok());
  EXPECT_THAT(module.error().message, HasSubstr("/nowhere/libVarnelWardlet.so"));
}

TEST(LoadedModule, ALibraryWithoutTheExportIsRefused) {
  const auto module = LoadedModule::Load("libm.so.6");
  ASSERT_FALSE(module.ok());
  EXPECT_EQ(module.error().message, "libm.so.6: has no export DllGetClassObject");
}

TEST(LoadedModule, TheEnvironmentNamesAnotherModule) {
  ::setenv("VARNEL_MODULE", "/other/module.so", 1);
  EXPECT_EQ(FindModule(), "/other/module.so");
  ::unsetenv("VARNEL_MODULE");
  EXPECT_THAT(FindModule(), HasSubstr("libVarnelWardlet.so"));
}

TEST(LoadedModule, AStatusReadsAsTheLogShowsIt) {
  EXPECT_EQ(StatusText(0x90000000), "0x90000000");
  EXPECT_EQ(StatusText(31), "0x1f");
}

}  // namespace
}  // namespace varnel::host
