// LogWriter: what a machine's own boots write into its System log: event 12 for each boot, and event 41 behind it when
// the boot before ended in a crash. Everything goes to the machine's own System-machine.xml, each event in one write;
// what was brought to the machine is never touched. Numbers and times go on from the highest and newest of all that the
// log has. One thread; the machine's tools alone write it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "formats/logged_event.h"
#include "formats/result.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/eventlog/evtx_helper.h"
#include "platform/embedded/tools/crash_mark.h"

namespace varnel::embedded {

/// What was written.
struct LoggedBoot {
  std::uint64_t boot_record_id = 0;
  std::uint64_t boot_time = 0;  // of event 12, as 100 ns since 1601
  std::optional<std::uint64_t> crash_record_id;
};

class LogWriter {
 public:
  explicit LogWriter(const Machine& machine, EvtxHelperOptions helper = {})
      : machine_(machine), helper_(std::move(helper)) {}

  /// Writes what a boot that begins at `boot_time` leaves in the log, and takes the crash's mark away. An Error when
  /// the log can't be read or written. A call that was killed is made again with the next boot: the boot then has two
  /// events 12, but the crash is told once.
  formats::Result<LoggedBoot> LogBoot(std::uint64_t boot_time);

  /// The two events as a current version of the platform writes them.
  formats::LoggedEvent BootEvent(std::uint64_t record_id, std::uint64_t time, std::uint64_t start_time) const;
  formats::LoggedEvent CrashEvent(std::uint64_t record_id, std::uint64_t time, const CrashFacts& facts) const;

  /// Appends one event to the machine's own log.
  formats::Status Append(const formats::LoggedEvent& event) const;

 private:
  formats::LoggedEvent KernelEvent(std::uint64_t record_id, std::uint64_t time) const;
  formats::Result<std::optional<CrashMark>> CrashToTell(std::uint64_t highest) const;
  formats::Status LogCrash(CrashMark mark, LoggedBoot* logged) const;

  const Machine& machine_;
  const EvtxHelperOptions helper_;
};

}  // namespace varnel::embedded
