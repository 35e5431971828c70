#include "pipeline/json_texts.h"

#include <cstring>
#include <functional>

namespace varnel {
namespace {

constexpr std::size_t kUsualTextSize = 4096;

}  // namespace

JsonTexts::JsonTexts() : json_(cJSON_CreateObject()) {}

JsonTexts::~JsonTexts() {
  if (json_ == nullptr) return;
  // What is left in the object when it is deleted is what cJSON allocated.
  cJSON* last = nullptr;
  cJSON* next = json_->child;
  json_->child = nullptr;
  while (next != nullptr) {
    cJSON* const item = next;
    next = item->next;
    if (IsOwn(item)) continue;
    item->next = nullptr;
    (last != nullptr ? last->next : json_->child) = item;
    last = item;
  }
  cJSON_Delete(json_);
}

bool JsonTexts::IsOwn(const cJSON* item) const {
  return !std::less<>()(item, items_.data()) && std::less<>()(item, items_.data() + items_.size());
}

cJSON* JsonTexts::Refer(const char* text) {
  if (items_used_ == items_.size()) return cJSON_CreateStringReference(text);
  cJSON* item = &items_[items_used_++];
  *item = cJSON{};
  item->type = cJSON_String | cJSON_IsReference;
  item->valuestring = const_cast<char*>(text);  // cJSON writes to no text that an item only refers to
  return item;
}

const char* JsonTexts::Keep(std::string_view text) {
  if (text.size() >= buffer_.size() - used_) return nullptr;
  char* copy = buffer_.data() + used_;
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  used_ += text.size() + 1;
  return copy;
}

void JsonTexts::AddConstant(const char* constant_key, const char* constant_text) {
  cJSON_AddItemToObjectCS(json_, constant_key, Refer(constant_text));
}

void JsonTexts::AddUnderConstantKey(const char* constant_key, std::string_view text) {
  const char* kept = Keep(text);
  if (kept != nullptr) {
    AddConstant(constant_key, kept);
  } else {
    cJSON_AddItemToObjectCS(json_, constant_key, cJSON_CreateString(text.data()));
  }
}

void JsonTexts::Add(std::string_view key, std::string_view text) {
  const char* kept = Keep(key);
  if (kept != nullptr) {
    AddUnderConstantKey(kept, text);
  } else {
    cJSON_AddStringToObject(json_, key.data(), text.data());
  }
}

void JsonTexts::AddConstantText(std::string_view key, const char* constant_text) {
  const char* kept = Keep(key);
  if (kept != nullptr) {
    AddConstant(kept, constant_text);
  } else {
    cJSON_AddStringToObject(json_, key.data(), constant_text);
  }
}

char* JsonTexts::Print() const {
  // Printed first where there is room already, so that the block is taken once and in its final size.
  std::array<char, kUsualTextSize> usual;
  if (!cJSON_PrintPreallocated(json_, usual.data(), usual.size(), /*format=*/0)) return cJSON_PrintUnformatted(json_);
  const std::size_t size = std::strlen(usual.data()) + 1;
  void* text = cJSON_malloc(size);
  if (text != nullptr) std::memcpy(text, usual.data(), size);
  return static_cast<char*>(text);
}

}  // namespace varnel
