#include "host/dump_machine.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>

#include "formats/guid_text.h"
#include "formats/text_encoding.h"
#include "interfaces/wardlet_tool.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/machine_layout.h"
#include "platform/embedded/tools/machine_link.h"
#include "platform/embedded/tools/open_key.h"

namespace varnel::host {
namespace {

namespace fs = std::filesystem;
using embedded::Machine;
using formats::Error;
using formats::Status;

constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr std::uint32_t kSmallDumps = 3;
constexpr char kDumpFolder[] = "C:\\Windows\\Minidump\\";
constexpr const char* kMarkers[] = {"analyzed_dumps_nosym.dat", "analyzed_dumps_sym.dat"};
constexpr char kByteOrderMark[] = "\xFF\xFE";  // all that a marker without dumps holds

Status WriteSmallDumps(const Machine& machine) {
  embedded::LmdbRegistry registry(machine.RegistryPath());
  const auto key = embedded::OpenKey::Of(registry, platform::kHkeyLocalMachine, kCrashControl, platform::kKeyWrite);
  const std::uint32_t result = key.is_open() ? key.SetNumber(u"CrashDumpEnabled", kSmallDumps) : key.result();
  if (result == 0) return formats::Ok();
  return Error{machine.RegistryPath() + ": can't be written (error " + std::to_string(result) + ")"};
}

Status WriteMarkers(const Machine& machine) {
  const fs::path folder = fs::path(machine.DrivePath('C')) / "ProgramData" / "KelvoVarnels" / "GlobalCfg" /
                          formats::FormatGuid(GUID_WARDLET_TOOL);
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) return Error{folder.string() + ": " + error.message()};
  for (const char* name : kMarkers) {
    std::ofstream marker(folder / name, std::ios::binary | std::ios::trunc);
    marker << kByteOrderMark;
    marker.flush();
    if (!marker) return Error{(folder / name).string() + ": " + std::strerror(errno)};
  }
  return formats::Ok();
}

constexpr std::size_t kLongestStem = 100;

std::string Folded(std::string text) {
  for (char& c : text) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  return text;
}

/// Such a name is a device, whatever ending it has.
bool NamesADevice(const std::string& stem) {
  const std::string base = Folded(stem.substr(0, stem.find('.')));
  for (const char* name : {"con", "prn", "aux", "nul"}) {
    if (base == name) return true;
  }
  return base.size() == 4 && (base.starts_with("com") || base.starts_with("lpt")) && base[3] >= '0' && base[3] <= '9';
}

/// The file's own name without its ending, as far as a machine takes it.
std::string StemOf(const std::string& file) {
  std::string stem = fs::path(file).filename().string();
  if (stem.size() > 4 && Folded(stem).ends_with(".dmp")) stem.resize(stem.size() - 4);
  for (char& c : stem) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x21 || u > 0x7E || std::strchr("<>:\"/\\|?*", c) != nullptr) c = '_';
  }
  if (NamesADevice(stem)) stem.insert(0, "d");
  if (stem.size() > kLongestStem) stem.resize(kLongestStem);
  return stem;
}

/// A name for each file, in their order, with the ending of dumps. The first of a name has it as it is, those behind it
/// a number that makes no other file's name.
std::vector<std::string> DumpNames(const std::vector<std::string>& files) {
  std::vector<std::string> names(files.size());
  std::set<std::string> taken;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::string stem = StemOf(files[i]);
    if (taken.insert(Folded(stem)).second) names[i] = stem + ".dmp";
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!names[i].empty()) continue;
    const std::string stem = StemOf(files[i]);
    int number = 2;
    while (!taken.insert(Folded(stem + '-' + std::to_string(number))).second) ++number;
    names[i] = stem + '-' + std::to_string(number) + ".dmp";
  }
  return names;
}

}  // namespace

formats::Result<std::vector<PlacedDump>> MakeDumpMachine(const std::string& folder,
                                                         const std::vector<std::string>& files) {
  const auto machine = embedded::NewMachine(folder);
  if (!machine.ok()) return machine.error();
  Status made = WriteSmallDumps(*machine.value());
  if (made.ok()) made = WriteMarkers(*machine.value());
  if (!made.ok()) return made.error();
  std::vector<PlacedDump> dumps;
  const std::vector<std::string> names = DumpNames(files);
  std::uint64_t creation = embedded::FileTimeNow();
  for (std::size_t i = 0; i < files.size(); ++i) {
    PlacedDump dump{files[i], kDumpFolder + names[i], {}};
    const Status linked =
        embedded::AddLink(*machine.value(), formats::Utf8ToUtf16(dump.windows_path), files[i], creation--);
    if (!linked.ok()) {
      const std::string& message = linked.error().message;
      dump.reason = message.starts_with(files[i] + ": ") ? message.substr(files[i].size() + 2) : message;
      dump.windows_path.clear();
    }
    dumps.push_back(std::move(dump));
  }
  return dumps;
}

}  // namespace varnel::host
