#include <algorithm>
#include <unordered_set>

#include "formats/byte_cursor.h"
#include "platform/embedded/registry/registry_copy.h"
#include "platform/embedded/registry/registry_copy_format.h"

namespace varnel::embedded {
namespace {

using formats::ByteCursor;
using formats::Error;
using formats::Result;
using formats::Status;
using namespace copy_format;

Error Damage(const char* what, std::size_t offset) {
  return Error{std::string("registry copy: ") + what, offset};
}

// Walks the records in order and holds each against those before it.
class CopyChecker {
 public:
  CopyChecker(NameHash hash, RegistryCopy* copy) : hash_(hash), copy_(copy) {}

  Status Take(std::span<const std::byte> place_bytes, std::span<const std::byte> record, std::size_t offset);
  Status Finish(std::size_t offset) const;

 private:
  bool TakeKey(const RecordPlace& place, std::span<const std::byte> record);
  bool TakeValue(const RecordPlace& place, std::span<const std::byte> record) const;
  bool TakeStore(const RecordPlace& place, std::span<const std::byte> record);

  const NameHash hash_;
  RegistryCopy* const copy_;
  std::span<const std::byte> last_place_;
  std::unordered_set<KeyId> keys_;
  bool store_seen_ = false;
};

Status CopyChecker::Take(std::span<const std::byte> place_bytes, std::span<const std::byte> record,
                         std::size_t offset) {
  const auto place = RecordPlace::Parse(place_bytes);
  if (!place) return Damage("a record's place is damaged", offset);
  if (!last_place_.empty() &&
      !std::lexicographical_compare(last_place_.begin(), last_place_.end(), place_bytes.begin(), place_bytes.end())) {
    return Damage("records are out of order", offset);
  }
  last_place_ = place_bytes;
  if (place->tag == RecordTag::kStore) {
    return TakeStore(*place, record) ? formats::Ok() : Status(Damage("the store's record is damaged", offset));
  }
  if (place->tag == RecordTag::kKey && !TakeKey(*place, record)) return Damage("a key's record is damaged", offset);
  if (place->tag == RecordTag::kValue && !TakeValue(*place, record)) {
    return Damage("a value's record is damaged", offset);
  }
  copy_->records.push_back({*place, record});
  return formats::Ok();
}

bool CopyChecker::TakeStore(const RecordPlace& place, std::span<const std::byte> record) {
  const auto store = StoreRecord::Parse(record);
  if (!store || !(place == StoreRecord::Place())) return false;
  copy_->store = *store;
  store_seen_ = true;
  return true;
}

bool CopyChecker::TakeKey(const RecordPlace& place, std::span<const std::byte> record) {
  const auto key = KeyRecord::Parse(record);
  if (!key || key->id <= place.parent) return false;
  const std::u16string name = key->name.Text();
  if (hash_(name) != place.name_hash || name.find(u'\\') != std::u16string::npos) return false;
  // A parent's id is lower than its child's, so its record has come already.
  if (place.parent == kNoKey ? key->id > kUsersRoot : keys_.count(place.parent) == 0) return false;
  return keys_.insert(key->id).second;
}

bool CopyChecker::TakeValue(const RecordPlace& place, std::span<const std::byte> record) const {
  const auto value = ValueRecord::Parse(record);
  return value && keys_.count(place.parent) != 0 && hash_(value->name.Text()) == place.name_hash;
}

Status CopyChecker::Finish(std::size_t offset) const {
  if (!store_seen_) return Damage("the store's record is missing", offset);
  if (keys_.count(kMachineRoot) == 0 || keys_.count(kUsersRoot) == 0) return Damage("a root is missing", offset);
  for (const KeyId id : keys_) {
    if (id >= copy_->store.next_id) return Damage("a key's id was never given out", offset);
  }
  return formats::Ok();
}

Status CheckSum(std::span<const std::byte> bytes) {
  if (bytes.size() < kCopyHeaderSize + kEndSize) return Damage("cut short", bytes.size());
  const std::size_t at = bytes.size() - sizeof(std::uint64_t);
  Crc64 sum;
  sum.Add(bytes.first(at));
  std::uint64_t stored = 0;
  ByteCursor end(bytes.subspan(at));
  if (!end.Read(&stored) || stored != sum.value()) return Damage("the checksum does not fit", at);
  return formats::Ok();
}

}  // namespace

Result<CopyHeader> ParseCopyHeader(std::span<const std::byte> bytes) {
  ByteCursor cursor(bytes);
  std::array<unsigned char, 8> mark{};
  std::uint32_t version = 0;
  std::uint32_t zero = 0;
  CopyHeader header;
  if (!cursor.Read(&mark) || mark != kMark) return Damage("not a registry copy", 0);
  if (!cursor.Read(&version) || version != kVersion) return Damage("of an unknown version", 8);
  if (!cursor.Read(&zero) || zero != 0) return Damage("the header is damaged", 12);
  if (!cursor.Read(&header.epoch) || !cursor.Read(&header.transaction) || !cursor.Read(&header.file_time)) {
    return Damage("cut short", bytes.size());
  }
  return header;
}

Result<RegistryCopy> RegistryCopy::Parse(std::span<const std::byte> bytes, NameHash hash) {
  auto header = ParseCopyHeader(bytes);
  if (!header.ok()) return header.error();
  const auto sum = CheckSum(bytes);
  if (!sum.ok()) return sum.error();
  RegistryCopy copy;
  copy.header = header.value();
  CopyChecker checker(hash, &copy);
  ByteCursor cursor(bytes.first(bytes.size() - kEndSize));
  std::uint64_t count = 0;
  if (!cursor.Seek(kCopyHeaderSize)) return Damage("cut short", bytes.size());
  for (; cursor.remaining() > 0; ++count) {
    const std::size_t offset = cursor.offset();
    std::uint16_t place_size = 0;
    std::uint32_t record_size = 0;
    std::span<const std::byte> place;
    std::span<const std::byte> record;
    if (!cursor.Read(&place_size) || !cursor.Read(&record_size) || !cursor.Take(place_size, &place) ||
        !cursor.Take(record_size, &record)) {
      return Damage("a record reaches behind the end", offset);
    }
    const auto taken = checker.Take(place, record, offset);
    if (!taken.ok()) return taken.error();
  }
  ByteCursor end(bytes.subspan(bytes.size() - kEndSize));
  std::uint16_t zero = 1;
  std::uint64_t told = 0;
  if (!end.Read(&zero) || zero != 0 || !end.Read(&told) || told != count) {
    return Damage("the number of records does not fit", bytes.size() - kEndSize);
  }
  const auto finished = checker.Finish(cursor.offset());
  if (!finished.ok()) return finished.error();
  return copy;
}

}  // namespace varnel::embedded
