// The record of what happens at the consumers' queues, in a file that is mapped: what a process wrote stays there when
// it is killed, and the next process goes on behind it. Written by the module's recorded build
// (pipeline/order_record.h) when VARNEL_ORDER_RECORD names the file; read by tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/guid.h"

namespace varnel::testing {

enum class OrderRecordKind : std::uint32_t {
  kNone,       // begun and never finished: its process was killed
  kProcess,    // a process has begun to write; all queues are empty
  kInsertion,  // an event was placed in a consumer's queue
  kLook,       // the event at the head is about to be judged
};

struct OrderRecord {
  OrderRecordKind kind = OrderRecordKind::kNone;
  std::uint32_t process_id = 0;
  GUID provider{};
  std::uint64_t keyword = 0;
  std::uint64_t time_stamp = 0;  // the event's
  std::uint32_t counter = 0;
  std::uint32_t is_init_event = 0;
  std::uint64_t position_time_stamp = 0;  // the consumer's position at a look
  std::uint32_t position_counter = 0;
  std::uint32_t tries = 0;  // at a look
};
static_assert(sizeof(OrderRecord) == 64);

/// Makes the file with room for so many records; those behind are not written. False when it can't be made.
bool MakeOrderRecordFile(const std::string& path, std::size_t capacity);

/// The records in the order in which they were begun. For a consumer that is the order in which they happened, since
/// its lock is held around them.
std::vector<OrderRecord> ReadOrderRecords(const std::string& path);

}  // namespace varnel::testing
