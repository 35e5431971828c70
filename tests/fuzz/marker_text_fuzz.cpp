// Feeds bytes to the reader of marker files. What it gives holds no characters that end or are left out of a line, and
// stands the same when it is written and read again.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "analyzer/marker_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace varnel;
  std::u16string text(size / sizeof(char16_t), u'\0');
  if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
  std::vector<std::u16string> entries;
  ParseMarkerText(text, &entries);
  std::u16string written(1, kByteOrderMark);
  std::size_t characters = 0;
  for (const std::u16string& entry : entries) {
    if (entry.empty()) std::abort();
    for (const char16_t c : entry) {
      if (c == kByteOrderMark || c == u'\0' || c == u'\r' || c == u'\n') std::abort();
    }
    characters += entry.size();
    written += MarkerLine(entry);
  }
  if (characters > text.size()) std::abort();
  std::vector<std::u16string> again;
  ParseMarkerText(written, &again);
  if (again != entries) std::abort();
  return 0;
}
