#include "analyzer/multi_string.h"

namespace varnel {

void DecodeMultiString(std::u16string_view stored, std::vector<std::u16string>* list) {
  while (!stored.empty() && stored.front() != u'\0') {
    const std::u16string_view text = stored.substr(0, stored.find(u'\0'));
    list->emplace_back(text);
    stored.remove_prefix(text.size() < stored.size() ? text.size() + 1 : text.size());
  }
}

std::u16string EncodeMultiString(const std::vector<std::u16string>& list) {
  std::u16string stored;
  for (const std::u16string& text : list) {
    stored += text;
    stored += u'\0';
  }
  stored += u'\0';
  return stored;
}

}  // namespace varnel
