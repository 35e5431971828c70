// Feeds bytes to the reader of the registry's lists. What it gives holds no zero and no empty text, and stands the same
// when it is written and read again.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "analyzer/multi_string.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel;
  std::u16string stored(size / sizeof(char16_t), u'\0');
  if (!stored.empty()) std::memcpy(stored.data(), data, stored.size() * sizeof(char16_t));
  std::vector<std::u16string> list;
  DecodeMultiString(stored, &list);
  std::size_t characters = 0;
  for (const std::u16string& text : list) {
    if (text.empty() || text.find(u'\0') != std::u16string::npos) std::abort();
    characters += text.size();
  }
  if (characters > stored.size()) std::abort();
  std::vector<std::u16string> again;
  DecodeMultiString(EncodeMultiString(list), &again);
  if (again != list) std::abort();
  return 0;
}
