#include "tests/analyzer/analyzer_fixture.h"

#include "base/log.h"
#include "formats/text_encoding.h"
#include "tests/support/fake_crypto.h"

namespace varnel::testing {
namespace {

constexpr std::uint64_t kHour = 36'000'000'000;

std::string LittleEndian(std::uint64_t value) {
  std::string bytes;
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<char>(value >> (8 * i)));
  return bytes;
}

}  // namespace

std::u16string IdentityOf(const std::string& bytes, std::uint64_t last_write) {
  std::string hashed = LittleEndian(bytes.size()) + LittleEndian(last_write) + bytes.substr(0, 65536);
  if (bytes.size() > 131072) hashed += bytes.substr(bytes.size() - 65536);
  std::u16string text;
  for (const char c : Md5Of(hashed)) {
    const auto byte = static_cast<unsigned char>(c);
    text.push_back(u"0123456789ABCDEF"[byte >> 4]);
    text.push_back(u"0123456789ABCDEF"[byte & 15]);
  }
  return text;
}

std::string MarkerBytes(const TextList& identities) {
  std::string bytes = "\xFF\xFE";
  for (const std::u16string& identity : identities) {
    for (const char16_t c : identity + u"\r\n") {
      bytes.push_back(static_cast<char>(c & 0xFF));
      bytes.push_back(static_cast<char>(c >> 8));
    }
  }
  return bytes;
}

AnalyzerTest::AnalyzerTest() {
  machine.system.environment[u"ProgramData"] = u"C:\\ProgramData";
  machine.files.AddFolder(kDumpFolder);
  machine.registry.MakeKey(kCrashControl);
  SetControl(u"CrashDumpEnabled", 3);
  SetControlText(u"MinidumpDir", u"%SystemRoot%\\Minidump");
  SetLogLevels(LOG_ERROR);
  plan.Clear();
}

AnalyzerTest::~AnalyzerTest() {
  WrapLogClose();
}

void AnalyzerTest::SetLogLevels(std::uint32_t levels) {
  WrapLogInit(levels, nullptr);
}

std::u16string AnalyzerTest::AddDump(std::u16string_view name, const std::string& bytes, std::uint64_t created) {
  const std::u16string path = kDumpFolder + u'\\' + std::u16string(name);
  machine.files.AddFile(path, bytes);
  machine.files.SetTimes(path, created * kHour, kWritten);
  return path;
}

TextList AnalyzerTest::AddDumps(unsigned count) {
  TextList paths;
  for (unsigned i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    paths.push_back(AddDump(formats::Utf8ToUtf16(number + ".dmp"), "dump " + number, 1000 + i));
  }
  return paths;
}

std::u16string AnalyzerTest::Identity(const std::u16string& path) const {
  return IdentityOf(machine.files.Contents(path), kWritten);
}

std::string AnalyzerTest::Marker(const std::u16string& name) const {
  return machine.files.Exists(MarkerPath(name)) ? machine.files.Contents(MarkerPath(name)) : "absent";
}

void AnalyzerTest::PutMarker(const std::u16string& name, const TextList& identities) {
  machine.files.AddFile(MarkerPath(name), MarkerBytes(identities));
}

void AnalyzerTest::SetControlText(const std::u16string& name, const std::u16string& text, std::uint32_t type) {
  machine.registry.Set(kCrashControl, name, type, text.c_str(), (text.size() + 1) * 2);
}

void AnalyzerTest::RemoveControl(const std::u16string& name) {
  platform::HKEY key = nullptr;
  ASSERT_EQ(
      machine.registry.RegOpenKeyExW(platform::kHkeyLocalMachine, kCrashControl.c_str(), 0, platform::kKeyWrite, &key),
      0u);
  EXPECT_EQ(machine.registry.RegDeleteValueW(key, name.c_str()), 0u);
  machine.registry.RegCloseKey(key);
}

std::u16string AnalyzerTest::StoredText(const std::u16string& key, const std::u16string& name) const {
  const auto value = machine.registry.Get(key, name);
  if (!value || value->data.size() < 2) return u"absent";
  return {reinterpret_cast<const char16_t*>(value->data.data()), value->data.size() / 2 - 1};
}

void AnalyzerTest::ExpectNothingHeld() const {
  EXPECT_EQ(machine.handles.open_count(), 0u);
  EXPECT_EQ(machine.registry.open_keys(), 0u);
  EXPECT_EQ(machine.crypto.open_count(), 0u);
  EXPECT_EQ(machine.system.heap_blocks(), 0);
}

}  // namespace varnel::testing
