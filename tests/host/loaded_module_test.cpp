#include "host/loaded_module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace varnel::host {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// A library of the system's that is no module.
#if defined(_WIN32)
constexpr char kForeignLibrary[] = "C:\\Windows\\System32\\shlwapi.dll";
#else
constexpr char kForeignLibrary[] = "libm.so.6";
#endif

/// "NAME=VALUE"; without a value it is as if it were not set. The text is the environment's from then on.
void SetModuleVariable(const char* definition) {
#if defined(_WIN32)
  ::_putenv(definition);
#else
  ::putenv(const_cast<char*>(definition));
#endif
}

TEST(LoadedModule, AMissingLibraryIsToldByName) {
  const auto module = LoadedModule::Load("/nowhere/VarnelWardlet.module");
  ASSERT_FALSE(module.ok());
  EXPECT_THAT(module.error().message, StartsWith("the module can't be loaded: "));
  EXPECT_THAT(module.error().message, HasSubstr("/nowhere/VarnelWardlet.module"));
}

TEST(LoadedModule, ALibraryWithoutTheExportIsRefused) {
  const auto module = LoadedModule::Load(kForeignLibrary);
  ASSERT_FALSE(module.ok());
  EXPECT_EQ(module.error().message, std::string(kForeignLibrary) + ": has no export DllGetClassObject");
}

TEST(LoadedModule, TheEnvironmentNamesAnotherModule) {
  SetModuleVariable("VARNEL_MODULE=/other/module");
  EXPECT_EQ(FindModule(), "/other/module");
  SetModuleVariable("VARNEL_MODULE=");
  EXPECT_THAT(FindModule(), HasSubstr("VarnelWardlet."));
}

TEST(LoadedModule, AStatusReadsAsTheLogShowsIt) {
  EXPECT_EQ(StatusText(0x90000000), "0x90000000");
  EXPECT_EQ(StatusText(31), "0x1f");
}

}  // namespace
}  // namespace varnel::host
