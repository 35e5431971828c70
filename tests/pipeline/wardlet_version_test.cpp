#include "pipeline/wardlet_version.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <string>

namespace varnel {
namespace {

TEST(WardletVersion, AddsTheFirstThreeNumbersAsText) {
  cJSON* json = cJSON_CreateObject();
  AddWardletVersion(json);
  char* text = cJSON_PrintUnformatted(json);
  EXPECT_EQ(std::string(text), "{\"WardletVersion\":\"1.0.2\"}");
  cJSON_free(text);
  cJSON_Delete(json);
}

TEST(WardletVersion, ANullObjectDoesNothing) {
  AddWardletVersion(nullptr);
}

}  // namespace
}  // namespace varnel
