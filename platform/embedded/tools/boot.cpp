#include "platform/embedded/tools/boot.h"

#include <algorithm>

#include "platform/embedded/core/attachment.h"
#include "platform/embedded/registry/lmdb_registry.h"

namespace varnel::embedded {
namespace {

using namespace platform;
using formats::Error;
using formats::Result;
using formats::Status;

Status CarryOutDeletions(const Machine& machine, const BootHooks& hooks, BootReport* report) {
  return machine.CarryOutPendingDeletes([&](const std::string& path) {
    const std::uint32_t error = hooks.delete_path ? hooks.delete_path(path) : kErrorSuccess;
    if (error == kErrorSuccess || error == kErrorFileNotFound || error == kErrorPathNotFound) {
      report->deleted.push_back(path);
    } else {
      report->not_deleted.push_back(path + " (error " + std::to_string(error) + ")");
    }
  });
}

Status BeginBoot(const std::shared_ptr<Machine>& machine, const BootHooks& hooks, BootReport* report) {
  const auto last = machine->ReadBoot();
  if (!last.ok()) return last.error();
  // A machine's time never runs back, whatever the host's clock did.
  const std::uint64_t now = std::max(FileTimeNow(), last.value().file_time + 1);
  report->record = BootRecord{last.value().number + 1, now, HostBootId()};
  if (hooks.log_boot) {
    Status logged = hooks.log_boot(machine, now);
    if (!logged.ok()) return logged;
  }
  return machine->WriteBoot(report->record);
}

}  // namespace

Result<BootReport> BootMachine(const std::shared_ptr<Machine>& machine, const BootHooks& hooks) {
  const auto alone = Attachment::TryExclusive(*machine);
  if (!alone.ok()) return alone.error();
  if (!alone.value()) return Error{machine->root() + ": a module is running on this machine; stop it first"};
  // Opened before anything is ended: a registry that can't be used leaves the machine as it was.
  LmdbRegistry registry(machine->RegistryPath());
  const std::uint32_t opened = registry.Open();
  if (opened != kErrorSuccess) {
    return Error{machine->RegistryPath() + ": can't be opened (error " + std::to_string(opened) + ")"};
  }
  const Status ended = hooks.end_sessions ? hooks.end_sessions(machine) : formats::Ok();
  if (!ended.ok()) return ended.error();
  BootReport report;
  const Status deleted = CarryOutDeletions(*machine, hooks, &report);
  if (!deleted.ok()) return deleted.error();
  const std::uint32_t dropped = registry.DropVolatileKeys();
  if (dropped != kErrorSuccess) {
    return Error{machine->RegistryPath() + ": can't be written (error " + std::to_string(dropped) + ")"};
  }
  const Status begun = BeginBoot(machine, hooks, &report);
  if (!begun.ok()) return begun.error();
  if (hooks.start_session) report.auto_loggers = StartAutoLoggers(registry, hooks.start_session);
  return report;
}

}  // namespace varnel::embedded
