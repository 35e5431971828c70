// EventTextScanner finds the events in an exported log's text: "<Event …>…</Event>", one behind the other, with or
// without a root element, a declaration or anything else around them. It looks at tags only; whether the text in
// between is well-formed is its reader's business. An event that is cut short, or larger than an event can be, is
// passed over and counted. Memory is that of the largest event. One thread at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace varnel::formats {

/// Fills the front of `into` with the bytes at `offset`. @return how many; fewer than asked for at the end only.
using ReadTextAt = std::function<std::size_t(std::uint64_t offset, std::span<char> into)>;

class EventTextScanner {
 public:
  /// Reads from `begin` up to `end`, in bytes of the text; an event that begins before `end` is read whole.
  EventTextScanner(ReadTextAt read, std::uint64_t begin, std::uint64_t end);

  struct Found {
    std::uint64_t offset = 0;  // of its "<"
    std::string_view text;     // valid until the next call
  };

  /// @return false at the end.
  [[nodiscard]] bool Next(Found* found);

  /// Events that had no end, or were too large.
  std::uint64_t skipped() const { return skipped_; }

  /// No event is larger: the platform's own limit is 64 KiB of data, and nothing swells a hundredfold.
  static constexpr std::size_t kMaxEventBytes = 8u << 20;

 private:
  enum class Scan { kWhole, kNeedsMore, kCut };

  bool Fill();
  bool FindStart();
  Scan FindEnd(std::size_t* length);
  std::size_t PassMarkup(std::size_t at) const;
  std::size_t Nests(std::string_view tag, bool ends);

  const ReadTextAt read_;
  const std::uint64_t end_;
  std::string window_;
  std::uint64_t window_offset_;  // of window_'s first byte
  std::size_t at_ = 0;           // in window_
  std::size_t scanned_ = 0;      // in the event at at_: already looked at
  std::size_t depth_ = 0;
  bool at_end_ = false;  // nothing follows window_
  std::uint64_t skipped_ = 0;
};

/// The record number of an event's text without parsing it; nothing when there is none. Cheap: for sorting.
bool RecordIdOfText(std::string_view event, std::uint64_t* record_id);

/// The creation time likewise, as 100 ns since 1601; 0 when there is none.
std::uint64_t TimeOfText(std::string_view event);

}  // namespace varnel::formats
