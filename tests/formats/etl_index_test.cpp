#include "formats/etl_index.h"

#include <gtest/gtest.h>

#include "tests/support/etl_bytes.h"

namespace varnel::formats {
namespace {

using support::Blob;

Blob DataBuffer(std::int64_t sequence, std::uint32_t size = 4096) {
  support::EventSpec event;
  event.stamp = 1'000'000 + sequence;
  support::BufferSpec spec;
  spec.sequence = sequence;
  spec.size = size;
  return support::Buffer(spec, {support::Event(event)});
}

Blob File(const std::vector<Blob>& buffers, const support::LogHeaderSpec& header = {}) {
  Blob file = support::HeaderBuffer(header);
  for (const Blob& buffer : buffers) support::Append(&file, buffer);
  return file;
}

Result<EtlIndex> Index(const Blob& file) {
  EtlMemorySource source(file);
  return BuildEtlIndex(source);
}

EtlIndex GoodIndex(const Blob& file) {
  auto index = Index(file);
  EXPECT_TRUE(index.ok()) << (index.ok() ? "" : index.error().message);
  if (!index.ok()) return {};
  std::uint64_t bytes = index.value().filler_bytes + index.value().skipped_bytes;
  for (const EtlBufferEntry& entry : index.value().entries) bytes += entry.file_bytes;
  EXPECT_EQ(bytes, file.size());
  return std::move(index).value();
}

TEST(EtlIndex, FindsBuffersOfUnequalSizeOneBehindTheOther) {
  const EtlIndex index = GoodIndex(File({DataBuffer(1, 1024), DataBuffer(2, 2048), DataBuffer(3, 4096)}));
  ASSERT_EQ(index.entries.size(), 4u);
  EXPECT_EQ(index.entries[2].offset, 4096u + 1024);
  EXPECT_EQ(index.entries[3].info.sequence, 3);
  EXPECT_EQ(index.segments.size(), 1u);
  EXPECT_EQ(index.segments[0].last, 4u);
  EXPECT_FALSE(index.cut);
}

TEST(EtlIndex, WalksToTheEndWhateverTheHeaderSaysOfBuffersWritten) {
  support::LogHeaderSpec header;
  header.buffers_written = 1;
  header.end_time = 0;
  EXPECT_EQ(GoodIndex(File({DataBuffer(1), DataBuffer(2)}, header)).entries.size(), 3u);
  header.buffers_written = 1000;
  EXPECT_EQ(GoodIndex(File({DataBuffer(1), DataBuffer(2)}, header)).entries.size(), 3u);
}

TEST(EtlIndex, TakesAFirstBufferOfAnyTypeWhenItHasALogHeader) {
  support::BufferSpec spec;
  const Blob file = support::Buffer(spec, {support::LogHeaderEvent({})});
  EXPECT_EQ(GoodIndex(file).entries.size(), 1u);
}

TEST(EtlIndex, RefusesAFileThatIsNone) {
  Blob cut_header = File({});
  cut_header.resize(300);
  const struct {
    const char* what;
    Blob bytes;
    std::uint64_t offset;
  } rows[] = {
      {"empty", {}, 0},
      {"shorter than a buffer header", Blob(71), 0},
      {"zeros", Blob(4096), 0},
      {"text", Blob(4096, std::byte{'t'}), 0},
      {"a first buffer without a log header", DataBuffer(1), 72},
      {"a log header that is cut", cut_header, 72},
  };
  for (const auto& row : rows) {
    const auto index = Index(row.bytes);
    ASSERT_FALSE(index.ok()) << row.what;
    EXPECT_EQ(index.error().offset, row.offset) << row.what;
    EXPECT_FALSE(index.error().message.empty()) << row.what;
  }
}

TEST(EtlIndex, PassesOverADamagedHeaderAndGoesOnWithTheNextBuffer) {
  Blob file = File({DataBuffer(1), DataBuffer(2), DataBuffer(3)});
  support::Patch32(&file, 2 * 4096, 0x12345);
  const EtlIndex index = GoodIndex(file);
  EXPECT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries.back().info.sequence, 3);
  EXPECT_EQ(index.skipped_bytes, 4096u);
  EXPECT_EQ(index.damaged_buffers, 1u);
}

TEST(EtlIndex, ASizeThatWouldSwallowTheNextBufferIsDamage) {
  Blob file = File({DataBuffer(1), DataBuffer(2), DataBuffer(3)});
  support::Patch32(&file, 4096, 8192);
  const EtlIndex index = GoodIndex(file);
  ASSERT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries[1].info.sequence, 2);
  EXPECT_EQ(index.skipped_bytes, 4096u);
}

TEST(EtlIndex, ASizeFarBeyondTheFileIsDamageWhenBuffersFollow) {
  Blob file = File({DataBuffer(1), DataBuffer(2)});
  support::Patch32(&file, 4096, 0xFFFFFFF8);
  EXPECT_EQ(GoodIndex(file).entries.size(), 2u);
}

