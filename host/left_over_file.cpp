#include "host/left_over_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <span>

#include "formats/etl_writer.h"
#include "formats/guid_text.h"
#include "host/event_payload.h"
#include "platform/embedded/core/machine.h"

namespace varnel::host {
namespace {

using formats::Error;
using formats::Result;
using formats::Status;

constexpr char16_t kSessionName[] = u"KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr char kLogFolder[] = "/Windows/System32/LogFiles/WMI/";

std::string_view TakeField(std::string_view* rest) {
  const std::size_t end = std::min(rest->find(','), rest->size());
  const std::string_view field = rest->substr(0, end);
  rest->remove_prefix(std::min(end + 1, rest->size()));
  return field;
}

Result<std::int64_t> ParseTime(std::string_view text, std::int64_t before) {
  const bool relative = !text.empty() && text.front() == '+';
  const auto number = ParseNumber(relative ? text.substr(1) : text);
  if (!number.ok()) return number.error();
  const std::uint64_t base = relative ? static_cast<std::uint64_t>(before) : 0;
  if (number.value() > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()) - base) {
    return Error{"time '" + std::string(text) + "' is too late"};
  }
  return static_cast<std::int64_t>(base + number.value());
}

Result<EmitTemplate> ParseTemplate(std::string_view text) {
  if (text == "ansi") return EmitTemplate::kAnsi;
  if (text == "wide") return EmitTemplate::kWide;
  if (text == "binary") return EmitTemplate::kBinary;
  return Error{"template '" + std::string(text) + "' is none of ansi, wide, binary"};
}

// Counters and flags have 32 bits in an event.
Result<std::uint32_t> ParseNumber32(std::string_view text) {
  const auto number = ParseNumber(text);
  if (!number.ok()) return number.error();
  if (number.value() > 0xFFFFFFFF) return Error{"'" + std::string(text) + "' does not fit in 32 bits"};
  return static_cast<std::uint32_t>(number.value());
}

Status TakeSetting(std::string_view key, std::string_view value, LeftOverEvent* event) {
  if (key == "provider") {
    event->provider = FindProvider(value);
    if (event->provider == nullptr) return Error{"'" + std::string(value) + "' is none of the seven providers"};
    return formats::Ok();
  }
  if (key == "template") {
    const auto kind = ParseTemplate(value);
    if (!kind.ok()) return kind.error();
    event->kind = kind.value();
    return formats::Ok();
  }
  if (key == "keyword") {
    const auto keyword = ParseNumber(value);
    if (!keyword.ok()) return keyword.error();
    event->keyword = keyword.value();
    return formats::Ok();
  }
  if (key != "flags") return Error{"unknown key '" + std::string(key) + "'"};
  const auto flags = ParseNumber32(value);
  if (!flags.ok()) return flags.error();
  event->flags = flags.value();
  return formats::Ok();
}

std::string FreshGuid() {
  std::random_device random;
  GUID guid{};
  for (std::size_t i = 0; i < sizeof guid; i += 4) {
    const std::uint32_t part = random();
    std::memcpy(reinterpret_cast<char*>(&guid) + i, &part, 4);
  }
  return formats::FormatGuid(guid);
}

// A file that goes away again unless it is kept.
class NewFile {
 public:
  explicit NewFile(std::string path)
      : path_(std::move(path)),
        fd_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)),
        error_(errno) {}
  ~NewFile() {
    if (fd_ < 0) return;
    ::close(fd_);
    if (!kept_) ::unlink(path_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  bool WriteAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (fd_ >= 0 && !bytes.empty()) {
      const ssize_t n = ::pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
      if (n <= 0) {
        error_ = errno;
        return false;
      }
      offset += static_cast<std::uint64_t>(n);
      bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
    return fd_ >= 0;
  }
  void Keep() { kept_ = true; }
  bool is_open() const { return fd_ >= 0; }
  Error Reason() const { return Error{path_ + ": " + std::strerror(error_)}; }

 private:
  const std::string path_;
  const int fd_;
  int error_;
  bool kept_ = false;
};

bool WriteEvent(formats::EtlFileWriter& writer, const LeftOverEvent& event) {
  formats::EtlEventFields fields;
  fields.stamp = writer.StampAt(event.time);
  fields.provider = ProviderGuid(*event.provider);
  fields.id = EventId(event.kind);
  fields.level = 4;
  fields.keyword = event.keyword;
  fields.process_id = static_cast<std::uint32_t>(::getpid());
  fields.thread_id = static_cast<std::uint32_t>(::gettid());
  PayloadFields payload;
  payload.counter = event.counter;
  payload.flags = event.flags;
  return writer.Write(0, fields, MakePayload(event.kind, payload, event.text));
}

}  // namespace

