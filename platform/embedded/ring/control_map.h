// ControlMap: a session's `control` file, mapped and checked. The constants are copied out when it is opened and never
// read from the mapping again. The mapping lives as long as the object; removing the folder does not disturb it. Any
// thread may call; the words are the caller's business.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "formats/etl_clock.h"
#include "formats/result.h"
#include "platform/embedded/ring/layout.h"
#include "platform/embedded/ring/words.h"

namespace varnel::embedded::ring {

/// Where the parts of a control file stand, and how long it is.
struct ControlGeometry {
  std::uint32_t buffer_count = 0;
  std::uint32_t buffer_size = 0;

  std::uint64_t participants() const noexcept { return kHeaderSize; }
  std::uint64_t descriptors() const noexcept { return participants() + kParticipants * sizeof(ParticipantLine); }
  std::uint64_t buffers() const noexcept;
  std::uint64_t total() const noexcept { return buffers() + std::uint64_t{buffer_count} * buffer_size; }
};

class ControlMap {
 public:
  /// Makes a whole control file at `path`: allocated in full, the first buffer open, `file` and `flush_ticks` set. The
  /// file must not exist.
  static formats::Status Create(const std::string& path, SessionConstants constants, const SessionFileNames& file,
                                std::uint64_t flush_ticks);

  /// @return an Error naming the file and the field when it is no control file of this version.
  static formats::Result<std::shared_ptr<ControlMap>> Open(const std::string& path);

  ~ControlMap();
  ControlMap(const ControlMap&) = delete;
  ControlMap& operator=(const ControlMap&) = delete;

  const SessionConstants& constants() const noexcept { return constants_; }
  SessionWords& words() const noexcept { return header_->words; }
  /// The file's names as they stand in the mapping; see SessionFileNames for when they may be read.
  SessionFileNames& file_names() const noexcept { return header_->file; }
  std::span<ParticipantLine> participants() const noexcept { return {participants_, kParticipants}; }
  std::span<BufferDescriptor> descriptors() const noexcept { return {descriptors_, constants_.buffer_count}; }
  std::byte* buffer(std::uint32_t slot) const noexcept {
    return buffers_ + std::uint64_t{slot} * constants_.buffer_size;
  }
  std::uint32_t buffer_size() const noexcept { return constants_.buffer_size; }
  /// Turns this session's stamps into FILETIME, the same for live readers and for the file.
  formats::EtlClock clock() const noexcept {
    return {formats::kEtlClockPerformanceCounter, static_cast<std::int64_t>(constants_.clock_frequency), 0,
            constants_.start_stamp, constants_.start_time};
  }
  SessionState state() const noexcept {
    return static_cast<SessionState>(words().state.load(std::memory_order_acquire));
  }
  OpenBuffer open() const noexcept { return OpenBuffer::Unpack(words().open.load(std::memory_order_acquire)); }
  /// Distinguishes mappings in a process; never 0, never used again.
  std::uint64_t instance() const noexcept { return instance_; }

 private:
  ControlMap(std::byte* base, const SessionConstants& constants, std::uint64_t size);

  const std::uint64_t size_;
  const std::uint64_t instance_;
  const SessionConstants constants_;
  ControlHeader* const header_;
  ParticipantLine* const participants_;
  BufferDescriptor* const descriptors_;
  std::byte* const buffers_;
};

/// What a look at a control file tells without mapping it.
struct ControlGlance {
  SessionConstants constants;
  SessionState state = SessionState::kEnded;
  std::uint64_t device = 0;  // of the session's file, if it has one
  std::uint64_t inode = 0;

  std::u16string_view name() const noexcept { return {constants.name, constants.name_length}; }
};

/// The constants are checked as Open checks them.
formats::Result<ControlGlance> GlanceAt(const std::string& path);

/// A word inside a buffer. REQUIRES: `place` is a multiple of 8 inside the buffer.
inline Word64& EventWord(std::byte* buffer, std::uint32_t place) noexcept {
  return *reinterpret_cast<Word64*>(buffer + place);
}

}  // namespace varnel::embedded::ring
