#include "host/text_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "formats/text_encoding.h"

namespace varnel::host {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::uint64_t CountReplacements(std::string_view text) {
  std::uint64_t count = 0;
  for (std::size_t at = text.find(kReplacement); at != std::string_view::npos;
       at = text.find(kReplacement, at + kReplacement.size())) {
    ++count;
  }
  return count;
}

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Whether a file ends in the middle of a line.
bool EndsInALine(int fd) {
  struct stat status {};
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return false;
  char last = '\n';
  return ::pread(fd, &last, 1, status.st_size - 1) == 1 && last != '\n';
}

}  // namespace

bool WriteWhole(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

std::unique_ptr<TextOutput> TextOutput::ToStandardOutput() {
  return std::unique_ptr<TextOutput>(new TextOutput(STDOUT_FILENO, false, "standard output"));
}

formats::Result<std::unique_ptr<TextOutput>> TextOutput::AppendTo(const std::string& path) {
  const auto failure = [&path] { return formats::Error{path + ": " + std::strerror(errno)}; };
  // Read access too, for the look at the last byte; what can only be written (a pipe, a device) has no last line.
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, 0666);
  if (fd < 0) fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return failure();
  std::unique_ptr<TextOutput> output(new TextOutput(fd, true, path));
  if (EndsInALine(fd) && !WriteWhole(fd, "\n")) return failure();
  return output;
}

TextOutput::~TextOutput() {
  if (owned_) ::close(fd_);
}

bool TextOutput::Write(std::string_view text) {
  const std::lock_guard lock(mutex_);
  if (IsAscii(text)) {
    line_ = text;
  } else {
    line_ = formats::ToValidUtf8(text);
    replaced_bytes_ += CountReplacements(line_) - CountReplacements(text);
  }
  line_ += '\n';
  return WriteWhole(fd_, line_);
}

}  // namespace varnel::host
