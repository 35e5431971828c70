#include "pipeline/json_texts.h"

#include <cjson/cJSON.h>

#include <cstring>

namespace varnel {
namespace {

constexpr std::size_t kUsualTextSize = 4096;

}  // namespace

JsonTexts::JsonTexts() : json_(cJSON_CreateObject()) {}

JsonTexts::~JsonTexts() {
  cJSON_Delete(json_);
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
  cJSON_AddItemToObjectCS(json_, constant_key, cJSON_CreateStringReference(constant_text));
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
