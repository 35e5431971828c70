// Writes binary event logs (.evtx), from the public descriptions of the format: a file header, chunks of 64 KiB,
// records whose XML stands in them as binary tokens without templates. Nothing of the readers is used. One thread.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::testing {

struct EvtxEvent {
  std::uint64_t record_id = 1;
  std::uint32_t event_id = 7;
  std::uint64_t time = 0;  // 100 ns since 1601; the record's own and its event's
  std::string time_text = "2026-11-21T10:00:00.0000000Z";
  std::string provider = "Test";
  std::vector<std::pair<std::string, std::string>> data;
};

class EvtxBuilder {
 public:
  /// Appends a record; a new chunk begins when it does not fit.
  void Add(const EvtxEvent& event);

  /// The whole file. The builder can go on.
  std::string Build() const;
  /// The chunks that are full, taken out, so that a large log can be written piece by piece.
  std::string TakeFullChunks();
  /// The file's header for so many chunks.
  static std::string FileHeader(std::size_t chunks);
  /// The chunk that is being filled, whole.
  std::string LastChunk() const;

 private:
  struct Element;
  std::string Record(const EvtxEvent& event);
  void Write(const Element& element, std::size_t at, std::string* out);
  std::string Name(const std::string& name, std::size_t at);

  std::string full_;
  std::string records_;  // of the chunk that is being filled
  std::map<std::string, std::uint32_t> names_;
  std::uint64_t first_ = 0;
  std::uint64_t last_ = 0;
  std::size_t last_at_ = 512;
};

}  // namespace varnel::testing
