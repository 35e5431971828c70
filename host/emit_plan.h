// EmitPlan decides what a sample provider writes: which event comes next, with which number and text, and what becomes
// of the provider's counter before it. Pure, so that a run can be told from its options. Not thread-safe.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::host {

enum class EmitTemplate { kAnsi, kWide, kBinary };

struct EmitOptions {
  std::uint64_t count = 10;         // events of each provider, repeats not counted
  std::uint64_t first_number = 1;   // the running number of the first
  std::uint64_t gap_every = 0;      // before each n-th event one counter is left out; 0: never
  std::uint64_t repeat_every = 0;   // each n-th event is written twice, with one counter
  std::uint64_t restart_every = 0;  // before each n-th event the counter begins anew
  std::uint32_t min_size = 0;       // of the text in characters; it is never shorter than its number takes
  std::uint32_t max_size = 0;
  std::uint64_t seed = 1;
  std::vector<std::uint64_t> keywords = {0x80};                 // taken in turn
  std::vector<EmitTemplate> templates = {EmitTemplate::kAnsi};  // taken in turn
};

/// One event to write.
struct EmitStep {
  enum class Counter { kNext, kLeaveOneOut, kSameAgain, kBeginAnew };

  std::uint64_t number = 0;  // the running number
  Counter counter = Counter::kNext;
  std::uint64_t keyword = 0;
  EmitTemplate kind = EmitTemplate::kAnsi;
  std::string text;  // "#<number> <provider> ....", ASCII
};

class EmitPlan {
 public:
  EmitPlan(EmitOptions options, std::string provider_name);

  /// False when everything was given out.
  bool Next(EmitStep* step);

 private:
  std::string Text(std::uint64_t number);

  const EmitOptions options_;
  const std::string provider_name_;
  std::mt19937_64 random_;
  std::uint64_t done_ = 0;
  bool repeat_due_ = false;
  EmitStep last_;
};

/// The running number that a delivered text of a planned event carries, in whichever of the three templates; 0 when it
/// carries none.
std::uint64_t RunningNumber(std::string_view json_text);

}  // namespace varnel::host
