// The layout of a session's `control` file: what every process that has to do with the session maps. A page of
// constants and words, one line for each participant, one descriptor for each buffer, then the buffers. All of it is
// foreign bytes to whoever opens it: ControlMap checks the constants once and hands out its own copies.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "interfaces/guid.h"
#include "platform/embedded/ring/words.h"

namespace varnel::embedded::ring {

inline constexpr std::uint64_t kControlMagic = 0x31304C5254435356;  // "VSCTRL01"
inline constexpr std::uint32_t kControlVersion = 1;
inline constexpr std::uint32_t kHeaderSize = 16384;
inline constexpr std::uint32_t kPageSize = 4096;
inline constexpr std::uint32_t kParticipants = 1024;
inline constexpr std::uint32_t kMinimumBufferSize = 4096;
inline constexpr std::uint32_t kMaximumBufferSize = 1024 * 1024;
inline constexpr std::uint32_t kMinimumBufferCount = 2;
inline constexpr std::uint32_t kMaximumBufferCount = 4096;
inline constexpr std::size_t kMaximumName = 1024;  // characters, without the NUL
inline constexpr std::size_t kMaximumHostPath = 4096;

static_assert(kParticipants == 1u << Phase::kParticipantBits);

using Word32 = std::atomic<std::uint32_t>;
using Word64 = std::atomic<std::uint64_t>;
static_assert(Word64::is_always_lock_free && sizeof(Word64) == 8 && Word32::is_always_lock_free && sizeof(Word32) == 4);

/// What does not change after the session has started.
struct SessionConstants {
  std::uint64_t magic;
  std::uint32_t version;
  std::uint32_t header_size;
  std::uint64_t total_size;
  std::uint32_t participant_count;
  std::uint32_t buffer_count;
  std::uint32_t buffer_size;  // bytes
  std::uint32_t logger_id;    // low 16 bits of `id`
  std::uint64_t id;
  std::uint64_t boot_number;
  char host_boot_id[64];  // NUL-terminated
  GUID guid;
  std::uint32_t log_file_mode;
  std::uint32_t minimum_buffers;
  std::uint32_t maximum_buffers;
  std::uint32_t maximum_file_size;  // as given: MiB, or KiB with the mode bit
  std::uint64_t clock_frequency;    // Hz
  std::int64_t start_stamp;         // session clock
  std::int64_t start_time;          // FILETIME
  std::int64_t boot_time;           // FILETIME of the host's boot by the same clock
  std::uint32_t creator_process;
  std::uint32_t creator_thread;
  std::uint32_t processors;
  std::uint32_t has_file;
  std::uint32_t name_length;  // characters
  char16_t name[kMaximumName + 1];
};

/// Which file the session writes. Changes only under the session's exclusive file lock; read under that lock or the
/// shared one, or between two equal values of `file_generation`.
struct SessionFileNames {
  std::uint64_t device;
  std::uint64_t inode;
  std::uint32_t log_file_name_length;  // characters
  char16_t log_file_name[kMaximumName + 1];
  char host_path[kMaximumHostPath];  // NUL-terminated
};

/// How far the closed buffers have come. Two copies stand in the control page; see docs/sessions.md, "The file".
struct FilePlaceWords {
  Word64 next_sequence;
  Word64 buffers_written;  // into the present file, its header buffer not counted
  Word64 events_lost;      // revoked, or in a buffer that was lost
  Word64 buffers_lost;
  Word64 last_stamp;     // session clock: the latest closing time among the buffers passed
  Word64 total_written;  // into all files of this session
};

enum class SessionState : std::uint32_t { kRunning = 1, kStopping = 2, kEnded = 3 };

struct alignas(64) SessionWords {
  alignas(64) Word64 open;           // OpenBuffer
  Word64 flush_ticks;                // session clock; 0: no flush timer
  Word32 state;                      // SessionState
  alignas(64) Word64 place_version;  // the copy in force is its lowest bit
  FilePlaceWords places[2];
  alignas(64) Word64 events_lost;  // never reserved
  alignas(64) Word32 closings;     // counts closed buffers; readers sleep on it
  Word32 sleepers;
  Word32 participants_used;  // no line at or behind this index was ever taken
  Word32 file_generation;    // counts changes of SessionFileNames
};

struct ControlHeader {
  SessionConstants constants;
  SessionFileNames file;
  SessionWords words;
};
static_assert(sizeof(ControlHeader) <= kHeaderSize);

/// One thread that writes, or reads, this session.
struct alignas(64) ParticipantLine {
  Word64 owner;  // OwnerWord of process_identity.h; 0: free
  Word64 mark;   // Mark
};
static_assert(sizeof(ParticipantLine) == 64);

struct alignas(64) BufferDescriptor {
  Word64 word;         // ReservationWord
  Word64 phase;        // Phase
  Word64 first_stamp;  // session clock of the first event; 0: none yet
  Word64 closed_at;    // session clock; 0: not closed
};
static_assert(sizeof(BufferDescriptor) == 64);

}  // namespace varnel::embedded::ring
