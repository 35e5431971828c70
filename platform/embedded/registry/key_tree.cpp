#include "platform/embedded/registry/key_tree.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "platform/embedded/core/casefold.h"
#include "platform/types.h"

namespace varnel::embedded {
namespace {

using namespace platform;

bool IsUnder(const RecordPlace& place, KeyId parent, RecordTag tag) {
  return place.parent == parent && place.tag == tag;
}

std::optional<RecordName> NameOf(RecordTag tag, std::span<const std::byte> record) {
  if (tag == RecordTag::kKey) {
    const auto key = KeyRecord::Parse(record);
    return key ? std::optional(key->name) : std::nullopt;
  }
  const auto value = ValueRecord::Parse(record);
  return value ? std::optional(value->name) : std::nullopt;
}

}  // namespace

std::vector<std::u16string_view> SplitKeyPath(std::u16string_view path) {
  std::vector<std::u16string_view> parts;
  while (!path.empty()) {
    const std::size_t end = std::min(path.find(u'\\'), path.size());
    if (end > 0) parts.push_back(path.substr(0, end));
    path.remove_prefix(std::min(end + 1, path.size()));
  }
  return parts;
}

KeyRef KeyTree::Root(KeyId id) const {
  const std::u16string_view name = id == kMachineRoot ? u"MACHINE" : u"USER";
  // Only the two roots stand under no key, and the first was made first.
  std::uint16_t slot = 0;
  if (id == kUsersRoot && hash_(u"MACHINE") == hash_(u"USER")) slot = 1;
  return {{kNoKey, RecordTag::kKey, hash_(name), slot}, id};
}

std::uint32_t KeyTree::CreateRoots() {
  std::uint32_t result = PutKey(Root(kMachineRoot).place, KeyRecord{kMachineRoot, 0, false, {}}, u"MACHINE");
  if (result == 0) result = PutKey(Root(kUsersRoot).place, KeyRecord{kUsersRoot, 0, false, {}}, u"USER");
  KeyRef hive;
  for (const char16_t* name : {u"HARDWARE", u"SAM", u"SECURITY", u"SOFTWARE", u"SYSTEM"}) {
    if (result == 0) result = CreateSubKey(Root(kMachineRoot), name, false, &hive);
  }
  for (const char16_t* name : {u".DEFAULT", u"S-1-5-18"}) {
    if (result == 0) result = CreateSubKey(Root(kUsersRoot), name, false, &hive);
  }
  if (result == 0) result = FindSubKey(Root(kMachineRoot), u"SOFTWARE", &hive);
  KeyRef classes;
  return result == 0 ? CreateSubKey(hive, u"Classes", false, &classes) : result;
}

std::uint32_t KeyTree::ReadKey(const KeyRef& key, KeyRecord* record) {
  std::span<const std::byte> bytes;
  const std::uint32_t result = transaction_->Get(key.place, &bytes);
  if (result == kErrorFileNotFound) return kErrorKeyDeleted;
  if (result != kErrorSuccess) return result;
  const auto parsed = KeyRecord::Parse(bytes);
  if (!parsed) return kErrorRegistryCorrupt;
  if (parsed->id != key.id) return kErrorKeyDeleted;
  *record = *parsed;
  return kErrorSuccess;
}

std::uint32_t KeyTree::FindSlot(KeyId parent, RecordTag tag, std::u16string_view name, Slot* slot,
                                std::span<const std::byte>* record) {
  slot->place = RecordPlace{parent, tag, hash_(name), 0};
  const std::uint32_t result = transaction_->Get(slot->place, record);
  // Names seldom share a hash, so the first slot nearly always settles it.
  if (result == kErrorSuccess) {
    const auto found = NameOf(tag, *record);
    if (!found) return kErrorRegistryCorrupt;
    slot->taken = found->EqualsFolded(name);
    if (slot->taken) return kErrorSuccess;
  } else if (result != kErrorFileNotFound) {
    return result;
  }
  return FindFirstSlot(slot->place, name, slot, record);
}

// Walks the slots of one hash: a deleted name leaves a gap, and what stands behind it must still be found.
std::uint32_t KeyTree::FindFirstSlot(const RecordPlace& first, std::u16string_view name, Slot* slot,
                                     std::span<const std::byte>* record) {
  std::uint32_t free = 0;
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(first);
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    const RecordPlace& place = cursor.place();
    if (!IsUnder(place, first.parent, first.tag) || place.name_hash != first.name_hash) break;
    const auto found = NameOf(first.tag, cursor.record());
    if (!found) return kErrorRegistryCorrupt;
    if (found->EqualsFolded(name)) {
      *slot = {place, true};
      *record = cursor.record();
      return kErrorSuccess;
    }
    if (place.slot == free) ++free;
  }
  if (result != kErrorSuccess) return result;
  if (free > 0xFFFF) return kErrorNoSystemResources;
  slot->place.slot = static_cast<std::uint16_t>(free);
  slot->taken = false;
  return kErrorSuccess;
}

