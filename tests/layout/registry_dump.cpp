#include "tests/layout/registry_dump.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

#include "formats/text_encoding.h"
#include "platform/platform.h"

namespace varnel::testing {

std::string Hex(const std::vector<unsigned char>& bytes) {
  std::string text;
  char pair[4];
  for (const unsigned char byte : bytes) {
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

namespace {

/// "path\name type bytes" for each value below a key, "path" for each key; unordered.
void Dump(platform::HKEY key, const std::string& path, std::vector<std::string>* lines) {
  lines->push_back(path);
  platform::Registry& registry = platform::RegistryPort();
  char16_t name[260];
  for (std::uint32_t i = 0;; ++i) {
    std::uint32_t length = 260;
    std::uint32_t type = 0;
    std::vector<unsigned char> data(4096);
    auto size = static_cast<std::uint32_t>(data.size());
    if (registry.RegEnumValueW(key, i, name, &length, &type, data.data(), &size) != 0) break;
    data.resize(size);
    lines->push_back(path + '\\' + formats::Utf16ToUtf8({name, length}) + ' ' + std::to_string(type) + ' ' + Hex(data));
  }
  for (std::uint32_t i = 0;; ++i) {
    std::uint32_t length = 260;
    platform::HKEY below = nullptr;
    if (registry.RegEnumKeyExW(key, i, name, &length) != 0) break;
    ASSERT_EQ(registry.RegOpenKeyExW(key, name, 0, platform::kKeyRead, &below), 0u);
    Dump(below, path + '\\' + formats::Utf16ToUtf8({name, length}), lines);
    registry.RegCloseKey(below);
  }
}

}  // namespace

std::string DumpOf(const char16_t* path) {
  platform::HKEY key = nullptr;
  if (platform::RegistryPort().RegOpenKeyExW(platform::kHkeyLocalMachine, path, 0, platform::kKeyRead, &key) != 0) {
    return "no such key\n";
  }
  std::vector<std::string> lines;
  Dump(key, ".", &lines);
  platform::RegistryPort().RegCloseKey(key);
  std::sort(lines.begin(), lines.end());
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

void ExpectGolden(const std::string& text, const char* file) {
  const std::string path = std::string(VARNEL_GOLDEN_DIR "/") + file;
  if (const char* update = std::getenv("VARNEL_UPDATE_GOLDEN"); update != nullptr && *update == '1') {
    std::ofstream(path, std::ios::binary) << text;
  }
  std::ifstream in(path, std::ios::binary);
  EXPECT_EQ(text, std::string(std::istreambuf_iterator<char>(in), {}));
}

std::string HexOf(const std::u16string& text) {
  std::vector<unsigned char> bytes;
  for (const char16_t c : text) {
    bytes.push_back(static_cast<unsigned char>(c & 0xFF));
    bytes.push_back(static_cast<unsigned char>(c >> 8));
  }
  return Hex(bytes);
}

void DeleteKeys(std::initializer_list<const char16_t*> paths) {
  for (const char16_t* path : paths) platform::RegistryPort().RegDeleteTreeW(platform::kHkeyLocalMachine, path);
}

}  // namespace varnel::testing
