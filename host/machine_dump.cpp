#include "host/machine_dump.h"

#include <algorithm>
#include <memory>

#include "formats/text_encoding.h"
#include "host/trace_file.h"
#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/files/resolver.h"
#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/open_key.h"

namespace varnel::host {
namespace {

using embedded::CrashDumpForm;
using embedded::EmbeddedPlatform;
using formats::Error;
using formats::Result;
using formats::Status;

constexpr char16_t kCrashControl[] = u"SYSTEM\\CurrentControlSet\\Control\\CrashControl";
constexpr std::uint64_t kMillisecond = 10'000;  // 100 ns

embedded::OpenKey OpenCrashControl(EmbeddedPlatform& platform) {
  return embedded::OpenKey::Of(*platform.record().registry, platform::kHkeyLocalMachine, kCrashControl,
                               platform::kKeyRead);
}

std::u16string Expanded(EmbeddedPlatform& platform, const std::u16string& text) {
  std::u16string path(32768, u'\0');
  const std::uint32_t size =
      platform.system().ExpandEnvironmentStringsW(text.c_str(), path.data(), static_cast<std::uint32_t>(path.size()));
  path.resize(size == 0 || size > path.size() ? 0 : size - 1);
  return path;
}

// "112126-60234-01.dmp": the day, a number from how long the machine ran, and which one of that name it is.
std::u16string SmallDumpName(const embedded::CrashedMachineOptions& crash, int which) {
  const std::string day = IsoTime(static_cast<std::int64_t>(crash.system_time), TimeDigits::kMicroseconds);
  const std::string name = day.substr(5, 2) + day.substr(8, 2) + day.substr(2, 2) + "-" +
                           std::to_string(crash.up_time / kMillisecond % 100'000) + (which < 10 ? "-0" : "-") +
                           std::to_string(which) + ".dmp";
  return {name.begin(), name.end()};
}

struct Place {
  std::u16string path;
  bool keep_old = false;
};

Result<Place> PlaceOf(EmbeddedPlatform& platform, CrashDumpForm form, const embedded::CrashedMachineOptions& crash) {
  const embedded::OpenKey key = OpenCrashControl(platform);
  const bool small = form == CrashDumpForm::kSmall;
  const auto told = key.is_open() ? key.Text(small ? u"MinidumpDir" : u"DumpFile") : std::nullopt;
  const std::u16string usual = small ? u"%SystemRoot%\\Minidump" : u"%SystemRoot%\\MEMORY.DMP";
  std::u16string path = Expanded(platform, told.value_or(usual));
  while (!path.empty() && path.back() == u'\\') path.pop_back();
  const std::size_t slash = path.rfind(u'\\');
  if (slash == std::u16string::npos) return Error{formats::Utf16ToUtf8(path) + ": no place for a dump"};
  const std::u16string folder = small ? path : path.substr(0, slash);
  const std::uint32_t made = platform.files().CreateFolders(folder.c_str());
  if (made != 0) {
    return Error{formats::Utf16ToUtf8(folder) + ": can't be made (error " + std::to_string(made) + ")"};
  }
  if (!small) {
    const bool keep = key.is_open() && key.Number(u"Overwrite") == 0u;
    return Place{path, keep && platform.files().PathFileExistsW(path.c_str())};
  }
  int which = 1;
  while (platform.files().PathFileExistsW((path + u"\\" + SmallDumpName(crash, which)).c_str())) ++which;
  return Place{path + u"\\" + SmallDumpName(crash, which), false};
}

// The machine's time never runs back, whatever the host's clock did.
Result<embedded::CrashedMachineOptions> CrashNow(const embedded::Machine& machine, const embedded::CrashFacts& facts) {
  const auto boot = machine.ReadBoot();
  if (!boot.ok()) return boot.error();
  embedded::CrashedMachineOptions crash;
  crash.bugcheck_code = facts.bugcheck_code;
  crash.parameters = facts.parameters;
  crash.system_time = std::max(embedded::FileTimeNow(), boot.value().file_time + 1);
  crash.up_time = crash.system_time - boot.value().file_time;
  return crash;
}

}  // namespace

std::optional<CrashDumpForm> DumpFormByName(const std::string& name) {
  if (name == "small") return CrashDumpForm::kSmall;
  if (name == "kernel") return CrashDumpForm::kKernel;
  if (name == "complete") return CrashDumpForm::kComplete;
  return std::nullopt;
}

std::uint32_t CrashDumpType(CrashDumpForm form) {
  return form == CrashDumpForm::kSmall ? 3 : form == CrashDumpForm::kKernel ? 2 : 1;
}

Status ChooseDumpForm(const std::string& folder, CrashDumpForm form) {
  const auto machine = embedded::Machine::Open(folder);
  if (!machine.ok()) return machine.error();
  embedded::LmdbRegistry registry(machine.value()->RegistryPath());
  const auto key = embedded::OpenKey::Of(registry, platform::kHkeyLocalMachine, kCrashControl, platform::kKeyWrite);
  const std::uint32_t result = key.is_open() ? key.SetNumber(u"CrashDumpEnabled", CrashDumpType(form)) : key.result();
  if (result == 0) return formats::Ok();
  return Error{machine.value()->RegistryPath() + ": CrashDumpEnabled can't be written (error " +
               std::to_string(result) + ")"};
}

Result<LeftDump> LeaveDump(const std::string& folder, const embedded::CrashFacts& facts, CrashDumpForm form) {
  const auto platform = EmbeddedPlatform::Open(folder);
  if (!platform.ok()) return platform.error();
  const auto crash = CrashNow(*platform.value()->machine(), facts);
  if (!crash.ok()) return crash.error();
  const auto place = PlaceOf(*platform.value(), form, crash.value());
  if (!place.ok()) return place.error();
  LeftDump left{formats::Utf16ToUtf8(place.value().path), place.value().keep_old};
  if (left.old_one_kept) return left;
  // A new file, with a creation time of its own, by which readers tell the newest.
  platform.value()->files().DeleteFileW(place.value().path.c_str());
  const auto host = embedded::Resolve(*platform.value()->machine(), place.value().path);
  if (!host.ok()) return host.error();
  if (host.value().exists) return Error{left.windows_path + ": what stands there can't be replaced"};
  embedded::FileSink sink(host.value().path);
  const Status written = embedded::WriteCrashDump(embedded::CrashedMachine(crash.value()), {form, true, true}, &sink);
  if (!written.ok()) return written.error();
  return left;
}

}  // namespace varnel::host
