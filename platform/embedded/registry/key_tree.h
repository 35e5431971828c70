// KeyTree: the keys and values of a registry as they stand in the records of one transaction. It knows names, ids and
// order; rights and handles are its callers' matter. Results are Win32 error numbers; 1015 for a record that is
// damaged. Lives within its transaction, on its thread.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/embedded/registry/registry_records.h"
#include "platform/embedded/registry/store_environment.h"

namespace varnel::embedded {

/// A key: where its record stands and which id must be found there. A key that was deleted never comes back under its
/// old id.
struct KeyRef {
  RecordPlace place;
  KeyId id = kNoKey;
};

struct NamedPlace {
  RecordPlace place;
  std::u16string name;
};

/// Splits a path at its separators; empty parts are left out.
std::vector<std::u16string_view> SplitKeyPath(std::u16string_view path);

class KeyTree {
 public:
  KeyTree(Transaction* transaction, NameHash hash) : transaction_(transaction), hash_(hash) {}

  /// The two roots and the hives below them. REQUIRES: an empty store with its own record.
  std::uint32_t CreateRoots();
  KeyRef Root(KeyId id) const;

  /// 1018 when the key is gone. The record's name is valid until the next change.
  std::uint32_t ReadKey(const KeyRef& key, KeyRecord* record);

  /// 2 when there is no such key.
  std::uint32_t FindSubKey(const KeyRef& parent, std::u16string_view name, KeyRef* found);
  /// Walks a path from a key that is there.
  std::uint32_t FindPath(const KeyRef& from, std::u16string_view path, KeyRef* found);
  /// REQUIRES: it is not there yet. 1021 for a lasting key below a volatile one.
  std::uint32_t CreateSubKey(const KeyRef& parent, std::u16string_view name, bool is_volatile, KeyRef* created);
  /// The key with its values. REQUIRES: it has no sub-keys.
  std::uint32_t DeleteKey(const KeyRef& key);
  /// All sub-keys at any depth. The key itself and its values stay.
  std::uint32_t DeleteBelow(KeyId id);
  std::uint32_t DeleteValues(KeyId id);
  /// All volatile keys with what is below them.
  std::uint32_t DropVolatile();

  /// 2 when there is no such value.
  std::uint32_t FindValue(KeyId id, std::u16string_view name, RecordPlace* place, ValueRecord* record);
  /// Sets a value: a present one keeps its name and its place in the order. `where` may be null.
  std::uint32_t SetValue(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                         std::span<const std::byte> data, RecordPlace* where = nullptr);
  std::uint32_t DeleteValue(KeyId id, std::u16string_view name);

  /// In the order of their upper-cased names.
  std::uint32_t ListSubKeys(KeyId id, std::vector<NamedPlace>* found);
  /// In the order in which they were first set.
  std::uint32_t ListValues(KeyId id, std::vector<RecordPlace>* found);
  std::uint32_t Count(KeyId id, RecordTag tag, std::uint32_t* count);

  /// Reads every record of the store.
  std::uint32_t CheckAll();

 private:
  struct Slot {
    RecordPlace place;
    bool taken = false;
  };

  /// The record of that name, or the place where a new one would stand.
  std::uint32_t FindSlot(KeyId parent, RecordTag tag, std::u16string_view name, Slot* slot,
                         std::span<const std::byte>* record);
  std::uint32_t FindFirstSlot(const RecordPlace& first, std::u16string_view name, Slot* slot,
                              std::span<const std::byte>* record);
  std::uint32_t PutKey(const RecordPlace& place, const KeyRecord& record, std::u16string_view name);
  std::uint32_t TakeId(KeyId* id);
  std::uint32_t CollectBelow(KeyId id, std::vector<KeyRef>* found);
  std::uint32_t ListPlaces(KeyId id, RecordTag tag, std::vector<RecordPlace>* found);

  Transaction* const transaction_;
  const NameHash hash_;
};

}  // namespace varnel::embedded
