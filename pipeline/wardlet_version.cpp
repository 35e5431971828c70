#include "pipeline/wardlet_version.h"

#include <cjson/cJSON.h>

#include <array>

#include "base/format.h"

namespace varnel {
namespace {

using VersionText = std::array<char, 64>;

VersionText FormatVersion() {
  VersionText text{};
  FormatTo(text.data(), text.size(), "%d.%d.%d", int{kVersionMajor}, int{kVersionMinor}, int{kVersionBuild});
  return text;
}

}  // namespace

const char* WardletVersionText() {
  static const VersionText text = FormatVersion();
  return text.data();
}

void AddWardletVersion(cJSON* json) {
  if (json == nullptr) return;
  cJSON_AddStringToObject(json, "WardletVersion", WardletVersionText());
}

}  // namespace varnel
