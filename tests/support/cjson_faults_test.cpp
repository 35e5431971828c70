#include "tests/support/cjson_faults.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <thread>

namespace varnel::testing {
namespace {

TEST(CJsonAllocationFaults, FailTheNthAllocationOfTheirOwnThread) {
  const long before = CJsonBlocks();
  unsigned n = 1;
  for (;; ++n) {
    const CJsonAllocationFaults faults(n);
    cJSON* const object = cJSON_CreateObject();
    const bool added = object != nullptr && cJSON_AddStringToObject(object, "Key", "Value") != nullptr;
    char* const text = added ? cJSON_PrintUnformatted(object) : nullptr;
    EXPECT_EQ(text == nullptr, faults.failed());
    cJSON_free(text);
    cJSON_Delete(object);
    EXPECT_EQ(CJsonBlocks(), before);
    if (!faults.failed()) break;
    ASSERT_LT(n, 100u);
  }
  EXPECT_GT(n, 3u);
}

TEST(CJsonAllocationFaults, LeaveOtherThreadsAlone) {
  const CJsonAllocationFaults faults(1, true);
  bool made = false;
  std::thread([&] {
    cJSON* const object = cJSON_CreateObject();
    made = object != nullptr;
    cJSON_Delete(object);
  }).join();
  EXPECT_TRUE(made);
  EXPECT_EQ(cJSON_CreateObject(), nullptr);
}

}  // namespace
}  // namespace varnel::testing
