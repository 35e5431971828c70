// What the module writes into a registry that is no scripted one, byte for byte: the same text for every platform. It
// clears the module's keys of the machine that it runs on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "formats/text_encoding.h"
#include "interfaces/wardlet_tool.h"
#include "pipeline/progress_store.h"
#include "platform/platform.h"
#include "session/autologger.h"

namespace varnel {
namespace {

constexpr GUID kProvider = {0x4A234950, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
constexpr char16_t kAutoLogger[] =
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char16_t kPositions[] = u"SOFTWARE\\KelvoCLSID\\GlobalCfg\\{4A234956-2B7D-4221-BADF-12593BD342A8}";

std::string Hex(const std::vector<unsigned char>& bytes) {
  std::string text;
  char pair[4];
  for (const unsigned char byte : bytes) {
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

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

class RegistryLayout : public ::testing::Test {
 protected:
  void SetUp() override { Clear(); }
  void TearDown() override { Clear(); }

 private:
  static void Clear() {
    for (const char16_t* key : {kAutoLogger, kPositions}) {
      platform::RegistryPort().RegDeleteTreeW(platform::kHkeyLocalMachine, key);
    }
  }
};

TEST_F(RegistryLayout, TheRegistrationOfTheBootTimeSessionIsTheSameOnEveryPlatform) {
  ASSERT_EQ(EtwConsumerInstall(), 0u);
  ExpectGolden(DumpOf(kAutoLogger), "autologger.txt");
  ASSERT_EQ(EtwAutoLoggerUninstall(), 0u);
  EXPECT_EQ(DumpOf(kAutoLogger), "no such key\n");
}

TEST_F(RegistryLayout, ThePositionOfAConsumerIsTheSameOnEveryPlatform) {
  ProviderModuleCounter record;
  std::memset(static_cast<void*>(&record), 0, sizeof record);
  record.dwKeyWord = 0x8000000000000018;
  record.dwTimeStamp = 0x01DD79BD7968B9E1;
  record.dwCounter = 0x01020304;
  platform::HKEY key = nullptr;
  ASSERT_EQ(SaveProviderModuleCounter(&kProvider, &record, &key), 0u);
  record.dwKeyWord = 0x20;
  ASSERT_EQ(SaveProviderModuleCounter(&kProvider, &record, &key), 0u);
  platform::RegistryPort().RegCloseKey(key);
  ExpectGolden(DumpOf(kPositions), "positions.txt");

  ProviderModuleCounter* records = nullptr;
  std::uint32_t count = 0;
  ASSERT_EQ(GetTargetProviderModulesCounter(&kProvider, &records, &count), 0u);
  EXPECT_EQ(count, 2u);
  platform::SystemPort().HeapFree(records);
}

}  // namespace
}  // namespace varnel
