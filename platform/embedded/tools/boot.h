// Boots a machine: what `wardlet machine boot` does. One thread.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/tools/autologger.h"

namespace varnel::embedded {

/// What other parts of the platform do at a boot. An empty function does nothing and succeeds.
struct BootHooks {
  /// Ends the machine's trace sessions and writes out what they hold.
  std::function<formats::Status(const std::shared_ptr<Machine>& machine)> end_sessions;
  /// Deletes a file or an empty folder by its Windows path. @return a Win32 error number; 2 and 3 are fine, since what
  /// is gone needs no deletion.
  std::function<std::uint32_t(const std::string& windows_path)> delete_path;
  /// Writes what the boot leaves in the System log, before the boot record moves on: a boot that is killed in between
  /// is told twice rather than not at all.
  std::function<formats::Status(const std::shared_ptr<Machine>& machine, std::uint64_t boot_time)> log_boot;
  /// Starts one AutoLogger's session.
  StartSession start_session;
};

struct BootReport {
  BootRecord record;  // of the boot that has begun
  std::vector<std::string> deleted;
  std::vector<std::string> not_deleted;  // the path and the error; not tried again
  std::vector<AutoLoggerResult> auto_loggers;
};

/// Ends the machine's boot and begins the next: sessions end, what waited for the boot is deleted, volatile keys go,
/// the System log hears of it, the boot record moves on, AutoLoggers start. An Error, and a machine as it was, while a
/// module is attached or where the sessions do not end.
formats::Result<BootReport> BootMachine(const std::shared_ptr<Machine>& machine, const BootHooks& hooks);

}  // namespace varnel::embedded
