#include "pipeline/wardlet_version.h"

#include <cjson/cJSON.h>

#include <array>

#include "base/format.h"

namespace varnel {

void AddWardletVersion(cJSON* json) {
  if (json == nullptr) return;
  std::array<char, 64> text{};
  FormatTo(text.data(), text.size(), "%d.%d.%d", int{kVersionMajor}, int{kVersionMinor}, int{kVersionBuild});
  cJSON_AddStringToObject(json, "WardletVersion", text.data());
}

}  // namespace varnel
