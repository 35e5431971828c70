#include "platform/embedded/eventlog/evtx_chunk.h"

#include <cstring>
#include <string>

namespace varnel::embedded::evtx {
namespace {

// Places in a chunk.
constexpr std::size_t kFirstNumberAt = 8;  // of its first record, in the file's own count; that of its last follows
constexpr std::size_t kLastNumberAt = 16;
constexpr std::size_t kFreeSpaceAt = 48;  // where its records end
constexpr std::size_t kRecordsSumAt = 52;
constexpr std::size_t kHeaderSumAt = 124;
constexpr std::size_t kTablesAt = 128;
constexpr std::size_t kRecordsAt = 512;
// Places in a record.
constexpr std::uint32_t kRecordMark = 0x2A2A;
constexpr std::size_t kSizeAt = 4;
constexpr std::size_t kIdAt = 8;
constexpr std::size_t kTimeAt = 16;
constexpr std::size_t kSmallestRecord = 28;  // its header, and its size once more
constexpr std::uint64_t kMostRecords = kChunkBytes / kSmallestRecord;

template <typename T>
T At(std::string_view bytes, std::size_t place) {
  T value{};
  std::memcpy(&value, bytes.data() + place, sizeof value);
  return value;
}

bool SumsAreRight(std::string_view chunk, std::size_t end) {
  if (Crc32(chunk.substr(kRecordsAt, end - kRecordsAt)) != At<std::uint32_t>(chunk, kRecordsSumAt)) return false;
  std::string header(chunk.substr(0, 120));
  header += chunk.substr(kTablesAt, kRecordsAt - kTablesAt);
  return Crc32(header) == At<std::uint32_t>(chunk, kHeaderSumAt);
}

}  // namespace

bool IsChunk(std::string_view chunk) {
  using namespace std::string_view_literals;
  return chunk.size() == kChunkBytes && chunk.starts_with("ElfChnk\0"sv);
}

bool IsEmptyChunk(std::string_view chunk) {
  return At<std::uint32_t>(chunk, kFreeSpaceAt) == kRecordsAt;
}

std::vector<EvtxKey> KeysOfSoundChunk(std::string_view chunk) {
  if (!IsChunk(chunk)) return {};
  const std::size_t end = At<std::uint32_t>(chunk, kFreeSpaceAt);
  if (end < kRecordsAt || end > kChunkBytes || !SumsAreRight(chunk, end)) return {};
  std::vector<EvtxKey> keys;
  for (std::size_t at = kRecordsAt; at < end;) {
    if (end - at < kSmallestRecord || At<std::uint32_t>(chunk, at) != kRecordMark) return {};
    const std::uint32_t size = At<std::uint32_t>(chunk, at + kSizeAt);
    if (size < kSmallestRecord || size > end - at) return {};
    keys.push_back({At<std::uint64_t>(chunk, at + kIdAt), At<std::uint64_t>(chunk, at + kTimeAt),
                    static_cast<std::uint32_t>(keys.size()), 0});
    at += size;
  }
  if (keys.size() != ClaimedRecords(chunk)) keys.clear();
  return keys;
}

std::uint64_t ClaimedRecords(std::string_view chunk) {
  const auto first = At<std::uint64_t>(chunk, kFirstNumberAt);
  const auto last = At<std::uint64_t>(chunk, kLastNumberAt);
  return first <= last && last - first < kMostRecords ? last - first + 1 : 0;
}

}  // namespace varnel::embedded::evtx
