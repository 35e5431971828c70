#include "formats/etl_reader.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;
using support::ByteWriter;

constexpr std::int64_t kOrigin = 1'000'000;

Blob EventAt(std::int64_t after_origin, std::uint16_t id) {
  support::EventSpec spec;
  spec.stamp = kOrigin + after_origin;
  spec.id = id;
  return support::Event(spec);
}

struct Stamped {
  std::int64_t after_origin;
  std::uint16_t id;
};
Blob BufferOf(std::uint16_t processor, std::int64_t sequence, const std::vector<Stamped>& stamped) {
  support::BufferSpec spec;
  spec.processor = processor;
  spec.sequence = sequence;
  std::vector<Blob> events;
  for (const Stamped& event : stamped) events.push_back(EventAt(event.after_origin, event.id));
  return support::Buffer(spec, events);
}

Blob Join(std::initializer_list<Blob> parts) {
  Blob file;
  for (const Blob& part : parts) support::Append(&file, part);
  return file;
}

/// Gives bytes by copies only, as a file does.
class CopyingSource final : public EtlSource {
 public:
  explicit CopyingSource(const Blob& bytes) : bytes_(bytes) {}
  std::uint64_t Size() override { return bytes_.size(); }
  bool Read(std::uint64_t offset, std::span<std::byte> into) override {
    if (before_read) before_read(offset);
    if (offset == fail_at) return false;
    if (offset > bytes_.size() || into.size() > bytes_.size() - offset) return false;
    std::memcpy(into.data(), bytes_.data() + offset, into.size());
    return true;
  }
  Blob& bytes() { return bytes_; }

  std::function<void(std::uint64_t)> before_read;
  std::uint64_t fail_at = ~std::uint64_t{0};

 private:
  Blob bytes_;
};

struct ReadResult {
  std::vector<std::uint16_t> ids;  // without the log header's own event
  std::vector<std::int64_t> file_times;
  EtlAccount account;
};

ReadResult ReadFrom(EtlSource& source, EtlReadOptions options = {}) {
  auto reader = EtlReader::Open(source, std::move(options));
  EXPECT_TRUE(reader.ok());
  ReadResult result;
  if (!reader.ok()) return result;
  while (const EtlEventView* event = reader.value()->Next()) {
    if (event->kind == EtlEventKind::kSystem && event->opcode == 0) continue;
    result.ids.push_back(event->id);
    result.file_times.push_back(event->file_time);
  }
  result.account = reader.value()->account();
  const EtlAccount& a = result.account;
  if (!reader.value()->cancelled()) {
    EXPECT_EQ(a.header_bytes + a.event_bytes + a.filler_bytes + a.skipped_bytes, a.file_size);
  }
  return result;
}

ReadResult ReadFile(const Blob& file, EtlReadOptions options = {}) {
  EtlMemorySource source(file);
  return ReadFrom(source, std::move(options));
}

using Ids = std::vector<std::uint16_t>;

