// TextOutput writes the module's texts, each as one whole line of NDJSON, in the order in which it is called. A text is
// with the system when Write returns, so that a position that moves afterwards never runs ahead of the output.
// Any thread may call Write; texts of several threads do not mix.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "formats/result.h"

namespace varnel::host {

class TextOutput {
 public:
  /// Writes to standard output, which stays open.
  static std::unique_ptr<TextOutput> ToStandardOutput();

  /// Appends to a file, made if it is not there. A last line that was cut is ended first, so that it spoils no other.
  static formats::Result<std::unique_ptr<TextOutput>> AppendTo(const std::string& path);

  ~TextOutput();
  TextOutput(const TextOutput&) = delete;
  TextOutput& operator=(const TextOutput&) = delete;

  /// Writes the text and a line end. Bytes that are no UTF-8 become U+FFFD and are counted. False when it could not be
  /// written whole; errno tells why.
  bool Write(std::string_view text);

  const std::string& name() const { return name_; }
  std::uint64_t replaced_bytes() const { return replaced_bytes_.load(std::memory_order_relaxed); }

 private:
  TextOutput(int fd, bool owned, std::string name) : fd_(fd), owned_(owned), name_(std::move(name)) {}

  const int fd_;
  const bool owned_;
  const std::string name_;
  std::atomic<std::uint64_t> replaced_bytes_{0};
  std::mutex mutex_;
  std::string line_;  // guarded by mutex_; kept for its room
};

/// Writes all of it, in as many calls as that takes. False on a failure; errno tells why.
bool WriteWhole(int fd, std::string_view bytes);

}  // namespace varnel::host
