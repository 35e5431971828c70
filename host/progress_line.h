// ProgressLine shows on a terminal how far a run is, on one line that is written over. Shows nothing when standard
// error is no terminal. One thread at a time.
#pragma once

#include <chrono>
#include <cstdint>

namespace varnel::host {

class ProgressLine {
 public:
  /// `wanted` false: shows nothing.
  explicit ProgressLine(bool wanted);
  /// Clears the line.
  ~ProgressLine();
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Show(std::uint64_t texts, std::chrono::milliseconds elapsed);

 private:
  const bool shown_;
  bool dirty_ = false;
  std::uint64_t texts_ = 0;
  std::chrono::seconds elapsed_{-1};
};

}  // namespace varnel::host
