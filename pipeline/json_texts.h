// JsonTexts: one flat JSON object of texts, built for a single print. cJSON copies neither keys nor values: short ones
// stand in a buffer of this object, which therefore lives on the stack of whoever builds it, and long ones are given to
// cJSON to copy. The items of short texts stand here too, so that a usual event costs no block for each of its keys.
// Not synchronised.
#pragma once

#include <cjson/cJSON.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace varnel {

class JsonTexts {
 public:
  JsonTexts();
  ~JsonTexts();
  JsonTexts(const JsonTexts&) = delete;
  JsonTexts& operator=(const JsonTexts&) = delete;

  /// False when memory ran out: then nothing else may be called.
  bool ok() const { return json_ != nullptr; }

  /// Each adds one key with a text behind the last one, or nothing when memory runs out. A key or a text that is told
  /// to be constant must outlive this object; the others are taken over before the call returns. All are
  /// NUL-terminated.
  void AddConstant(const char* constant_key, const char* constant_text);
  void AddUnderConstantKey(const char* constant_key, std::string_view text);
  void Add(std::string_view key, std::string_view text);
  void AddConstantText(std::string_view key, const char* constant_text);

  /// The object without white space, as a block that cJSON_free takes; null when memory runs out.
  char* Print() const;

 private:
  /// A NUL-terminated copy in the buffer; null when there is no room.
  const char* Keep(std::string_view text);
  /// An item that refers to a text which outlives this object; null when memory runs out.
  cJSON* Refer(const char* text);
  bool IsOwn(const cJSON* item) const;

  // Room for the texts of nearly every event; what does not fit costs two copies more.
  std::array<char, 2048> buffer_;
  std::size_t used_ = 0;
  std::array<cJSON, 24> items_;  // those in use hang in json_ and are no blocks of cJSON's
  std::size_t items_used_ = 0;
  cJSON* json_;
};

}  // namespace varnel