Result<std::uint64_t> ParseNumber(std::string_view text) {
  const bool hexadecimal = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
  const std::string_view digits = hexadecimal ? text.substr(2) : text;
  std::uint64_t number = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number, hexadecimal ? 16 : 10);
  if (digits.empty() || read.ec != std::errc{} || read.ptr != digits.data() + digits.size()) {
    return Error{"'" + std::string(text) + "' is no number"};
  }
  return number;
}

Result<LeftOverEvent> ParseLeftOverEvent(std::string_view text, std::int64_t before) {
  const auto failure = [text](const Error& reason) {
    return Error{"event '" + std::string(text) + "': " + reason.message};
  };
  LeftOverEvent event;
  std::string_view rest = text;
  const auto time = ParseTime(TakeField(&rest), before);
  if (!time.ok()) return failure(time.error());
  const auto counter = ParseNumber32(TakeField(&rest));
  if (!counter.ok()) return failure(counter.error());
  event.time = time.value();
  event.counter = counter.value();
  event.text = '#' + std::to_string(event.counter) + " left over";
  while (!rest.empty()) {
    if (rest.substr(0, 5) == "text=") {
      event.text = rest.substr(5);
      break;
    }
    const std::string_view setting = TakeField(&rest);
    const std::size_t equals = std::min(setting.find('='), setting.size());
    const auto taken =
        TakeSetting(setting.substr(0, equals), setting.substr(std::min(equals + 1, setting.size())), &event);
    if (!taken.ok()) return failure(taken.error());
  }
  return event;
}

Result<std::string> LeftOverPath(std::string_view target, const std::string& machine) {
  const bool temporary = target == "temp";
  const bool automatic = target.substr(0, 5) == "auto:";
  if (!temporary && !automatic) return std::string(target);
  const auto opened = embedded::Machine::Open(machine);
  if (!opened.ok()) return opened.error();
  const std::string folder = opened.value()->DrivePath('C') + kLogFolder;
  if (temporary) return folder + "KWDTempTrace" + kModuleGuidText + FreshGuid() + ".etl";
  const auto number = ParseNumber(target.substr(5));
  if (!number.ok() || number.value() > 999) return Error{"'" + std::string(target) + "': the number is 0 to 999"};
  char digits[8];
  std::snprintf(digits, sizeof digits, "%03u", static_cast<unsigned>(number.value()));
  return folder + "KWDAutoTrace" + kModuleGuidText + ".etl." + digits;
}

Status WriteLeftOverFile(const std::string& path, const std::vector<LeftOverEvent>& events) {
  const auto earlier = [](const LeftOverEvent& a, const LeftOverEvent& b) { return a.time < b.time; };
  const auto [first, last] = std::minmax_element(events.begin(), events.end(), earlier);
  const auto now = static_cast<std::int64_t>(embedded::FileTimeNow());
  NewFile file(path);
  if (!file.is_open()) return file.Reason();
  formats::EtlLogHeader header = formats::EtlFileWriter::DefaultHeader(events.empty() ? now : first->time);
  header.logger_name = kSessionName;
  const auto writer = formats::EtlFileWriter::Create(
      header, [&file](std::uint64_t offset, std::span<const std::byte> bytes) { return file.WriteAt(offset, bytes); });
  if (!writer.ok()) return file.Reason();
  for (const LeftOverEvent& event : events) {
    if (!WriteEvent(*writer.value(), event)) {
      return Error{path + ": the event with counter " + std::to_string(event.counter) + " can't be written"};
    }
  }
  if (!writer.value()->Close(events.empty() ? now : last->time)) return file.Reason();
  file.Keep();
  return formats::Ok();
}

}  // namespace varnel::host
