#include "platform/embedded/registry/registry_records.h"

#include <cstring>

#include "platform/embedded/core/casefold.h"

namespace varnel::embedded {
namespace {

constexpr std::uint8_t kVolatileFlag = 1;

template <typename T>
T LoadLittle(const std::byte* from) {
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) value |= static_cast<T>(std::to_integer<T>(from[i]) << (8 * i));
  return value;
}

template <typename T>
std::byte* StoreLittle(std::byte* to, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) to[i] = static_cast<std::byte>(value >> (8 * i));
  return to + sizeof(T);
}

template <typename T>
T LoadBig(const std::byte* from) {
  T value = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) value = static_cast<T>((value << 8) | std::to_integer<T>(from[i]));
  return value;
}

// Big-endian, so that the order of the bytes is the order of the numbers.
template <typename T>
std::byte* StoreBig(std::byte* to, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) to[i] = static_cast<std::byte>(value >> (8 * (sizeof(T) - 1 - i)));
  return to + sizeof(T);
}

std::byte* StoreName(std::byte* to, std::u16string_view name) {
  to = StoreLittle(to, static_cast<std::uint16_t>(name.size()));
  for (const char16_t unit : name) to = StoreLittle(to, static_cast<std::uint16_t>(unit));
  return to;
}

}  // namespace

RecordPlace::Bytes RecordPlace::Encode() const {
  Bytes bytes;
  std::byte* to = StoreBig(bytes.data(), parent);
  *to++ = static_cast<std::byte>(tag);
  to = StoreBig(to, name_hash);
  StoreBig(to, slot);
  return bytes;
}

std::optional<RecordPlace> RecordPlace::Parse(std::span<const std::byte> bytes) {
  if (bytes.size() != kSize) return std::nullopt;
  RecordPlace place;
  place.parent = LoadBig<std::uint64_t>(bytes.data());
  place.tag = static_cast<RecordTag>(bytes[8]);
  place.name_hash = LoadBig<std::uint64_t>(bytes.data() + 9);
  place.slot = LoadBig<std::uint16_t>(bytes.data() + 17);
  switch (place.tag) {
    case RecordTag::kKey:
    case RecordTag::kStore:
    case RecordTag::kValue:
      return place;
  }
  return std::nullopt;
}

char16_t RecordName::operator[](std::size_t i) const {
  return static_cast<char16_t>(LoadLittle<std::uint16_t>(bytes_.data() + 2 * i));
}

std::u16string RecordName::Text() const {
  std::u16string text(size(), u'\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = (*this)[i];
  return text;
}

bool RecordName::EqualsFolded(std::u16string_view name) const {
  if (name.size() != size()) return false;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const char16_t own = (*this)[i];
    if (own != name[i] && FoldUpper(own) != FoldUpper(name[i])) return false;
  }
  return true;
}

std::array<std::byte, 24> StoreRecord::Encode() const {
  std::array<std::byte, 24> bytes{};
  std::byte* to = StoreLittle(bytes.data(), kRecordVersion);
  to = StoreLittle(to, std::uint32_t{0});
  to = StoreLittle(to, epoch);
  StoreLittle(to, next_id);
  return bytes;
}

std::optional<StoreRecord> StoreRecord::Parse(std::span<const std::byte> bytes) {
  if (bytes.size() != 24 || LoadLittle<std::uint32_t>(bytes.data()) != kRecordVersion) return std::nullopt;
  if (LoadLittle<std::uint32_t>(bytes.data() + 4) != 0) return std::nullopt;
  StoreRecord record;
  record.epoch = LoadLittle<std::uint64_t>(bytes.data() + 8);
  record.next_id = LoadLittle<std::uint64_t>(bytes.data() + 16);
  if (record.next_id < kFirstOrdinaryKey) return std::nullopt;
  return record;
}

void KeyRecord::Encode(std::u16string_view name_text, std::byte* out) const {
  out = StoreLittle(out, id);
  out = StoreLittle(out, next_order);
  out = StoreLittle(out, static_cast<std::uint16_t>(is_volatile ? kVolatileFlag : 0));
  StoreName(out, name_text);
}

std::optional<KeyRecord> KeyRecord::Parse(std::span<const std::byte> bytes) {
  if (bytes.size() < EncodedSize(0)) return std::nullopt;
  KeyRecord record;
  record.id = LoadLittle<std::uint64_t>(bytes.data());
  record.next_order = LoadLittle<std::uint64_t>(bytes.data() + 8);
  const auto flags = LoadLittle<std::uint16_t>(bytes.data() + 16);
  const std::size_t units = LoadLittle<std::uint16_t>(bytes.data() + 18);
  if (record.id == kNoKey || flags > kVolatileFlag || units == 0 || units > kMaxKeyName) return std::nullopt;
  if (bytes.size() != EncodedSize(units)) return std::nullopt;
  record.is_volatile = flags == kVolatileFlag;
  record.name = RecordName(bytes.subspan(20));
  return record;
}

void ValueRecord::Encode(std::u16string_view name_text, std::byte* out) const {
  out = StoreLittle(out, order);
  out = StoreLittle(out, type);
  out = StoreName(out, name_text);
  if (!data.empty()) std::memcpy(out, data.data(), data.size());
}

std::optional<ValueRecord> ValueRecord::Parse(std::span<const std::byte> bytes) {
  if (bytes.size() < EncodedSize(0, 0)) return std::nullopt;
  ValueRecord record;
  record.order = LoadLittle<std::uint64_t>(bytes.data());
  record.type = LoadLittle<std::uint32_t>(bytes.data() + 8);
  const std::size_t units = LoadLittle<std::uint16_t>(bytes.data() + 12);
  if (units > kMaxValueName || bytes.size() - EncodedSize(0, 0) < 2 * units) return std::nullopt;
  record.name = RecordName(bytes.subspan(14, 2 * units));
  record.data = bytes.subspan(14 + 2 * units);
  if (record.data.size() > kMaxValueData) return std::nullopt;
  return record;
}

std::uint64_t HashFoldedName(std::u16string_view name) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char16_t unit : name) {
    const char16_t folded = FoldUpper(unit);
    hash = (hash ^ (folded & 0xFF)) * 0x100000001B3;
    hash = (hash ^ (folded >> 8)) * 0x100000001B3;
  }
  return hash;
}

}  // namespace varnel::embedded