std::uint32_t KeyTree::FindSubKey(const KeyRef& parent, std::u16string_view name, KeyRef* found) {
  Slot slot;
  std::span<const std::byte> record;
  const std::uint32_t result = FindSlot(parent.id, RecordTag::kKey, name, &slot, &record);
  if (result != kErrorSuccess) return result;
  if (!slot.taken) return kErrorFileNotFound;
  const auto key = KeyRecord::Parse(record);
  // A child's id above its parent's is what keeps a walk down a damaged tree finite.
  if (!key || key->id <= parent.id) return kErrorRegistryCorrupt;
  *found = KeyRef{slot.place, key->id};
  return kErrorSuccess;
}

std::uint32_t KeyTree::FindPath(const KeyRef& from, std::u16string_view path, KeyRef* found) {
  KeyRef key = from;
  for (const std::u16string_view name : SplitKeyPath(path)) {
    const std::uint32_t result = FindSubKey(key, name, &key);
    if (result != kErrorSuccess) return result;
  }
  *found = key;
  return kErrorSuccess;
}

std::uint32_t KeyTree::CreateSubKey(const KeyRef& parent, std::u16string_view name, bool is_volatile, KeyRef* created) {
  KeyRecord parent_record;
  std::uint32_t result = ReadKey(parent, &parent_record);
  if (result != kErrorSuccess) return result;
  if (parent_record.is_volatile && !is_volatile) return kErrorChildMustBeVolatile;
  Slot slot;
  std::span<const std::byte> unused;
  result = FindSlot(parent.id, RecordTag::kKey, name, &slot, &unused);
  if (result != kErrorSuccess) return result;
  KeyId id = kNoKey;
  result = TakeId(&id);
  if (result == kErrorSuccess) result = PutKey(slot.place, KeyRecord{id, 0, is_volatile, {}}, name);
  if (result == kErrorSuccess) *created = KeyRef{slot.place, id};
  return result;
}

std::uint32_t KeyTree::TakeId(KeyId* id) {
  std::span<const std::byte> bytes;
  std::uint32_t result = transaction_->Get(StoreRecord::Place(), &bytes);
  if (result != kErrorSuccess) return result == kErrorFileNotFound ? kErrorRegistryCorrupt : result;
  auto store = StoreRecord::Parse(bytes);
  if (!store) return kErrorRegistryCorrupt;
  *id = store->next_id++;
  const auto encoded = store->Encode();
  std::byte* room = nullptr;
  result = transaction_->Put(StoreRecord::Place(), encoded.size(), &room);
  if (result == kErrorSuccess) std::memcpy(room, encoded.data(), encoded.size());
  return result;
}

std::uint32_t KeyTree::PutKey(const RecordPlace& place, const KeyRecord& record, std::u16string_view name) {
  std::byte* room = nullptr;
  const std::uint32_t result = transaction_->Put(place, KeyRecord::EncodedSize(name.size()), &room);
  if (result == kErrorSuccess) record.Encode(name, room);
  return result;
}

std::uint32_t KeyTree::DeleteKey(const KeyRef& key) {
  const std::uint32_t result = DeleteValues(key.id);
  return result == kErrorSuccess ? transaction_->Delete(key.place) : result;
}

std::uint32_t KeyTree::DeleteValues(KeyId id) {
  std::vector<RecordPlace> values;
  std::uint32_t result = ListPlaces(id, RecordTag::kValue, &values);
  for (const RecordPlace& place : values) {
    if (result == kErrorSuccess) result = transaction_->Delete(place);
  }
  return result;
}