TEST(EtlIndex, ABufferLargerThanTheFirstIsFine) {
  const EtlIndex index = GoodIndex(File({DataBuffer(1, 8192), DataBuffer(2)}));
  EXPECT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.skipped_bytes, 0u);
}

TEST(EtlIndex, TheFilesEndCutsItsLastBuffer) {
  Blob file = File({DataBuffer(1), DataBuffer(2)});
  file.resize(file.size() - 1000);
  const EtlIndex index = GoodIndex(file);
  ASSERT_EQ(index.entries.size(), 3u);
  EXPECT_EQ(index.entries.back().file_bytes, 3096u);
  EXPECT_TRUE(index.cut);
}

TEST(EtlIndex, AStubOfAHeaderAtTheEndIsSkipped) {
  Blob file = File({DataBuffer(1)});
  const Blob next = DataBuffer(2);
  file.insert(file.end(), next.begin(), next.begin() + 50);
  const EtlIndex index = GoodIndex(file);
  EXPECT_EQ(index.entries.size(), 2u);
  EXPECT_EQ(index.skipped_bytes, 50u);
}

TEST(EtlIndex, RoomThatWasNeverWrittenIsFiller) {
  Blob file = File({DataBuffer(1)});
  file.resize(file.size() + 3 * 4096 + 100);
  const EtlIndex index = GoodIndex(file);
  EXPECT_EQ(index.entries.size(), 2u);
  EXPECT_EQ(index.filler_bytes, 3u * 4096 + 100);
  EXPECT_EQ(index.damaged_buffers, 0u);
}

TEST(EtlIndex, ALaterHeaderBufferBeginsASegmentWithAClockOfItsOwn) {
  support::LogHeaderSpec second;
  second.start_time += 36'000'000'000;
  second.origin_stamp = 5;
  Blob file = File({DataBuffer(1)});
  support::Append(&file, File({DataBuffer(1), DataBuffer(2)}, second));
  const EtlIndex index = GoodIndex(file);
  ASSERT_EQ(index.segments.size(), 2u);
  EXPECT_EQ(index.segments[0].last, 2u);
  EXPECT_EQ(index.segments[1].first, 2u);
  EXPECT_EQ(index.segments[1].last, 5u);
  EXPECT_EQ(index.segments[1].header.origin_stamp, 5);
}

TEST(EtlIndex, ALaterBufferOfTypeHeaderWithoutALogHeaderIsAnOrdinaryOne) {
  Blob odd = DataBuffer(2);
  odd[0x36] = std::byte{4};
  const EtlIndex index = GoodIndex(File({DataBuffer(1), odd}));
  EXPECT_EQ(index.segments.size(), 1u);
  EXPECT_EQ(index.entries.size(), 3u);
}

support::LogHeaderSpec PackedHeader() {
  support::LogHeaderSpec header;
  header.mode = 0x4010001;
  return header;
}

Blob PackedFile(const std::vector<Blob>& buffers) {
  // The header buffer of a packed file is trimmed.
  support::BufferSpec spec;
  spec.size = 512;
  spec.sequence = 0;
  spec.flags = 0x21;
  spec.type = 4;
  Blob file = support::Buffer(spec, {support::LogHeaderEvent(PackedHeader())});
  for (const Blob& buffer : buffers) {
    support::Append(&file, support::PackedBuffer(buffer, support::XpressLiterals(std::span(buffer).subspan(72, 80))));
  }
  return file;
}

TEST(EtlIndex, FindsPackedBuffersAtAnyPlace) {
  const EtlIndex index = GoodIndex(PackedFile({DataBuffer(1), DataBuffer(2), DataBuffer(3)}));
  ASSERT_EQ(index.entries.size(), 4u);
  EXPECT_TRUE(index.entries[1].info.packed());
  EXPECT_EQ(index.entries[2].offset, 512u + 72 + 92);
}

TEST(EtlIndex, SearchesForTheNextPackedBufferBehindADamagedOne) {
  Blob file = PackedFile({DataBuffer(1), DataBuffer(2), DataBuffer(3)});
  const std::size_t second = 512 + 72 + 92;
  for (const std::uint32_t size : {0u, 71u, 5000u, 0xFFFFFFFFu}) {
    support::Patch32(&file, second, size);
    const EtlIndex index = GoodIndex(file);
    ASSERT_EQ(index.entries.size(), 3u) << size;
    EXPECT_EQ(index.entries.back().info.sequence, 3) << size;
    EXPECT_EQ(index.skipped_bytes, 72u + 92) << size;
  }
}

TEST(EtlIndex, APackedBufferInAPlainFileIsDamage) {
  Blob file = File({DataBuffer(1), DataBuffer(2)});
  // The one behind the header buffer would tell that the file is packed; this is a later one.
  file[2 * 4096 + 0x34] |= std::byte{0x40};
  EXPECT_EQ(GoodIndex(file).entries.size(), 2u);
}

}  // namespace
}  // namespace varnel::formats
