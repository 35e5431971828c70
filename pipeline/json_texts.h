// JsonTexts: one flat JSON object of texts, built for a single print. cJSON copies neither keys nor values: short ones
// stand in a buffer of this object, which therefore lives on the stack of whoever builds it, and long ones are given to
// cJSON to copy. Not synchronised.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

struct cJSON;

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

  // Room for the texts of nearly every event; what does not fit costs two copies more.
  std::array<char, 2048> buffer_;
  std::size_t used_ = 0;
  cJSON* json_;
};

}  // namespace varnel
