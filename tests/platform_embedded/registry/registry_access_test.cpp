#include "platform/embedded/registry/registry_access.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace varnel::embedded {
namespace {

TEST(RegistryAccess, GeneralRightsBecomeTheRegistrysOwnAndTheOthersStay) {
  EXPECT_EQ(GrantedRights(0x20019), 0x20019u);
  EXPECT_EQ(GrantedRights(0x80000000), 0x20019u);
  EXPECT_EQ(GrantedRights(0x40000000), 0x20006u);
  EXPECT_EQ(GrantedRights(0x10000000), kAllRights);
  EXPECT_EQ(GrantedRights(0x02000000), kAllRights);
  EXPECT_EQ(GrantedRights(0), 0u);
}

TEST(RegistryAccess, ChoosingOneOfTheTwoViewsGrantsNothing) {
  EXPECT_EQ(GrantedRights(0x20019 | 0x100), 0x20019u);
  EXPECT_EQ(GrantedRights(0x20019 | 0x200), 0x20019u);
}

TEST(RegistryAccess, MemoryThatRunsOutIsAResultAndNothingLeavesTheCall) {
  EXPECT_EQ(Guarded([]() -> std::uint32_t { throw std::bad_alloc(); }), platform::kErrorNotEnoughMemory);
  EXPECT_EQ(Guarded([]() -> std::uint32_t { throw std::runtime_error("x"); }), platform::kErrorRegistryIoFailed);
  EXPECT_EQ(Guarded([]() -> std::uint32_t { return 7; }), 7u);
}

}  // namespace
}  // namespace varnel::embedded
