// CrashHistory finds the unexpected restarts in a System log that is fed to it in ascending order of its records, and
// what the log knows of each: the stop code, the boots around it, when the machine was last seen alive, the dump. It
// looks at providers, and reads the numbers as the log writes them. One thread.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/logged_event.h"

namespace varnel::host {

/// A boot: event 12 of Microsoft-Windows-Kernel-General.
struct BootSeen {
  std::uint64_t record_id = 0;
  std::uint64_t start = 0;  // when it began, as 100 ns since 1601, UTC
};

enum class CrashKind {
  kStopError,    // a stop code was written
  kPowerButton,  // the power button was held
  kPowerLost,    // power was lost, or the machine hung, or no code could be written: the log can't tell these apart
};

/// An unexpected restart: event 41 of Microsoft-Windows-Kernel-Power.
struct CrashSeen {
  std::uint64_t record_id = 0;
  std::uint64_t time = 0;  // of the event, which is logged by the boot behind the crash
  std::string computer;
  CrashKind kind = CrashKind::kPowerLost;
  std::uint32_t code = 0;
  std::array<std::uint64_t, 4> parameters{};
  std::optional<BootSeen> boot_before;            // the one that crashed
  std::optional<BootSeen> boot_after;             // the one that logged it
  std::uint64_t last_seen = 0;                    // when the machine was known to be alive; 0: not known
  std::string dump;                               // the file that event 1001 names; empty: none was named
  std::optional<std::uint64_t> uptime() const;    // 100 ns from the boot to the last sign of life
  std::optional<std::uint64_t> downtime() const;  // and from there to the next boot; nothing when a clock was set back
};

class CrashHistory {
 public:
  /// Whether an event's text is worth parsing for Feed. Of the others, Pass is to be told the time.
  static bool Wants(const std::string& provider);

  void Feed(const formats::LoggedEvent& event);
  void Pass(std::uint64_t time);

  /// What was found, in the order of the log.
  const std::vector<CrashSeen>& crashes() const { return crashes_; }

 private:
  void Boot(const formats::LoggedEvent& event);
  void Crash(const formats::LoggedEvent& event);
  void LogBegins();
  void LastAlive(const formats::LoggedEvent& event);
  void Dump(const formats::LoggedEvent& event);

  std::vector<CrashSeen> crashes_;
  std::size_t first_of_boot_ = 0;  // index of the first crash that the present boot logged
  std::optional<BootSeen> boot_before_;
  std::optional<BootSeen> boot_;
  std::uint64_t last_time_ = 0;    // of the record before
  std::uint64_t before_log_ = 0;   // of the record before the log itself began again (event 6009), which may stand
                                   // before the boot's event 12; 0: it did not yet
  std::uint64_t last_before_ = 0;  // of the last record that the boot before wrote
  std::uint64_t last_alive_ = 0;   // by event 6008 of the present boot; 0: none yet
  std::uint64_t next_alive_ = 0;   // by an event 6008 that stands before its boot's event 12
  std::string pending_dump_;       // of an event 1001 that stands before its boot's event 41
};

}  // namespace varnel::host
