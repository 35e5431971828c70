#include "platform/embedded/tools/log_writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "formats/event_xml_writer.h"
#include "formats/value_text.h"
#include "platform/embedded/core/unique_fd.h"
#include "platform/embedded/eventlog/log_reader.h"
#include "platform/embedded/eventlog/system_log.h"

namespace varnel::embedded {
namespace {

using formats::LoggedEvent;

constexpr std::uint64_t kTicksPerMillisecond = 10'000;
constexpr std::uint64_t kHalfSecond = 500 * kTicksPerMillisecond;
// Event 41 stands well behind the boot that writes it; readers that cut times to milliseconds still see which is which.
constexpr std::uint64_t kCrashBehindBoot = 20 * kTicksPerMillisecond;
constexpr std::uint32_t kKernelProcess = 4;
constexpr std::uint32_t kKernelThread = 8;

void AddData(LoggedEvent* event, const char* name, std::string value) {
  event->data.push_back({formats::LoggedEventData::Kind::kData, name, std::move(value)});
}

std::string HexText(std::uint64_t value) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llx", static_cast<unsigned long long>(value));
  return text;
}

}  // namespace

LoggedEvent LogWriter::KernelEvent(std::uint64_t record_id, std::uint64_t time) const {
  LoggedEvent event;
  event.version = 0;
  event.opcode = 0;
  event.time_created = time;
  event.record_id = record_id;
  event.has_correlation = true;
  event.process_id = kKernelProcess;
  event.thread_id = kKernelThread;
  event.channel = "System";
  event.computer = "MACHINE";
  event.user_id = "S-1-5-18";
  event.has_event_data = true;
  return event;
}

LoggedEvent LogWriter::BootEvent(std::uint64_t record_id, std::uint64_t time, std::uint64_t start_time) const {
  LoggedEvent event = KernelEvent(record_id, time);
  event.provider_name = "Microsoft-Windows-Kernel-General";
  event.provider_guid = "{a68ca8b7-004f-d7b6-a698-07e2de0f1f5d}";
  event.event_id = 12;
  event.level = 4;
  event.task = 1;
  event.keywords = 0x8000000000000080;
  AddData(&event, "MajorVersion", "10");
  AddData(&event, "MinorVersion", "0");
  AddData(&event, "BuildVersion", "26100");
  AddData(&event, "QfeVersion", "3194");
  AddData(&event, "ServiceVersion", "0");
  AddData(&event, "BootMode", "0");
  // The kernel knows when it began to the half second.
  AddData(&event, "StartTime", formats::FileTimeText(start_time - start_time % kHalfSecond));
  return event;
}

LoggedEvent LogWriter::CrashEvent(std::uint64_t record_id, std::uint64_t time, const CrashFacts& facts) const {
  LoggedEvent event = KernelEvent(record_id, time);
  event.provider_name = "Microsoft-Windows-Kernel-Power";
  event.provider_guid = "{331c3b3a-2005-44c2-ac5e-77220c37d6b4}";
  event.event_id = 41;
  event.version = 10;
  event.level = 1;
  event.task = 63;
  event.keywords = 0x8000400000000002;
  AddData(&event, "BugcheckCode", std::to_string(facts.bugcheck_code));
  for (std::size_t i = 0; i < facts.parameters.size(); ++i) {
    AddData(&event, ("BugcheckParameter" + std::to_string(i + 1)).c_str(), HexText(facts.parameters[i]));
  }
  AddData(&event, "SleepInProgress", "0");
  AddData(&event, "PowerButtonTimestamp", std::to_string(facts.power_button_time));
  constexpr std::pair<const char*, const char*> kOthers[] = {{"BootAppStatus", "0"},
                                                             {"Checkpoint", "0"},
                                                             {"ConnectedStandbyInProgress", "false"},
                                                             {"SystemSleepTransitionsToOn", "0"},
                                                             {"CsEntryScenarioInstanceId", "0"},
                                                             {"BugcheckInfoFromEFI", "false"},
                                                             {"CheckpointStatus", "0"},
                                                             {"CsEntryScenarioInstanceIdV2", "0"},
                                                             {"LongPowerButtonPressDetected", "false"},
                                                             {"LidReliability", "false"},
                                                             {"InputSuppressionState", "0"},
                                                             {"PowerButtonSuppressionState", "0"},
                                                             {"LidState", "3"},
                                                             {"WHEABootErrorCount", "0"}};
  for (const auto& [name, value] : kOthers) AddData(&event, name, value);
  return event;
}

