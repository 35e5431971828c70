// The values of a key.
#include <algorithm>
#include <cstring>

#include "platform/embedded/registry/key_tree.h"
#include "platform/types.h"

namespace varnel::embedded {

using namespace platform;

std::uint32_t KeyTree::FindValue(KeyId id, std::u16string_view name, RecordPlace* place, ValueRecord* record) {
  Slot slot;
  std::span<const std::byte> bytes;
  const std::uint32_t result = FindSlot(id, RecordTag::kValue, name, &slot, &bytes);
  if (result != kErrorSuccess) return result;
  *place = slot.place;
  if (!slot.taken) return kErrorFileNotFound;
  const auto parsed = ValueRecord::Parse(bytes);
  if (!parsed) return kErrorRegistryCorrupt;
  *record = *parsed;
  return kErrorSuccess;
}

std::uint32_t KeyTree::SetValue(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                                std::span<const std::byte> data, RecordPlace* where) {
  KeyRecord owner;
  std::uint32_t result = ReadKey(key, &owner);
  if (result != kErrorSuccess) return result;
  RecordPlace place;
  ValueRecord record;
  std::u16string kept;
  result = FindValue(key.id, name, &place, &record);
  if (result == kErrorSuccess) {
    kept = record.name.Text();
    name = kept;
  } else if (result == kErrorFileNotFound) {
    record.order = owner.next_order++;
    const std::u16string owner_name = owner.name.Text();
    std::byte* room = nullptr;
    result = transaction_->Put(key.place, KeyRecord::EncodedSize(owner_name.size()), &room);
    if (result != kErrorSuccess) return result;
    owner.Encode(owner_name, room);
  } else {
    return result;
  }
  record.type = type;
  record.data = data;
  std::byte* room = nullptr;
  result = transaction_->Put(place, ValueRecord::EncodedSize(name.size(), data.size()), &room);
  if (result == kErrorSuccess) record.Encode(name, room);
  if (where != nullptr) *where = place;
  return result;
}

std::uint32_t KeyTree::DeleteValue(KeyId id, std::u16string_view name) {
  RecordPlace place;
  ValueRecord record;
  const std::uint32_t result = FindValue(id, name, &place, &record);
  return result == kErrorSuccess ? transaction_->Delete(place) : result;
}

std::uint32_t KeyTree::ListValues(KeyId id, std::vector<RecordPlace>* found) {
  std::vector<std::pair<std::uint64_t, RecordPlace>> ordered;
  RecordCursor cursor(transaction_);
  std::uint32_t result = cursor.Seek(RecordPlace{id, RecordTag::kValue, 0, 0});
  for (; result == kErrorSuccess && !cursor.at_end(); result = cursor.Next()) {
    if (cursor.place().parent != id || cursor.place().tag != RecordTag::kValue) break;
    const auto value = ValueRecord::Parse(cursor.record());
    if (!value) return kErrorRegistryCorrupt;
    ordered.emplace_back(value->order, cursor.place());
  }
  std::sort(ordered.begin(), ordered.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [order, place] : ordered) found->push_back(place);
  return result;
}

}  // namespace varnel::embedded
