#include "platform/embedded/tools/machine_layout.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <span>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "interfaces/wardlet_tool.h"
#include "platform/embedded/registry/lmdb_registry.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;
using namespace platform;
using formats::Error;
using formats::Result;
using formats::Status;

constexpr const char* kFolders[] = {
    "Windows/System32/LogFiles/WMI",
    "Windows/System32/config/systemprofile",
    "Windows/System32/winevt/Logs",
    "Windows/Minidump",
    "Windows/Temp",
    "ProgramData",
    "Program Files/Common Files",
    "Program Files/Varnel/Wardlet",
    "Program Files/Varnel/Host",
    "Program Files/Varnel/Setup",
    "Users/Public",
};

// What a load looks for is that the file is there; its name says what answers.
constexpr const char* kStandIns[] = {
    "Windows/System32/kernel32.dll",         "Windows/System32/ntdll.dll",
    "Windows/System32/advapi32.dll",         "Windows/System32/tdh.dll",
    "Windows/System32/wevtapi.dll",          "Windows/System32/dbgeng.dll",
    "Windows/System32/dbghelp.dll",          "Program Files/Varnel/Wardlet/VarnelWardlet.dll",
    "Program Files/Varnel/Host/wardlet.exe", "Program Files/Varnel/Setup/symsrv.dll",
};

struct TextValue {
  const char16_t* key;
  const char16_t* name;
  std::uint32_t type;
  const char16_t* text;
};
constexpr TextValue kTextValues[] = {
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"DumpFile", kRegExpandSz, u"%SystemRoot%\\MEMORY.DMP"},
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"MinidumpDir", kRegExpandSz, u"%SystemRoot%\\Minidump"},
    {u"SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName", u"ComputerName", kRegSz, u"MACHINE"},
};

struct NumberValue {
  const char16_t* key;
  const char16_t* name;
  std::uint32_t number;
};
constexpr NumberValue kNumberValues[] = {
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"CrashDumpEnabled", 7},  // automatic
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"AutoReboot", 1},
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"LogEvent", 1},
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"Overwrite", 1},
    {u"SYSTEM\\CurrentControlSet\\Control\\CrashControl", u"MinidumpsCount", 50},
};

constexpr const char16_t* kEmptyKeys[] = {
    u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger",
    u"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
};

std::string Name(const std::string& path) {
  return fs::path(path).filename().string();
}

Status MakeFile(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << content;
  out.flush();
  return out ? formats::Ok() : Status(Error{path + ": " + std::strerror(errno)});
}

Status MakeDrive(const Machine& machine) {
  const std::string drive = machine.DrivePath('C') + '/';
  // Something outside the module puts the symbol server's client where the analyzer takes it from.
  const std::string data = drive + "ProgramData/KelvoVarnels/" + formats::FormatGuid(GUID_WARDLET_TOOL);
  std::error_code error;
  for (const char* folder : kFolders) {
    fs::create_directories(drive + folder, error);
    if (error) return Error{drive + folder + ": " + error.message()};
  }
  fs::create_directories(data, error);
  if (error) return Error{data + ": " + error.message()};
  for (const char* path : kStandIns) {
    const auto made = MakeFile(drive + path, "stand-in for " + Name(path) + "\n");
    if (!made.ok()) return made.error();
  }
  const auto client = MakeFile(data + "/symsrv.dll", "stand-in for symsrv.dll\n");
  return client.ok() ? MakeFile(drive + "Program Files/Varnel/Setup/symsrv.yes", "") : client;
}

// Writes values of the machine's registry and keeps the first failure.
class RegistryWriter {
 public:
  explicit RegistryWriter(Registry* registry) : registry_(registry) {}

  void Key(std::u16string_view path) { Value(path, nullptr, kRegNone, {}); }
  void Text(std::u16string_view path, const char16_t* name, std::uint32_t type, const char16_t* text) {
    const std::size_t units = std::char_traits<char16_t>::length(text) + 1;  // the ending zero is stored with it
    Value(path, name, type, std::as_bytes(std::span(text, units)));
  }
  void Number(std::u16string_view path, const char16_t* name, std::uint32_t number) {
    Value(path, name, kRegDword, std::as_bytes(std::span(&number, 1)));
  }
  std::uint32_t result() const { return result_; }

 private:
  // No bytes: the key alone.
  void Value(std::u16string_view path, const char16_t* name, std::uint32_t type, std::span<const std::byte> bytes) {
    if (result_ != kErrorSuccess) return;
    HKEY key = nullptr;
    result_ = registry_->RegCreateKeyExW(kHkeyLocalMachine, std::u16string(path).c_str(), kRegOptionNonVolatile,
                                         kKeyWrite, &key, nullptr);
    if (result_ != kErrorSuccess) return;
    if (!bytes.empty()) {
      result_ = registry_->RegSetValueExW(key, name, type, bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    }
    registry_->RegCloseKey(key);
  }

  Registry* const registry_;
  std::uint32_t result_ = kErrorSuccess;
};

Status MakeRegistry(const Machine& machine) {
  LmdbRegistry registry(machine.RegistryPath());
  RegistryWriter writer(&registry);
  const std::u16string guid = formats::Utf8ToUtf16(formats::FormatGuid(GUID_WARDLET_TOOL));
  writer.Text(u"SOFTWARE\\KelvoCLSID\\" + guid + u"\\InprocServer32", nullptr, kRegSz, kModulePath);
  for (const TextValue& value : kTextValues) writer.Text(value.key, value.name, value.type, value.text);
  for (const NumberValue& value : kNumberValues) writer.Number(value.key, value.name, value.number);
  for (const char16_t* key : kEmptyKeys) writer.Key(key);
  std::uint32_t result = writer.result();
  if (result == kErrorSuccess) result = registry.RegFlushKey(kHkeyLocalMachine);
  if (result == kErrorSuccess) return formats::Ok();
  return Error{machine.RegistryPath() + ": the registry can't be made (error " + std::to_string(result) + ")"};
}

}  // namespace

Result<std::shared_ptr<Machine>> NewMachine(const std::string& root) {
  std::error_code ignored;
  const bool was_there = fs::exists(root, ignored);
  const bool may_be_cleared = !was_there || (fs::is_directory(root, ignored) && fs::is_empty(root, ignored));
  auto machine = Machine::Begin(root);
  Status made = machine.ok() ? MakeDrive(*machine.value()) : Status(machine.error());
  if (made.ok()) made = MakeRegistry(*machine.value());
  // Whoever is killed before this line leaves a folder that is no machine.
  if (made.ok()) made = machine.value()->Finish();
  if (made.ok()) return machine;
  if (!may_be_cleared) return made.error();
  for (const auto& entry : fs::directory_iterator(root, ignored)) fs::remove_all(entry.path(), ignored);
  if (!was_there) fs::remove(root, ignored);
  return made.error();
}

}  // namespace varnel::embedded
