// The records of the registry's store, as bytes: where each stands and what it holds. docs/formats/registry.md has the
// layouts. What is read from a store or a copy is foreign: every Parse checks all of it and tells only whether it fits.
// Pure; any thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace varnel::embedded {

/// Names a key for good: given out in rising order, so a key's id is above its parent's, and never given twice.
using KeyId = std::uint64_t;
inline constexpr KeyId kNoKey = 0;        // what the two roots, and the store's own record, stand under
inline constexpr KeyId kMachineRoot = 1;  // HKEY_LOCAL_MACHINE
inline constexpr KeyId kUsersRoot = 2;    // HKEY_USERS
inline constexpr KeyId kFirstOrdinaryKey = 3;

inline constexpr std::size_t kMaxKeyName = 255;      // UTF-16 units
inline constexpr std::size_t kMaxValueName = 16383;  // UTF-16 units
inline constexpr std::size_t kMaxValueData = 64u << 20;
inline constexpr std::uint32_t kRecordVersion = 1;

enum class RecordTag : std::uint8_t { kKey = 'K', kStore = 'S', kValue = 'V' };

/// Where a record stands: under which key, and by which hash of its folded name. Names of one hash take slots of their
/// own. The order of places is that of their bytes.
struct RecordPlace {
  static constexpr std::size_t kSize = 19;
  using Bytes = std::array<std::byte, kSize>;

  KeyId parent = kNoKey;
  RecordTag tag = RecordTag::kKey;
  std::uint64_t name_hash = 0;
  std::uint16_t slot = 0;

  Bytes Encode() const;
  static std::optional<RecordPlace> Parse(std::span<const std::byte> bytes);

  friend bool operator==(const RecordPlace&, const RecordPlace&) = default;
};

/// A name as it stands in a record: UTF-16, little-endian, at any alignment. Borrows the record's bytes.
class RecordName {
 public:
  RecordName() = default;
  explicit RecordName(std::span<const std::byte> bytes) : bytes_(bytes) {}

  std::size_t size() const { return bytes_.size() / 2; }  // UTF-16 units
  char16_t operator[](std::size_t i) const;
  std::u16string Text() const;
  bool EqualsFolded(std::u16string_view name) const;

 private:
  std::span<const std::byte> bytes_;
};

/// The one record of the store itself.
struct StoreRecord {
  std::uint64_t epoch = 0;  // one more each time the store is built from a copy
  KeyId next_id = 0;

  std::array<std::byte, 24> Encode() const;
  static std::optional<StoreRecord> Parse(std::span<const std::byte> bytes);
  static RecordPlace Place() { return {kNoKey, RecordTag::kStore, 0, 0}; }
};

struct KeyRecord {
  KeyId id = kNoKey;
  std::uint64_t next_order = 0;  // the order of the next new value
  bool is_volatile = false;      // gone with the next boot
  RecordName name;

  static std::size_t EncodedSize(std::size_t name_units) { return 20 + 2 * name_units; }
  /// Writes EncodedSize bytes. The name may stand in another record, but not in `out`.
  void Encode(std::u16string_view name_text, std::byte* out) const;
  /// The name borrows `bytes`.
  static std::optional<KeyRecord> Parse(std::span<const std::byte> bytes);
};

struct ValueRecord {
  std::uint64_t order = 0;  // values are listed in the order in which they were first set
  std::uint32_t type = 0;
  RecordName name;
  std::span<const std::byte> data;

  static std::size_t EncodedSize(std::size_t name_units, std::size_t data_bytes) {
    return 14 + 2 * name_units + data_bytes;
  }
  /// Writes EncodedSize bytes; `data` may not stand in `out`.
  void Encode(std::u16string_view name_text, std::byte* out) const;
  /// Name and data borrow `bytes`.
  static std::optional<ValueRecord> Parse(std::span<const std::byte> bytes);
};

/// The hash under which a name stands. A store takes it as a parameter, so that a test can make all names collide.
using NameHash = std::uint64_t (*)(std::u16string_view name);

/// FNV-1a over the folded name's bytes.
std::uint64_t HashFoldedName(std::u16string_view name);

}  // namespace varnel::embedded
