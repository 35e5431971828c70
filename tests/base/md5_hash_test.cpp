#include "base/md5_hash.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

std::string ValueOf(Md5Hash* hash) {
  std::uint8_t digest[kMd5Size] = {};
  EXPECT_TRUE(hash->Value(digest));
  return {reinterpret_cast<const char*>(digest), sizeof digest};
}

TEST(Md5Hash, TakesItsDataInPieces) {
  ScriptedPlatform machine;
  Md5Hash hash;
  ASSERT_TRUE(hash.Acquire());
  ASSERT_TRUE(hash.Create());
  EXPECT_TRUE(hash.Add("abc", 3));
  EXPECT_TRUE(hash.Add("def", 3));
  EXPECT_EQ(ValueOf(&hash), testing::Md5Of("abcdef"));
}

TEST(Md5Hash, ReleasesTheHashAndThenTheContext) {
  ScriptedPlatform machine;
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  {
    Md5Hash hash;
    ASSERT_TRUE(hash.Acquire());
    ASSERT_TRUE(hash.Create());
  }
  EXPECT_EQ(machine.crypto.open_count(), 0u);
  const std::vector<std::string> calls = plan.Calls();
  ASSERT_EQ(calls.size(), 4u);
  EXPECT_EQ(calls[2], "CryptDestroyHash");
  EXPECT_EQ(calls[3], "CryptReleaseContext");
}

TEST(Md5Hash, AFailedStepSetsTheLastErrorAndOnlyWhatExistsIsReleased) {
  for (const char* const step : {"CryptAcquireContextW", "CryptCreateHash", "CryptHashData", "CryptGetHashParam"}) {
    ScriptedPlatform machine;
    FaultPlan plan;
    plan.Fail(step, 1450);
    const FaultyPlatform faulty(machine.ports, &plan);
    {
      Md5Hash hash;
      std::uint8_t digest[kMd5Size] = {7};
      const bool taken = hash.Acquire() && hash.Create() && hash.Add("a", 1) && hash.Value(digest);
      EXPECT_FALSE(taken) << step;
      EXPECT_EQ(machine.system.GetLastError(), 1450u) << step;
      EXPECT_EQ(digest[0], 7) << step;
    }
    EXPECT_EQ(machine.crypto.open_count(), 0u) << step;
  }
}

}  // namespace
}  // namespace varnel
