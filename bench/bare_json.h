// The floor of everything that ends in a JSON text: building and printing the same text with cJSON, key by key, and
// nothing else.
#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "bench_figures.h"

namespace varnel::bench {

/// The keys of every event text with the properties of a text event: the header's eight and four more.
inline constexpr std::size_t kKeysOfAnEvent = 12;

class BareJson {
 public:
  /// Takes one flat object of texts apart.
  void Add(const char* text) {
    cJSON* json = cJSON_Parse(text);
    Require(cJSON_IsObject(json) != 0, "reading a text");
    texts_.emplace_back();
    for (const cJSON* item = json->child; item != nullptr; item = item->next) {
      texts_.back().push_back({item->string, item->valuestring});
    }
    Require(texts_.back().size() == kKeysOfAnEvent, "an event of twelve keys");
    cJSON_Delete(json);
  }

  std::size_t size() const { return texts_.size(); }

  /// Builds, prints and frees each text once. Gives how many there were.
  std::size_t BuildAll() const {
    std::size_t built = 0;
    for (const auto& pairs : texts_) {
      cJSON* json = cJSON_CreateObject();
      for (const auto& [key, value] : pairs) cJSON_AddStringToObject(json, key.c_str(), value.c_str());
      char* text = cJSON_PrintUnformatted(json);
      built += text[1] != 0 ? 1 : 0;
      cJSON_free(text);
      cJSON_Delete(json);
    }
    return built;
  }

 private:
  std::vector<std::vector<std::pair<std::string, std::string>>> texts_;
};

}  // namespace varnel::bench