formats::Status LogWriter::Append(const LoggedEvent& event) const {
  const std::string path = MachineLogFile(machine_);
  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
  struct stat info {};
  if (!fd.valid() || ::fstat(fd.get(), &info) != 0) return formats::Error{path + ": " + std::strerror(errno)};
  std::string text = formats::WriteEventXml(event) + "\r\n";
  char last = '\n';
  // The rest of a line that a power cut left stays a line of its own.
  if (info.st_size > 0 && ::pread(fd.get(), &last, 1, info.st_size - 1) == 1 && last != '\n') text.insert(0, "\r\n");
  const ssize_t written = ::write(fd.get(), text.data(), text.size());
  if (written == static_cast<ssize_t>(text.size()) && ::fdatasync(fd.get()) == 0) return formats::Ok();
  const int error = written < 0 ? errno : ENOSPC;
  static_cast<void>(::ftruncate(fd.get(), info.st_size) == 0);
  return formats::Error{path + ": " + std::strerror(error)};
}

/// Chooses the event's number before it writes it, so that a boot that comes after a kill can tell whether it stands.
formats::Status LogWriter::LogCrash(CrashMark mark, LoggedBoot* logged) const {
  mark.record_id = logged->boot_record_id + 1;
  formats::Status chosen = WriteCrashMark(machine_, mark);
  if (!chosen.ok()) return chosen;
  formats::Status written = Append(CrashEvent(mark.record_id, logged->boot_time + kCrashBehindBoot, mark.facts));
  if (!written.ok()) return written;
  logged->crash_record_id = mark.record_id;
  return RemoveCrashMark(machine_);
}

/// The crash that has to be told: none when a boot that was killed has told it already. A number that was chosen and
/// not used is given up, since the boot's own event may take it.
formats::Result<std::optional<CrashMark>> LogWriter::CrashToTell(std::uint64_t highest) const {
  auto mark = ReadCrashMark(machine_);
  if (!mark.ok() || !mark.value() || mark.value()->record_id == 0) return mark;
  const bool stands = mark.value()->record_id <= highest;
  mark.value()->record_id = 0;
  const formats::Status changed = stands ? RemoveCrashMark(machine_) : WriteCrashMark(machine_, *mark.value());
  if (!changed.ok()) return changed.error();
  if (stands) mark.value().reset();
  return mark;
}

formats::Result<LoggedBoot> LogWriter::LogBoot(std::uint64_t boot_time) {
  LogReaderOptions options;
  options.helper = helper_;
  const auto log = LogReader::Open(SystemLogFiles(machine_), options);
  if (!log.ok()) return log.error();
  const std::uint64_t highest = log.value()->HighestRecordId();
  if (highest > ~std::uint64_t{0} - 2) return formats::Error{"the System log has no numbers left"};
  const auto crash = CrashToTell(highest);
  if (!crash.ok()) return crash.error();
  LoggedBoot logged;
  logged.boot_record_id = highest + 1;
  logged.boot_time = std::max(boot_time, log.value()->NewestTime() + kTicksPerMillisecond);
  const formats::Status written = Append(BootEvent(logged.boot_record_id, logged.boot_time, boot_time));
  if (!written.ok()) return written.error();
  if (crash.value()) {
    const formats::Status told = LogCrash(*crash.value(), &logged);
    if (!told.ok()) return told.error();
  }
  return logged;
}

}  // namespace varnel::embedded