TEST(EtlReader, MergesProcessorsInTimeOrder) {
  const Blob file = Join({support::HeaderBuffer({}), BufferOf(1, 2, {{20, 2}, {40, 4}, {60, 6}}),
                          BufferOf(0, 1, {{10, 1}, {30, 3}, {50, 5}, {70, 7}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{1, 2, 3, 4, 5, 6, 7}));
}

TEST(EtlReader, GoesFromBufferToBufferOfAProcessor) {
  const Blob file = Join({support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}}), BufferOf(1, 2, {{15, 2}}),
                          BufferOf(0, 3, {{20, 3}}), BufferOf(1, 4, {{25, 4}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{1, 2, 3, 4}));
}

TEST(EtlReader, EqualStampsComeInTheOrderOfTheFile) {
  const Blob file = Join({support::HeaderBuffer({}), BufferOf(5, 9, {{10, 1}, {10, 2}}), BufferOf(2, 3, {{10, 3}}),
                          BufferOf(5, 10, {{10, 4}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{1, 2, 3, 4}));
}

TEST(EtlReader, TheLogHeadersOwnEventComesFirstEvenIfOthersAreEarlier) {
  const Blob file = Join({support::HeaderBuffer({}), BufferOf(0, 1, {{-500, 1}})});
  EtlMemorySource source(file);
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  const EtlEventView* event = reader.value()->Next();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->kind, EtlEventKind::kSystem);
  event = reader.value()->Next();
  ASSERT_NE(event, nullptr);
  EXPECT_EQ(event->file_time, reader.value()->header().start_time - 500);
  EXPECT_EQ(reader.value()->Next(), nullptr);
  EXPECT_EQ(reader.value()->Next(), nullptr);
}

TEST(EtlReader, OtherEventsOfTheHeaderBufferAreMergedLikeAll) {
  const Blob file = Join({support::HeaderBuffer({}, {EventAt(15, 2)}), BufferOf(0, 1, {{10, 1}, {20, 3}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{1, 2, 3}));
}

TEST(EtlReader, FindsTheOldestBufferOfACircularFile) {
  support::LogHeaderSpec header;
  header.mode = 2;
  // The writer came round: numbers 4 and 5 stand over 1 and 2.
  const Blob file = Join(
      {support::HeaderBuffer(header), BufferOf(0, 4, {{40, 4}}), BufferOf(0, 5, {{50, 5}}), BufferOf(0, 3, {{30, 3}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{3, 4, 5}));
}

TEST(EtlReader, AFileThatWasAppendedToGoesByItsOrderSinceNumbersBeginAnew) {
  support::LogHeaderSpec header;
  header.mode = 4;
  const Blob file = Join({support::HeaderBuffer(header), BufferOf(0, 1, {{10, 1}}), BufferOf(0, 2, {{20, 2}}),
                          BufferOf(0, 1, {{30, 3}}), BufferOf(0, 2, {{40, 4}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{1, 2, 3, 4}));
}

TEST(EtlReader, ALaterHeaderBufferChangesClockAndOrigin) {
  support::LogHeaderSpec first;
  support::LogHeaderSpec second;
  second.perf_freq = 1'000'000;
  second.start_time = first.start_time + 600'000'000;
  const Blob file = Join({support::HeaderBuffer(first), BufferOf(0, 1, {{10, 1}}), support::HeaderBuffer(second),
                          BufferOf(0, 1, {{10, 2}})});
  const ReadResult read = ReadFile(file);
  EXPECT_EQ(read.ids, (Ids{1, 2}));
  EXPECT_EQ(read.file_times[0], first.start_time + 10);
  EXPECT_EQ(read.file_times[1], second.start_time + 100);
}

TEST(EtlReader, GivesTheHeaderThatHoldsForTheEvent) {
  support::LogHeaderSpec second;
  second.logger_name = u"Second";
  const Blob file = Join(
      {support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}}), support::HeaderBuffer(second), BufferOf(0, 1, {{10, 2}})});
  EtlMemorySource source(file);
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  std::u16string name;
  while (const EtlEventView* event = reader.value()->Next()) {
    if (event->id == 2) name = reader.value()->current_header().logger_name;
  }
  EXPECT_EQ(name, u"Second");
  EXPECT_EQ(reader.value()->header().logger_name, u"TestSession");
}

TEST(EtlReader, ReadsAFileThatWasCopiedInUse) {
  support::LogHeaderSpec header;
  header.end_time = 0;
  header.buffers_written = 0;
  const Blob file = Join({support::HeaderBuffer(header), BufferOf(0, 1, {{10, 1}}), BufferOf(1, 2, {{5, 2}})});
  EXPECT_EQ(ReadFile(file).ids, (Ids{2, 1}));
}

TEST(EtlReader, ReadsAFileCutShortAsFarAsItGoes) {
  const Blob whole = Join({support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}, {20, 2}})});
  for (std::size_t size = 4096; size <= whole.size(); ++size) {
    const ReadResult read = ReadFile(Blob(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
    const std::size_t expected = size < 4096 + 72 + 80 ? 0u : size < 4096 + 72 + 160 ? 1u : 2u;
    ASSERT_EQ(read.ids.size(), expected) << size;
    ASSERT_EQ(read.account.cut, size > 4096 + 71 && size < whole.size()) << size;
  }
}

TEST(EtlReader, SkipsAndCountsWhatIsDamagedAndReadsTheRest) {
  Blob file = Join({support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}}), BufferOf(0, 2, {{20, 2}, {25, 9}}),
                    BufferOf(0, 3, {{30, 3}})});
  support::Patch32(&file, 4096, 3);                          // one buffer without a header
  support::Patch16(&file, 2 * 4096 + 72 + 80, 0x1000 - 72);  // an event that passes the end of data
  const ReadResult read = ReadFile(file);
  EXPECT_EQ(read.ids, (Ids{2, 3}));
  EXPECT_EQ(read.account.damaged_buffers, 2u);
  EXPECT_EQ(read.account.skipped_bytes, 4096u + 80);
  EXPECT_EQ(read.account.buffers, 3u);
}

TEST(EtlReader, TellsTheHookAfterEachBuffersLastEvent) {
  const Blob file = Join(
      {support::HeaderBuffer({}), BufferOf(1, 2, {{10, 1}, {30, 3}}), BufferOf(0, 1, {{20, 2}}), BufferOf(0, 3, {})});
  EtlMemorySource source(file);
  std::vector<std::string> log;
  EtlReadOptions options;
  options.buffer_done = [&log](const EtlBufferEntry& buffer) {
    log.push_back("buffer " + std::to_string(buffer.info.sequence));
    return true;
  };
  auto reader = EtlReader::Open(source, std::move(options));
  ASSERT_TRUE(reader.ok());
  while (const EtlEventView* event = reader.value()->Next()) log.push_back("event " + std::to_string(event->id));
  EXPECT_EQ(log, (std::vector<std::string>{"event 0", "buffer 0", "event 1", "event 2", "buffer 1", "buffer 3",
                                           "event 3", "buffer 2"}));
}

TEST(EtlReader, EndsWhenTheHookSaysNo) {
  const Blob file = Join({support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}, {20, 2}}), BufferOf(0, 2, {{30, 3}})});
  EtlReadOptions options;
  options.buffer_done = [](const EtlBufferEntry& buffer) { return buffer.info.sequence != 1; };
  EtlMemorySource source(file);
  auto reader = EtlReader::Open(source, std::move(options));
  ASSERT_TRUE(reader.ok());
  Ids ids;
  while (const EtlEventView* event = reader.value()->Next()) ids.push_back(event->id);
  EXPECT_EQ(ids, (Ids{0, 1, 2}));
  EXPECT_TRUE(reader.value()->cancelled());
  EXPECT_EQ(reader.value()->Next(), nullptr);
}

