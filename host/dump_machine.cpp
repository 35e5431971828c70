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

/// The file's own name as far as a machine takes it, with the ending of dumps, and unlike the names before.
std::string DumpName(const std::string& file, std::set<std::string>* taken) {
  std::string stem = fs::path(file).filename().string();
  if (stem.size() > 4 && (stem.ends_with(".dmp") || stem.ends_with(".DMP"))) stem.resize(stem.size() - 4);
  for (char& c : stem) {
    const auto u = static_cast<unsigned char>(c);
    if (u < 0x21 || u > 0x7E || std::strchr("<>:\"/\\|?*", c) != nullptr) c = '_';
  }
  std::string folded = stem;
  for (char& c : folded) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  std::string suffix;
  for (int number = 2; !taken->insert(folded + suffix).second; ++number) suffix = "-" + std::to_string(number);
  return stem + suffix + ".dmp";
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
  std::set<std::string> taken;
  std::uint64_t creation = embedded::FileTimeNow();
  for (const std::string& file : files) {
    PlacedDump dump{file, kDumpFolder + DumpName(file, &taken), {}};
    const Status linked =
        embedded::AddLink(*machine.value(), formats::Utf8ToUtf16(dump.windows_path), file, creation--);
    if (!linked.ok()) {
      dump.reason = linked.error().message;
      dump.windows_path.clear();
    }
    dumps.push_back(std::move(dump));
  }
  return dumps;
}

}  // namespace varnel::host
