// JSON that was worked out by hand, and where what was printed differs from it. The test's build names the folder in
// VARNEL_GOLDEN_DIR.
#pragma once

#include <cjson/cJSON.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace varnel::host {

using Json = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

inline Json ParsedJson(const std::string& text) {
  return {cJSON_Parse(text.c_str()), cJSON_Delete};
}

/// Null when there is no such file.
inline Json GoldenJson(const std::string& name) {
  std::ifstream in(std::string(VARNEL_GOLDEN_DIR) + '/' + name, std::ios::binary);
  return ParsedJson({std::istreambuf_iterator<char>(in), {}});
}

/// The first place where two values differ, such as ".modules[3].size"; empty when they are the same.
inline std::string FirstDifference(const cJSON* a, const cJSON* b, const std::string& place) {
  if (cJSON_Compare(a, b, true)) return {};
  const bool both_hold = (cJSON_IsObject(a) && cJSON_IsObject(b)) || (cJSON_IsArray(a) && cJSON_IsArray(b));
  if (!both_hold) return place;
  const cJSON* child = nullptr;
  int index = 0;
  cJSON_ArrayForEach(child, a) {
    const bool object = child->string != nullptr;
    const cJSON* other = object ? cJSON_GetObjectItemCaseSensitive(b, child->string) : cJSON_GetArrayItem(b, index);
    const std::string below = place + (object ? "." + std::string(child->string) : "[" + std::to_string(index) + "]");
    if (other == nullptr) return below;
    const std::string difference = FirstDifference(child, other, below);
    if (!difference.empty()) return difference;
    ++index;
  }
  return place + " (more entries)";
}

}  // namespace varnel::host
