#include "analyzer/marker_text.h"

#include <utility>

namespace varnel {

void ParseMarkerText(std::u16string_view text, std::vector<std::u16string>* identities) {
  std::u16string line;
  for (const char16_t c : text) {
    if (c == kByteOrderMark || c == u'\0') continue;
    if (c != u'\r' && c != u'\n') {
      line.push_back(c);
    } else if (!line.empty()) {
      identities->push_back(std::exchange(line, {}));
    }
  }
  if (!line.empty()) identities->push_back(std::move(line));
}

std::u16string MarkerLine(const std::u16string& identity) {
  return identity + u"\r\n";
}

}  // namespace varnel