TEST(EtlReader, ReadsTheSameFromASourceThatCopies) {
  CopyingSource source(Join({support::HeaderBuffer({}), BufferOf(1, 2, {{20, 2}, {40, 4}}),
                             BufferOf(0, 1, {{10, 1}, {30, 3}}), BufferOf(1, 3, {{50, 5}})}));
  EXPECT_EQ(ReadFrom(source).ids, (Ids{1, 2, 3, 4, 5}));
}

TEST(EtlReader, ABufferThatCannotBeReadIsSkippedAndCounted) {
  CopyingSource source(Join({support::HeaderBuffer({}), BufferOf(0, 1, {{10, 1}}), BufferOf(0, 2, {{20, 2}})}));
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  source.fail_at = 4096;
  Ids ids;
  while (const EtlEventView* event = reader.value()->Next()) ids.push_back(event->id);
  EXPECT_EQ(ids, (Ids{0, 2}));
  EXPECT_EQ(reader.value()->account().damaged_buffers, 1u);
  EXPECT_EQ(reader.value()->account().skipped_bytes, 4096u - 72);
}

TEST(EtlReader, ABufferThatWasOverwrittenSinceTheFileWasOpenedIsLeftOut) {
  support::LogHeaderSpec header;
  header.mode = 2;
  CopyingSource source(Join({support::HeaderBuffer(header), BufferOf(0, 1, {{10, 1}}), BufferOf(0, 2, {{20, 2}})}));
  auto reader = EtlReader::Open(source, {});
  ASSERT_TRUE(reader.ok());
  const Blob later = BufferOf(0, 3, {{30, 3}});
  std::copy(later.begin(), later.end(), source.bytes().begin() + 4096);
  Ids ids;
  while (const EtlEventView* event = reader.value()->Next()) ids.push_back(event->id);
  EXPECT_EQ(ids, (Ids{0, 2}));
}

