// OrderLog: what a run of the module notes about its queues and traces, in a file that is mapped and shared, so that
// nothing noted is lost when the run is killed. The recording build of the module writes it, the kill test reads it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/guid.h"

namespace varnel::scenario {

/// The environment variable that names the file. Without it nothing is noted.
inline constexpr char kOrderLogVariable[] = "VARNEL_ORDER_LOG";

/// "Open buffer" is always the number of the session's buffer that took events at that moment, 0 without a session.
struct OrderRecord {
  enum class Kind : std::uint32_t {
    kNone,       // a record that was never finished
    kInsertion,  // time, counter and flag (announces a start) of an event that was placed in a queue
    kLook,       // time and counter of a queue's head, after `tries` waits, and the consumer's position
    kOpened,     // a trace; flag: live. The open buffer before the call in `number`, behind it in `end_number`
    kBuffer,     // of a trace. The first and last time in `time` and `end_time`, the open buffer in `number`
    kEnded,      // of a trace: ProcessTrace came back
  };
  Kind kind = Kind::kNone;
  std::uint32_t tries = 0;
  GUID provider{};
  std::uint64_t number = 0;  // the keyword, or the open buffer
  std::uint64_t time = 0;
  std::uint64_t end_time = 0;  // the position's time for a look
  std::uint64_t end_number = 0;
  std::uint32_t counter = 0;
  std::uint32_t position_counter = 0;
  std::uint32_t flag = 0;
  std::uint32_t reserved = 0;
};
static_assert(sizeof(OrderRecord) == 72);

/// The writing end. Any thread may add; records stand in the order in which adding began.
class OrderLog {
 public:
  /// The file that the environment names; null without one. It is never unmapped.
  static OrderLog* FromEnvironment();

  void Add(const OrderRecord& record) noexcept;

 private:
  explicit OrderLog(std::byte* base) : base_(base) {}
  std::byte* const base_;
};

/// Makes an empty log. @return false when the file can't be made.
bool MakeOrderLog(const std::string& path);

/// The finished records. `*complete` is false when the file had no room for some, or is none.
std::vector<OrderRecord> ReadOrderLog(const std::string& path, bool* complete);

}  // namespace varnel::scenario