std::uint32_t KeyTree::CollectBelow(KeyId id, std::vector<KeyRef>* found) {
  std::vector<KeyId> open{id};
  while (!open.empty()) {
    const KeyId parent = open.back();
    open.pop_back();
    RecordCursor cursor(transaction_);
    std::uint32_t result = cursor.Seek(RecordPlace{parent, RecordTag::kKey, 0, 0});
    for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
      if (!IsUnder(cursor.place(), parent, RecordTag::kKey)) break;
      const auto key = KeyRecord::Parse(cursor.record());
      if (!key || key->id <= parent) return kErrorRegistryCorrupt;
      found->push_back(KeyRef{cursor.place(), key->id});
      open.push_back(key->id);
    }
    if (result != kErrorSuccess) return result;
  }
  return kErrorSuccess;
}

std::uint32_t KeyTree::DeleteBelow(KeyId id) {
  std::vector<KeyRef> keys;
  std::uint32_t result = CollectBelow(id, &keys);
  for (const KeyRef& key : keys) {
    if (result == kErrorSuccess) result = DeleteKey(key);
  }
  return result;
}

std::uint32_t KeyTree::DropVolatile() {
  std::vector<KeyRef> keys;
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(RecordPlace{kNoKey, RecordTag::kKey, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    if (cursor.place().tag != RecordTag::kKey) continue;
    const auto key = KeyRecord::Parse(cursor.record());
    if (!key) return kErrorRegistryCorrupt;
    if (key->is_volatile) keys.push_back(KeyRef{cursor.place(), key->id});
  }
  // Whatever stands below a volatile key is volatile, so each is its own entry here.
  for (const KeyRef& key : keys) {
    if (result == kErrorSuccess) result = DeleteKey(key);
  }
  return result;
}

std::uint32_t KeyTree::ListSubKeys(KeyId id, std::vector<NamedPlace>* found) {
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(RecordPlace{id, RecordTag::kKey, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    if (!IsUnder(cursor.place(), id, RecordTag::kKey)) break;
    const auto key = KeyRecord::Parse(cursor.record());
    if (!key || key->id <= id) return kErrorRegistryCorrupt;
    found->push_back({cursor.place(), key->name.Text()});
  }
  std::sort(found->begin(), found->end(),
            [](const NamedPlace& a, const NamedPlace& b) { return CompareFolded(a.name, b.name) < 0; });
  return result;
}

std::uint32_t KeyTree::ListPlaces(KeyId id, RecordTag tag, std::vector<RecordPlace>* found) {
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(RecordPlace{id, tag, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    if (!IsUnder(cursor.place(), id, tag)) break;
    found->push_back(cursor.place());
  }
  return result;
}

std::uint32_t KeyTree::Count(KeyId id, RecordTag tag, std::uint32_t* count) {
  std::vector<RecordPlace> places;
  const std::uint32_t result = ListPlaces(id, tag, &places);
  *count = static_cast<std::uint32_t>(places.size());
  return result;
}

std::uint32_t KeyTree::CheckAll() {
  KeyRecord root;
  for (const KeyId id : {kMachineRoot, kUsersRoot}) {
    if (ReadKey(Root(id), &root) != kErrorSuccess) return kErrorRegistryCorrupt;
  }
  bool store_seen = false;
  std::unordered_set<KeyId> keys;
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(RecordPlace{kNoKey, RecordTag::kKey, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    if (cursor.place().tag == RecordTag::kStore) {
      store_seen = StoreRecord::Parse(cursor.record()).has_value();
      continue;
    }
    if (!NameOf(cursor.place().tag, cursor.record())) return kErrorRegistryCorrupt;
    if (cursor.place().parent != kNoKey && keys.count(cursor.place().parent) == 0) return kErrorRegistryCorrupt;
    if (cursor.place().tag == RecordTag::kKey) keys.insert(KeyRecord::Parse(cursor.record())->id);
  }
  if (result != kErrorSuccess) return result;
  return store_seen ? kErrorSuccess : kErrorRegistryCorrupt;
}

}  // namespace varnel::embedded
