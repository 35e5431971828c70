// JsonNode: an owner of one cJSON item. Not synchronised.
#pragma once

#include <cjson/cJSON.h>

#include <utility>

namespace varnel {

/// Deletes the item, unless it was attached to a parent.
class JsonNode {
 public:
  explicit JsonNode(cJSON* item) : item_(item) {}
  ~JsonNode() { cJSON_Delete(item_); }
  JsonNode(const JsonNode&) = delete;
  JsonNode& operator=(const JsonNode&) = delete;

  /// False when memory ran out.
  bool ok() const { return item_ != nullptr; }
  cJSON* get() const { return item_; }

  /// Hands the item over; it stays here when memory runs out.
  void AttachTo(const JsonNode& parent, const char* key) {
    if (cJSON_AddItemToObject(parent.item_, key, item_)) item_ = nullptr;
  }
  void AppendTo(const JsonNode& array) {
    if (cJSON_AddItemToArray(array.item_, item_)) item_ = nullptr;
  }

 private:
  cJSON* item_;
};

}  // namespace varnel
