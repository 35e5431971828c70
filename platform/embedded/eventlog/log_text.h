// LogText: an exported event log as UTF-8 text by place, whatever encoding it is in: its byte-order mark says, else its
// declaration, else it is UTF-8; and where it says nothing and is not UTF-8, the encoding that the opener names.
// Other encodings than UTF-8 are converted once, into a temporary file without a name. One thread at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "formats/result.h"
#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {

/// Whether a name is that of an encoding which can be converted.
bool IsKnownEncoding(const std::string& name);

class LogText {
 public:
  /// `otherwise` is an encoding as iconv names them, or empty for none. An Error when the file can't be read, or is in
  /// an encoding that nobody knows.
  static formats::Result<std::unique_ptr<LogText>> Open(const std::string& path, const std::string& otherwise);

  /// Bytes of text.
  std::uint64_t size() const { return size_; }
  /// Fills the front of `into` from `offset`. @return how many bytes; fewer than asked for at the end only.
  std::size_t ReadAt(std::uint64_t offset, std::span<char> into) const;

  /// Characters that the conversion replaced by U+FFFD. Those of a text that claims to be UTF-8 are still in it.
  std::uint64_t replaced() const { return replaced_; }

 private:
  LogText() = default;
  formats::Status Convert(const std::string& from, std::uint64_t begin);
  bool IsValidUtf8() const;

  UniqueFd fd_;
  std::uint64_t begin_ = 0;  // of the text in the file
  std::uint64_t size_ = 0;
  std::uint64_t replaced_ = 0;
};

}  // namespace varnel::embedded
