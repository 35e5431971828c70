#include "host/text_output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "formats/text_encoding.h"
#include "host/output_file.h"

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

}  // namespace

bool WriteWhole(int fd, std::string_view bytes) {
  // No system takes more than this in one call, and one takes no larger number.
  constexpr std::size_t kMost = 1u << 30;
  while (!bytes.empty()) {
    const auto written = ::write(fd, bytes.data(), std::min(bytes.size(), kMost));
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
  bool in_a_line = false;
  const int fd = OpenForAppending(path, &in_a_line);
  if (fd < 0) return failure();
  std::unique_ptr<TextOutput> output(new TextOutput(fd, true, path));
  if (in_a_line && !WriteWhole(fd, "\n")) return failure();
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
