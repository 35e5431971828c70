// The judge of the kill test: given what was written, what each run delivered and what each run noted about its queues
// and traces, it finds every event that is missing or came again, and says whether that is one of the losses or repeats
// that the module's order allows. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/guid.h"
#include "tests/scenario/trace_log.h"
#include "tests/support/order_recorder.h"

namespace varnel::scenario {

/// An event of a consumer as the trace file has it. Its running number is its counter, and its index plus one.
struct WrittenEvent {
  std::uint64_t time = 0;    // FILETIME
  std::uint64_t buffer = 0;  // the number of its buffer
};

/// A provider and module: one consumer of the module.
struct WrittenConsumer {
  GUID provider{};
  std::uint64_t keyword = 0;
  std::string name;
  std::vector<WrittenEvent> events;
};

/// A run of the module, from its start to its kill (or its stop, for the last one).
struct RunEvidence {
  std::vector<testing::OrderRecord> order;  // of the queues
  std::vector<TraceRecord> traces;
  std::vector<std::vector<std::uint32_t>> texts;  // running numbers in the order delivered, by consumer
  bool killed = true;
};

struct KillEvidence {
  std::vector<WrittenConsumer> consumers;
  std::vector<RunEvidence> runs;
};

struct KillVerdict {
  std::uint64_t written = 0;
  std::uint64_t delivered = 0;        // different ones
  std::uint64_t repeats = 0;          // the last text of a killed run, whose position was not stored
  std::uint64_t lost_by_order = 0;    // the order of insertions and looks loses it in the model as well
  std::uint64_t lost_unread = 0;      // later events came live, and the kill came before the file was read so far
  std::uint64_t lost_between = 0;     // its buffer closed between the end of the file and the live trace's opening
  std::vector<std::string> failures;  // everything else, one line each
};

KillVerdict Judge(const KillEvidence& evidence);

}  // namespace varnel::scenario
