// Any bytes as a trace file: the reader ends, and what it counted adds up to the file. The first byte chooses whether
// the source gives views or copies.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <utility>

#include "formats/etl_reader.h"
#include "platform/unpack.h"

namespace {

using namespace varnel;  // NOLINT: a program of one file

class CopyingSource final : public formats::EtlSource {
 public:
  explicit CopyingSource(std::span<const std::byte> bytes) : inner_(bytes) {}
  std::uint64_t Size() override { return inner_.Size(); }
  bool Read(std::uint64_t offset, std::span<std::byte> into) override { return inner_.Read(offset, into); }

 private:
  formats::EtlMemorySource inner_;
};

void Require(bool condition) {
  if (!condition) std::abort();
}

void ReadAll(formats::EtlSource& source, std::size_t size) {
  formats::EtlReadOptions options;
  options.unpack = platform::Unpack;
  std::uint64_t buffers = 0;
  options.buffer_done = [&buffers](const formats::EtlBufferEntry&) { return ++buffers > 0; };
  auto opened = formats::EtlReader::Open(source, std::move(options));
  if (!opened.ok()) return;
  formats::EtlReader& reader = *opened.value();
  std::uint64_t events = 0;
  std::size_t touched = 0;
  while (const formats::EtlEventView* event = reader.Next()) {
    ++events;
    touched += static_cast<std::size_t>(formats::EtlRecordFlags(*event));
    formats::EtlItemWalk walk(event->extended);
    formats::EtlItemView item;
    while (walk.Next(&item)) touched += item.data.empty() ? 0 : std::to_integer<std::size_t>(item.data.back());
    if (!event->payload.empty()) touched += std::to_integer<std::size_t>(event->payload.back());
  }
  const formats::EtlAccount& account = reader.account();
  Require(account.events == events && account.buffers >= buffers && account.file_size == size);
  Require(account.header_bytes + account.event_bytes + account.filler_bytes + account.skipped_bytes == size);
  Require(touched < SIZE_MAX);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const auto file = std::as_bytes(std::span(data, size)).subspan(1);
  if ((data[0] & 1) != 0) {
    CopyingSource source(file);
    ReadAll(source, file.size());
  } else {
    formats::EtlMemorySource source(file);
    ReadAll(source, file.size());
  }
  return 0;
}
