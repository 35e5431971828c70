#include "host/crash_history.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <utility>

#include "formats/iso_time.h"

namespace varnel::host {
namespace {

using formats::LoggedEvent;
using formats::LoggedEventData;

constexpr std::string_view kBootProvider = "Microsoft-Windows-Kernel-General";
constexpr std::string_view kPowerProvider = "Microsoft-Windows-Kernel-Power";
constexpr std::string_view kReportProvider = "Microsoft-Windows-WER-SystemErrorReporting";
constexpr std::string_view kOldReportProvider = "BugCheck";  // the same source's older name
constexpr std::string_view kLogProvider = "EventLog";

const std::string* DataOf(const LoggedEvent& event, std::string_view name) {
  for (const LoggedEventData& data : event.data) {
    if (data.kind == LoggedEventData::Kind::kData && data.name == name) return &data.value;
  }
  return nullptr;
}

const std::string* UnnamedData(const LoggedEvent& event, std::size_t index) {
  for (const LoggedEventData& data : event.data) {
    if (data.kind == LoggedEventData::Kind::kData && !data.name.has_value() && index-- == 0) return &data.value;
  }
  return nullptr;
}

// Decimal or "0x…", as the log writes the field; 0 for what is no number.
std::uint64_t NumberOf(const LoggedEvent& event, std::string_view name) {
  const std::string* text = DataOf(event, name);
  if (text == nullptr) return 0;
  std::string_view digits = *text;
  const bool hex = digits.substr(0, 2) == "0x" || digits.substr(0, 2) == "0X";
  if (hex) digits.remove_prefix(2);
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
  return error == std::errc() && end == digits.data() + digits.size() ? value : 0;
}

// A 16-bit word, little-endian, of bytes that stand as hexadecimal digits.
std::optional<std::uint16_t> HexWord(std::string_view hex, std::size_t word) {
  std::uint16_t value = 0;
  for (const std::size_t byte : {word * 2 + 1, word * 2}) {
    std::uint8_t part = 0;
    if (byte * 2 + 2 > hex.size()) return std::nullopt;
    const char* at = hex.data() + byte * 2;
    const auto [end, error] = std::from_chars(at, at + 2, part, 16);
    if (error != std::errc() || end != at + 2) return std::nullopt;
    value = static_cast<std::uint16_t>(value << 8 | part);
  }
  return value;
}

// The second SYSTEMTIME of the bytes, which is in UTC (the first is in the machine's zone).
std::uint64_t UtcOfBinary(std::string_view hex) {
  std::array<std::uint16_t, 8> words{};
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto word = HexWord(hex, words.size() + i);
    if (!word.has_value()) return 0;
    words[i] = *word;
  }
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", words[0], words[1], words[3], words[4],
                words[5], words[6], words[7]);
  return formats::ParseIsoTime(text).value_or(0);
}

std::optional<std::uint64_t> Between(std::uint64_t from, std::uint64_t to) {
  if (from == 0 || to < from) return std::nullopt;
  return to - from;
}

}  // namespace

std::optional<std::uint64_t> CrashSeen::uptime() const {
  return boot_before.has_value() ? Between(boot_before->start, last_seen) : std::nullopt;
}

std::optional<std::uint64_t> CrashSeen::downtime() const {
  return boot_after.has_value() ? Between(last_seen, boot_after->start) : std::nullopt;
}

bool CrashHistory::Wants(const std::string& provider) {
  return provider == kBootProvider || provider == kPowerProvider || provider == kReportProvider ||
         provider == kOldReportProvider || provider == kLogProvider;
}

void CrashHistory::Feed(const LoggedEvent& event) {
  const std::string& provider = event.provider_name;
  if (provider == kBootProvider && event.event_id == 12) Boot(event);
  if (provider == kPowerProvider && event.event_id == 41) Crash(event);
  if (provider == kLogProvider && event.event_id == 6009) LogBegins();
  if (provider == kLogProvider && event.event_id == 6008) LastAlive(event);
  if ((provider == kReportProvider || provider == kOldReportProvider) && event.event_id == 1001) Dump(event);
  Pass(event.time_created);
}

void CrashHistory::Pass(std::uint64_t time) {
  last_time_ = time;
}

void CrashHistory::Boot(const LoggedEvent& event) {
  const std::string* start = DataOf(event, "StartTime");
  const auto began = start == nullptr ? std::nullopt : formats::ParseIsoTime(*start);
  boot_before_ = boot_;
  boot_ = BootSeen{event.record_id, began.value_or(event.time_created)};
  first_of_boot_ = crashes_.size();
  last_before_ = last_time_ < boot_->start ? last_time_ : (before_log_ < boot_->start ? before_log_ : 0);
  before_log_ = 0;
  last_alive_ = std::exchange(next_alive_, 0);
  pending_dump_.clear();
}

void CrashHistory::LogBegins() {
  before_log_ = last_time_;
}

void CrashHistory::Crash(const LoggedEvent& event) {
  CrashSeen crash;
  crash.record_id = event.record_id;
  crash.time = event.time_created;
  crash.computer = event.computer;
  crash.code = static_cast<std::uint32_t>(NumberOf(event, "BugcheckCode"));
  for (std::size_t i = 0; i < crash.parameters.size(); ++i) {
    crash.parameters[i] = NumberOf(event, "BugcheckParameter" + std::to_string(i + 1));
  }
  const std::string* long_press = DataOf(event, "LongPowerButtonPressDetected");
  if (crash.code != 0) {
    crash.kind = CrashKind::kStopError;
  } else if (NumberOf(event, "PowerButtonTimestamp") != 0 || (long_press != nullptr && *long_press == "true")) {
    crash.kind = CrashKind::kPowerButton;
  }
  crash.boot_before = boot_before_;
  crash.boot_after = boot_;
  crash.last_seen = last_alive_ != 0 ? last_alive_ : last_before_;
  crash.dump = std::exchange(pending_dump_, {});
  crashes_.push_back(std::move(crash));
}

void CrashHistory::LastAlive(const LoggedEvent& event) {
  std::uint64_t alive = 0;
  for (const LoggedEventData& data : event.data) {
    if (data.kind == LoggedEventData::Kind::kBinary) alive = UtcOfBinary(data.value);
  }
  if (alive == 0) return;
  if (boot_.has_value() && alive >= boot_->start) {
    next_alive_ = alive;  // it speaks of the end of this boot, whose successor has not logged its event 12 yet
    return;
  }
  last_alive_ = alive;
  // The log writes it before or behind event 41 of the same boot.
  for (std::size_t i = first_of_boot_; i < crashes_.size(); ++i) crashes_[i].last_seen = last_alive_;
}

void CrashHistory::Dump(const LoggedEvent& event) {
  const std::string* path = DataOf(event, "param2");
  if (path == nullptr) path = UnnamedData(event, 1);  // of a classic source
  if (path == nullptr) return;
  if (first_of_boot_ < crashes_.size()) {
    crashes_.back().dump = *path;
  } else {
    pending_dump_ = *path;
  }
}

}  // namespace varnel::host
