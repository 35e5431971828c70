#include "base/text.h"

#include <cstdint>
#include <cstring>

namespace varnel {
namespace {

template <typename CharT>
CharT* PutHex(CharT* at, std::uint32_t value, int digits) {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    *at++ = static_cast<CharT>("0123456789ABCDEF"[(value >> shift) & 0xF]);
  }
  return at;
}

template <typename CharT>
void PutGuid(const GUID& guid, CharT* at) {
  *at++ = '{';
  at = PutHex(at, guid.Data1, 8);
  *at++ = '-';
  at = PutHex(at, guid.Data2, 4);
  *at++ = '-';
  at = PutHex(at, guid.Data3, 4);
  *at++ = '-';
  for (int i = 0; i < 8; ++i) {
    if (i == 2) *at++ = '-';
    at = PutHex(at, guid.Data4[i], 2);
  }
  *at++ = '}';
  *at = 0;
}

char16_t Folded(char16_t c) {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}

bool IsDriveRooted(const char16_t* path) {
  const char16_t letter = Folded(path[0]);
  return letter >= u'a' && letter <= u'z' && path[1] == u':';
}

}  // namespace

bool PathAppendW(char16_t* path, const char16_t* more) {
  if (path == nullptr || more == nullptr) return false;
  const bool is_unc = more[0] == u'\\' && more[1] == u'\\';
  if (!is_unc) {
    while (*more == u'\\') ++more;
  }
  const bool replaces = is_unc || IsDriveRooted(more);
  const std::size_t kept = replaces ? 0 : TextLength(path);
  const std::size_t added = TextLength(more);
  const bool separated = kept == 0 || added == 0 || path[kept - 1] == u'\\';
  if (kept + (separated ? 0 : 1) + added >= kMaxPath) {
    path[0] = 0;
    return false;
  }
  char16_t* at = path + kept;
  if (!separated) *at++ = u'\\';
  std::memmove(at, more, (added + 1) * sizeof(char16_t));
  return true;
}

const char16_t* StrStrW(const char16_t* text, const char16_t* needle) {
  if (text == nullptr || needle == nullptr || *needle == 0) return nullptr;
  for (; *text != 0; ++text) {
    std::size_t i = 0;
    while (needle[i] != 0 && text[i] == needle[i]) ++i;
    if (needle[i] == 0) return text;
  }
  return nullptr;
}

std::size_t TextLength(const char16_t* text) {
  std::size_t length = 0;
  while (text[length] != 0) ++length;
  return length;
}

std::size_t TextLength(const char* text) {
  return std::strlen(text);
}

bool CopyText(char16_t* out, std::size_t capacity, const char16_t* text) {
  if (capacity == 0) return false;
  std::size_t i = 0;
  for (; text[i] != 0 && i + 1 < capacity; ++i) out[i] = text[i];
  out[i] = 0;
  return text[i] == 0;
}

int CompareTextNoCase(const char16_t* a, const char16_t* b, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const char16_t folded_a = Folded(a[i]);
    const char16_t folded_b = Folded(b[i]);
    if (folded_a != folded_b) return folded_a < folded_b ? -1 : 1;
    if (folded_a == 0) return 0;
  }
  return 0;
}

int CompareTextNoCase(const char16_t* a, const char16_t* b) {
  return CompareTextNoCase(a, b, SIZE_MAX);
}

void GuidToText(const GUID& guid, char16_t* out) {
  PutGuid(guid, out);
}

void GuidToText(const GUID& guid, char* out) {
  PutGuid(guid, out);
}

}  // namespace varnel
