#include "host/trace_file.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <system_error>
#include <utility>

#include "formats/text_encoding.h"
#include "host/error_text.h"
#include "host/file_look.h"
#include "host/path_text.h"
#include "platform/unpack.h"

namespace varnel::host {
namespace {

namespace fs = std::filesystem;

/// A file on disk, read by place. Its size is asked anew each time, since a running session may write on it.
class FileSource final : public formats::EtlSource {
 public:
  explicit FileSource(const fs::path& path) : path_(path), in_(path, std::ios::binary) {}

  bool is_open() const { return in_.is_open(); }

  std::uint64_t Size() override { return LookAt(path_).size; }

  bool Read(std::uint64_t offset, std::span<std::byte> into) override {
    in_.clear();
    in_.seekg(static_cast<std::streamoff>(offset));
    in_.read(reinterpret_cast<char*>(into.data()), static_cast<std::streamsize>(into.size()));
    return in_.gcount() == static_cast<std::streamsize>(into.size());
  }

 private:
  fs::path path_;
  std::ifstream in_;
};

enum class Wanted { kPlainFile, kAnythingToRead };

/// Why a path can't be read, as far as the system tells; empty when it is what is wanted.
std::string WhyNoFile(const fs::path& path, Wanted wanted) {
  const FileLook look = LookAt(path);
  if (look.kind == FileKind::kNone) return ErrorText(look.error);
  if (look.kind == FileKind::kFolder) return "is a folder";
  if (wanted == Wanted::kPlainFile && look.kind != FileKind::kPlainFile) return "is no plain file";
  return {};
}

/// Of the opening that just failed.
std::string WhyNotOpened() {
  const int error = errno;
  return error == 0 ? "can't be opened" : ErrorText(std::error_code(error, std::generic_category()));
}

std::string PlaceAndReason(const formats::Error& error) {
  if (error.offset == formats::Error::kNoOffset) return error.message;
  return "byte " + std::to_string(error.offset) + ": " + error.message;
}

}  // namespace

std::unique_ptr<TraceFile> OpenTraceFile(const std::string& path, std::string_view command, std::FILE* err) {
  auto file = std::make_unique<TraceFile>();
  file->path = path;
  if (const std::string reason = WhyNoFile(PathOf(path), Wanted::kPlainFile); !reason.empty()) {
    TellTrace(err, command, path + ": " + reason);
    return nullptr;
  }
  errno = 0;
  auto source = std::make_unique<FileSource>(PathOf(path));
  if (!source->is_open()) {
    TellTrace(err, command, path + ": " + WhyNotOpened());
    return nullptr;
  }
  formats::EtlReadOptions options;
  options.unpack = platform::Unpack;
  auto reader = formats::EtlReader::Open(*source, std::move(options));
  if (!reader.ok()) {
    TellTrace(err, command, path + ": " + PlaceAndReason(reader.error()));
    return nullptr;
  }
  file->source = std::move(source);
  file->reader = std::move(reader).value();
  return file;
}

void TellTrace(std::FILE* err, std::string_view command, std::string_view message) {
  const std::string line = "wardlet " + std::string(command) + ": " + std::string(message) + "\n";
  std::fwrite(line.data(), 1, line.size(), err);
}

void TellDamage(const TraceFile& file, std::string_view command, std::FILE* err) {
  const formats::EtlAccount& account = file.reader->account();
  if (account.skipped_bytes == 0 && !account.cut) return;
  std::string message = file.path + ": " + std::to_string(account.skipped_bytes) + " bytes could not be read, in " +
                        std::to_string(account.damaged_buffers) + " damaged buffers";
  if (account.cut) message += "; the file ends inside a buffer";
  TellTrace(err, command, message);
}

bool ReadWholeFile(const std::string& path, std::string_view command, std::string* out, std::FILE* err) {
  if (const std::string reason = WhyNoFile(PathOf(path), Wanted::kAnythingToRead); !reason.empty()) {
    TellTrace(err, command, path + ": " + reason);
    return false;
  }
  errno = 0;
  std::ifstream in(PathOf(path), std::ios::binary);
  if (!in.is_open()) {
    TellTrace(err, command, path + ": " + WhyNotOpened());
    return false;
  }
  out->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

bool FinishOutput(std::FILE* out, std::string_view command, std::FILE* err) {
  if (std::fflush(out) == 0 && std::ferror(out) == 0) return true;
  TellTrace(err, command, std::string("the output could not be written: ") + std::strerror(errno));
  return false;
}

std::string IsoTime(std::int64_t file_time, TimeDigits digits) {
  using std::chrono::sys_days;
  using std::chrono::year;
  constexpr sys_days kFirstDay = year{1601} / 1 / 1;
  constexpr sys_days kEnd = year{10000} / 1 / 1;
  constexpr std::int64_t kTicksPerSecond = 10'000'000;
  constexpr std::int64_t kTicksPerDay = 86'400 * kTicksPerSecond;
  if (file_time < 0 || file_time >= (kEnd - kFirstDay).count() * kTicksPerDay) return std::to_string(file_time);
  const std::chrono::days day(file_time / kTicksPerDay);
  const std::chrono::year_month_day date(kFirstDay + day);
  const std::int64_t of_day = file_time % kTicksPerDay;
  const auto seconds = static_cast<int>(of_day / kTicksPerSecond);
  const auto ticks = static_cast<int>(of_day % kTicksPerSecond);
  char text[64];
  const int length =
      std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%07d", int(date.year()), unsigned(date.month()),
                    unsigned(date.day()), seconds / 3600, seconds / 60 % 60, seconds % 60, ticks);
  const int kept = length - (static_cast<int>(TimeDigits::kTicks) - static_cast<int>(digits));
  return std::string(text, static_cast<std::size_t>(kept)) + "Z";
}

}  // namespace varnel::host