Blob PackedFile(std::uint16_t format) {
  support::LogHeaderSpec header;
  header.mode = 0x4010001;
  Blob file = support::HeaderBuffer(header);
  support::Patch16(&file, 0x2C, format);
  for (std::int64_t i = 1; i <= 3; ++i) {
    const Blob plain = BufferOf(static_cast<std::uint16_t>(i), i, {{i, static_cast<std::uint16_t>(i)}});
    support::Append(&file, support::PackedBuffer(plain, support::XpressLiterals(std::span(plain).subspan(72, 80))));
  }
  return file;
}

/// Takes the flags out again, which is all that a packing of literals needs.
bool UnpackLiterals(std::span<const std::byte> in, std::span<std::byte> out) {
  std::size_t from = 0;
  for (std::size_t i = 0; i < out.size(); ++i) {
    if (i % 32 == 0) from += 4;
    if (from >= in.size()) return false;
    out[i] = in[from++];
  }
  return true;
}

TEST(EtlReader, UnpacksBuffersWithTheFunctionAndTheFormatOfTheFile) {
  for (const std::uint16_t format : {2, 3, 4}) {
    EtlReadOptions options;
    options.unpack = [format](std::uint16_t given, std::span<const std::byte> in, std::span<std::byte> out) {
      EXPECT_EQ(given, format);
      return UnpackLiterals(in, out);
    };
    const ReadResult read = ReadFile(PackedFile(format), std::move(options));
    EXPECT_EQ(read.ids, (Ids{1, 2, 3}));
    EXPECT_EQ(read.account.skipped_bytes, 0u);
  }
}

TEST(EtlReader, SkipsPackedBuffersThatCannotBeUnpacked) {
  const ReadResult none = ReadFile(PackedFile(3));
  EXPECT_TRUE(none.ids.empty()) << "no function was given";
  EXPECT_EQ(none.account.damaged_buffers, 3u);
  EXPECT_EQ(none.account.skipped_bytes, 3u * 92);
  EtlReadOptions options;
  int calls = 0;
  options.unpack = [&calls](std::uint16_t, std::span<const std::byte> in, std::span<std::byte> out) {
    return ++calls != 2 && UnpackLiterals(in, out);
  };
  EXPECT_EQ(ReadFile(PackedFile(3), std::move(options)).ids, (Ids{1, 3}));
}

TEST(EtlReader, SharesOutPackedBytesWhenSomeOfTheirEventsAreLost) {
  EtlReadOptions options;
  options.unpack = [](std::uint16_t, std::span<const std::byte> in, std::span<std::byte> out) {
    if (!UnpackLiterals(in, out)) return false;
    out[3] = std::byte{0};  // no marker: the buffer's only event is lost
    return true;
  };
  const ReadResult read = ReadFile(PackedFile(3), std::move(options));
  EXPECT_TRUE(read.ids.empty());
  EXPECT_EQ(read.account.skipped_bytes, 3u * 92);
  EXPECT_EQ(read.account.damaged_buffers, 3u);
}

TEST(EtlReader, TheEndOfOneProcessorLeavesTheOthersGoing) {
  Blob file = support::HeaderBuffer({});
  Ids expected;
  for (std::uint16_t i = 0; i < 60; ++i) expected.push_back(i);
  for (std::uint16_t processor = 0; processor < 12; ++processor) {
    std::vector<Stamped> events;
    for (std::uint16_t i = processor; i < 60; i = static_cast<std::uint16_t>(i + 12)) events.push_back({i, i});
    events.resize(events.size() - processor % 2);
    support::Append(&file, BufferOf(processor, processor + 1, events));
  }
  std::erase_if(expected, [](std::uint16_t id) { return id >= 48 && id % 12 % 2 == 1; });
  EXPECT_EQ(ReadFile(file).ids, expected);
}

}  // namespace
}  // namespace varnel::formats
