#include "tests/analyzer/dump_machine.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>

#include "formats/text_encoding.h"
#include "platform/embedded/tools/machine_layout.h"
#include "tests/analyzer/analyzer_fixture.h"
#include "tests/analyzer/dump_state.h"

namespace varnel::testing {
namespace {

using platform::HKEY;

constexpr std::uint64_t kHour = 36'000'000'000;
constexpr std::uint64_t kLastWrite = 133'000'000'000'000'000;
constexpr std::uint64_t kFirstCreation = 132'000'000'000'000'000;

std::string NewFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "varnel-dumps-XXXXXX").string();
  return ::mkdtemp(pattern.data()) == nullptr ? std::string() : pattern;
}

}  // namespace

DumpMachine::DumpMachine() : owned_(NewFolder()), root_(owned_ + "/machine") {
  EXPECT_TRUE(embedded::NewMachine(root_).ok());
  Open();
  HKEY key = nullptr;
  auto& registry = *ports().registry;
  EXPECT_EQ(registry.RegCreateKeyExW(platform::kHkeyLocalMachine, kCrashControl.c_str(), 0, platform::kKeyWrite, &key,
                                     nullptr),
            0u);
  const std::uint32_t small = 3;
  EXPECT_EQ(registry.RegSetValueExW(key, u"CrashDumpEnabled", platform::kRegDword, &small, 4), 0u);
  registry.RegCloseKey(key);
  EXPECT_EQ(ports().files->CreateFolders(kDumpFolder.c_str()), 0u);
}

DumpMachine::DumpMachine(const std::string& root) : root_(root) {
  Open();
}

DumpMachine::~DumpMachine() {
  Close();
  if (!owned_.empty()) std::filesystem::remove_all(owned_);
}

void DumpMachine::Open() {
  auto opened = embedded::EmbeddedPlatform::Open(root_);
  ASSERT_TRUE(opened.ok());
  platform_ = std::move(opened.value());
  in_force_ = std::make_unique<platform::ScopedPlatform>(&platform_->record());
}

void DumpMachine::Close() {
  in_force_.reset();
  platform_.reset();
}

std::u16string DumpMachine::AddDump(const std::string& name, const std::string& bytes, std::uint64_t created) {
  const std::u16string path = kDumpFolder + u'\\' + formats::Utf8ToUtf16(name);
  auto& files = *ports().files;
  const auto file = files.CreateFileW(path.c_str(), platform::kGenericWrite, 0, platform::kCreateAlways, 0);
  std::uint32_t written = 0;
  EXPECT_TRUE(files.WriteFile(file, bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written, nullptr));
  const platform::FILETIME creation = platform::ToFileTime(kFirstCreation + created * kHour);
  const platform::FILETIME last_write = platform::ToFileTime(kLastWrite);
  EXPECT_TRUE(files.SetFileTime(file, &creation, nullptr, &last_write));
  ports().system->CloseHandle(file);
  dumps_[path] = {bytes.empty() ? u"" : IdentityOf(bytes, kLastWrite), created, true};
  return path;
}

std::string DumpMachine::MarkerFile(DumpKind kind) const {
  return root_ + "/C/ProgramData/KelvoVarnels/GlobalCfg/{4A234956-2B7D-4221-BADF-12593BD342A8}/" +
         (kind == DumpKind::kNoSymbol ? "analyzed_dumps_nosym.dat" : "analyzed_dumps_sym.dat");
}

std::string DumpMachine::Marker(DumpKind kind) const {
  std::ifstream in(MarkerFile(kind), std::ios::binary);
  return in ? std::string(std::istreambuf_iterator<char>(in), {}) : "absent";
}

DumpModel DumpMachine::State() {
  DumpModel model;
  model.dumps = dumps_;
  model.no_symbol = KeptState(DumpKind::kNoSymbol, Marker(DumpKind::kNoSymbol));
  model.with_symbol = KeptState(DumpKind::kWithSymbol, Marker(DumpKind::kWithSymbol));
  return model;
}

}  // namespace varnel::testing
