#include "host/machine_boot.h"

#include <memory>

#include "formats/text_encoding.h"
#include "host/trace_file.h"
#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/tools/log_writer.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::host {
namespace {

using embedded::EmbeddedPlatform;

std::uint32_t DeletePath(EmbeddedPlatform& platform, const std::string& windows_path) {
  const std::u16string path = formats::Utf8ToUtf16(windows_path);
  const std::uint32_t attributes = platform.files().GetFileAttributesW(path.c_str());
  const bool folder =
      attributes != platform::kInvalidFileAttributes && (attributes & platform::kFileAttributeDirectory) != 0;
  const bool deleted =
      folder ? platform.files().RemoveDirectoryW(path.c_str()) : platform.files().DeleteFileW(path.c_str());
  return deleted ? platform::kErrorSuccess : platform.system().GetLastError();
}

}  // namespace

formats::Result<embedded::BootReport> BootTheMachine(const std::string& folder) {
  // A platform of its own, which is not attached: an attachment is what a boot waits for.
  auto platform = EmbeddedPlatform::Open(folder);
  if (!platform.ok()) return platform.error();
  const std::shared_ptr<embedded::Machine> machine = platform.value()->machine();
  embedded::BootHooks hooks;
  hooks.end_sessions = [](const std::shared_ptr<embedded::Machine>& booted) {
    if (embedded::EndAllSessions(*booted)) return formats::Ok();
    return formats::Status(formats::Error{booted->SessionsPath() + ": a session can't be ended"});
  };
  hooks.delete_path = [&platform](const std::string& path) { return DeletePath(*platform.value(), path); };
  hooks.log_boot = [](const std::shared_ptr<embedded::Machine>& booted, std::uint64_t boot_time) {
    const auto logged = embedded::LogWriter(*booted).LogBoot(boot_time);
    return logged.ok() ? formats::Ok() : formats::Status(logged.error());
  };
  hooks.start_session = [options = embedded::TraceOptionsOf(machine)](const embedded::AutoLogger& session) {
    return embedded::StartSessionFromAutoLogger(options, session);
  };
  return embedded::BootMachine(machine, hooks);
}

std::string BootAsText(const embedded::BootReport& report) {
  std::string text = "boot " + std::to_string(report.record.number) + " at " +
                     IsoTime(static_cast<std::int64_t>(report.record.file_time), TimeDigits::kMicroseconds) + '\n';
  for (const std::string& path : report.deleted) text += "deleted " + path + '\n';
  for (const std::string& path : report.not_deleted) text += "not deleted " + path + '\n';
  for (const embedded::AutoLoggerResult& logger : report.auto_loggers) {
    text += (logger.result == 0 ? "started " : "not started (error " + std::to_string(logger.result) + ") ") +
            formats::Utf16ToUtf8(logger.name) +
            (logger.log_file.empty() ? "" : ", writing " + formats::Utf16ToUtf8(logger.log_file)) + '\n';
  }
  return text;
}

}  // namespace varnel::host
