// The framing between a process that reads a binary event log and the helper process that takes its records apart.
// Every message is a header of 16 bytes (mark, kind, size of the rest, CRC-32 of the rest), then the rest. Integers are
// of the host's own order, since both ends are of one build on one machine.
//
//   to the helper    kLoadChunk    the 65,536 bytes of one chunk of the log
//                    kListRecords  nothing
//                    kGetRecords   numbers (32 bits each) of the records wanted, counted in the chunk from 0
//   from the helper  kLoaded       nothing
//                    kKeys         one EvtxKey for each record of the chunk
//                    kRecord       a RecordHead, then the record's XML in UTF-8
//                    kUnreadable   a RecordHead
//
// A chunk that can't be read at all has no records. Each wanted record is answered in turn.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::embedded::evtx {

inline constexpr std::size_t kChunkBytes = 65536;
inline constexpr std::size_t kFileHeaderBytes = 4096;

enum class Kind : std::uint32_t {
  kLoadChunk = 1,
  kListRecords = 2,
  kGetRecords = 3,
  kLoaded = 11,
  kKeys = 12,
  kRecord = 13,
  kUnreadable = 14
};

struct Header {
  std::uint32_t mark;
  Kind kind;
  std::uint32_t size;
  std::uint32_t crc;
};
static_assert(sizeof(Header) == 16);

inline constexpr std::uint32_t kMark = 0x58545645;            // "EVTX"
inline constexpr std::uint32_t kMaxMessageBytes = 16u << 20;  // a record of 64 KiB does not swell beyond it

/// What tells the records of a chunk apart.
struct EvtxKey {
  std::uint64_t record_id;
  std::uint64_t written_time;  // 100 ns since 1601
  std::uint32_t index;         // in the chunk, from 0
  std::uint32_t reserved;
};
static_assert(sizeof(EvtxKey) == 24);

struct RecordHead {
  std::uint64_t record_id;  // 0 of one that can't be read
  std::uint32_t index;
  std::uint32_t reserved;
};
static_assert(sizeof(RecordHead) == 16);

struct Message {
  Kind kind = Kind::kUnreadable;
  std::string body;
};

/// The CRC-32 of IEEE 802.3, as event logs use it too.
std::uint32_t Crc32(std::string_view bytes);

/// The message as it goes over the pipe.
std::string Frame(Kind kind, std::string_view body);

/// Why no message came.
enum class Failure { kNone, kEnd, kTimeout, kBroken };

/// Reads one message. `timeout_ms` is the longest wait for any byte of it; -1 for no limit. kEnd when the other side
/// has closed the pipe, kBroken for bytes that are no message.
Failure ReadMessage(int fd, int timeout_ms, Message* message);

/// Writes all of it to a pipe or a socket; a signal for a closed one must be off or is avoided. @return false when the
/// other side is gone or does not take it in `timeout_ms`.
bool WriteBytes(int fd, int timeout_ms, std::string_view bytes);

/// A body that is a list of plain values, and back; nothing when the size does not fit.
template <typename T>
std::string BodyOf(std::span<const T> values) {
  return std::string(reinterpret_cast<const char*>(values.data()), values.size_bytes());
}
template <typename T>
bool ValuesOf(std::string_view body, std::vector<T>* values) {
  if (body.size() % sizeof(T) != 0) return false;
  values->resize(body.size() / sizeof(T));
  body.copy(reinterpret_cast<char*>(values->data()), body.size());
  return true;
}

}  // namespace varnel::embedded::evtx
