#include "platform/embedded/eventlog/system_log.h"

#include <filesystem>

#include "platform/embedded/files/resolver.h"

namespace varnel::embedded {
namespace {

constexpr char16_t kLogFolder[] = u"C:\\Windows\\System32\\winevt\\Logs";

std::u16string InLogFolder(std::u16string_view name) {
  return std::u16string(kLogFolder) + u'\\' + std::u16string(name);
}

}  // namespace

std::vector<std::string> SystemLogFiles(const Machine& machine) {
  std::vector<std::string> files;
  for (const std::u16string_view name : {u"System.evtx", u"System.xml", u"System-machine.xml"}) {
    HostPath path;
    if (ResolvePath(machine, InLogFolder(name), &path) == 0 && path.exists && !path.IsFolder()) {
      files.push_back(path.path);
    }
  }
  return files;
}

std::string MachineLogFile(const Machine& machine) {
  HostPath path;
  if (ResolvePath(machine, InLogFolder(u"System-machine.xml"), &path) == 0) return path.path;
  HostPath system;
  const bool there = ResolvePath(machine, u"C:\\Windows\\System32", &system) == 0 && system.exists;
  const std::string folder = (there ? system.path : machine.DrivePath('C') + "/Windows/System32") + "/winevt/Logs";
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  if (ResolvePath(machine, InLogFolder(u"System-machine.xml"), &path) == 0) return path.path;
  return folder + "/System-machine.xml";
}

}  // namespace varnel::embedded
