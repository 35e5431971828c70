// The calls of the registry port that read and write values and list what a key holds.
#include <algorithm>
#include <cstring>

#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/registry/registry_access.h"

namespace varnel::embedded {
namespace {

using namespace platform;

std::u16string_view Name(const char16_t* name) {
  return name == nullptr ? std::u16string_view() : std::u16string_view(name);
}

bool IsText(std::uint32_t type) {
  return type == kRegSz || type == kRegExpandSz || type == kRegMultiSz;
}

// A text that was stored without its ending zero gets one where there is room for it; the size told stays.
void EndText(const ValueRecord& value, std::byte* data, std::uint32_t room) {
  const std::size_t size = value.data.size();
  if (!IsText(value.type) || room < size + 2) return;
  if (size >= 2 && data[size - 1] == std::byte{0} && data[size - 2] == std::byte{0}) return;
  data[size] = data[size + 1] = std::byte{0};
}

// Hands a value's data out: null `data` asks for the size alone, too little room gives 234 with the size.
std::uint32_t GiveData(const ValueRecord& value, void* data, std::uint32_t* data_size) {
  if (data_size == nullptr) return kErrorSuccess;
  const std::uint32_t room = *data_size;
  *data_size = static_cast<std::uint32_t>(value.data.size());
  if (data == nullptr) return kErrorSuccess;
  if (room < value.data.size()) return kErrorMoreData;
  if (!value.data.empty()) std::memcpy(data, value.data.data(), value.data.size());
  EndText(value, static_cast<std::byte*>(data), room);
  return kErrorSuccess;
}

// `length` counts units, in with room for the zero and out without it; it stays when the name does not fit.
bool GiveName(std::u16string_view text, char16_t* name, std::uint32_t* length) {
  if (*length <= text.size()) return false;
  std::copy(text.begin(), text.end(), name);
  name[text.size()] = u'\0';
  *length = static_cast<std::uint32_t>(text.size());
  return true;
}

std::uint32_t ReadValueAt(Transaction& view, const RecordPlace& place, ValueRecord* record) {
  std::span<const std::byte> bytes;
  const std::uint32_t error = view.Get(place, &bytes);
  if (error != kErrorSuccess) return error;
  const auto parsed = ValueRecord::Parse(bytes);
  if (!parsed) return kErrorRegistryCorrupt;
  *record = *parsed;
  return kErrorSuccess;
}

// Makes a listing anew unless the store still stands where it stood when the last one was made.
template <typename Item, typename List>
std::uint32_t Refresh(const Transaction& view, Listing<Item>* listing, List&& list) {
  if (listing->transaction == view.id()) return kErrorSuccess;
  listing->items.clear();
  listing->transaction = ~std::uint64_t{0};
  const std::uint32_t error = list(&listing->items);
  if (error == kErrorSuccess) listing->transaction = view.id();
  return error;
}

}  // namespace

std::uint32_t LmdbRegistry::RegQueryValueExW(HKEY handle, const char16_t* name, std::uint32_t* type, void* data,
                                             std::uint32_t* data_size) {
  return Guarded([&]() -> std::uint32_t {
    if (data != nullptr && data_size == nullptr) return kErrorInvalidParameter;
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeyQueryValue, &key);
    if (error != kErrorSuccess) return error;
    return key->Read([&](KeyTree& tree, Transaction&) -> std::uint32_t {
      RecordPlace place;
      ValueRecord value;
      const std::uint32_t result = tree.FindValue(key->ref().id, Name(name), &place, &value);
      if (result != kErrorSuccess) return result;
      if (type != nullptr) *type = value.type;
      return GiveData(value, data, data_size);
    });
  });
}

std::uint32_t LmdbRegistry::RegSetValueExW(HKEY handle, const char16_t* name, std::uint32_t type, const void* data,
                                           std::uint32_t data_size) {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeySetValue, &key);
    if (error != kErrorSuccess) return error;
    const std::u16string_view text = Name(name);
    if (text.size() > kMaxValueName) return kErrorInvalidParameter;
    if (data == nullptr && data_size != 0) return kErrorNoAccess;
    if (data_size > kMaxValueData) return kErrorNoSystemResources;
    const std::span bytes(static_cast<const std::byte*>(data), data_size);
    return key->store().SetValue(key->ref(), text, type, bytes, &key->bindings);
  });
}

std::uint32_t LmdbRegistry::RegDeleteValueW(HKEY handle, const char16_t* name) {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeySetValue, &key);
    if (error != kErrorSuccess) return error;
    return key->Write([&](KeyTree& tree, Transaction&) { return tree.DeleteValue(key->ref().id, Name(name)); });
  });
}

std::uint32_t LmdbRegistry::RegEnumValueW(HKEY handle, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                                          std::uint32_t* type, void* data, std::uint32_t* data_size) {
  return Guarded([&]() -> std::uint32_t {
    if (name == nullptr || name_length == nullptr) return kErrorInvalidParameter;
    if (data != nullptr && data_size == nullptr) return kErrorInvalidParameter;
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeyQueryValue, &key);
    if (error != kErrorSuccess) return error;
    const std::lock_guard lock(key->listing_mutex);
    return key->Read([&](KeyTree& tree, Transaction& view) -> std::uint32_t {
      ValueRecord value;
      std::uint32_t result =
          Refresh(view, &key->values, [&](auto* items) { return tree.ListValues(key->ref().id, items); });
      if (result != kErrorSuccess) return result;
      if (index >= key->values.items.size()) return kErrorNoMoreItems;
      result = ReadValueAt(view, key->values.items[index], &value);
      if (result != kErrorSuccess) return result;
      if (type != nullptr) *type = value.type;
      const bool fits = GiveName(value.name.Text(), name, name_length);
      result = GiveData(value, fits ? data : nullptr, data_size);
      return fits ? result : kErrorMoreData;
    });
  });
}

std::uint32_t LmdbRegistry::RegEnumKeyExW(HKEY handle, std::uint32_t index, char16_t* name,
                                          std::uint32_t* name_length) {
  return Guarded([&]() -> std::uint32_t {
    if (name == nullptr || name_length == nullptr) return kErrorInvalidParameter;
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeyEnumerateSubKeys, &key);
    if (error != kErrorSuccess) return error;
    const std::lock_guard lock(key->listing_mutex);
    return key->Read([&](KeyTree& tree, Transaction& view) -> std::uint32_t {
      const std::uint32_t result =
          Refresh(view, &key->sub_keys, [&](auto* items) { return tree.ListSubKeys(key->ref().id, items); });
      if (result != kErrorSuccess) return result;
      if (index >= key->sub_keys.items.size()) return kErrorNoMoreItems;
      return GiveName(key->sub_keys.items[index].name, name, name_length) ? kErrorSuccess : kErrorMoreData;
    });
  });
}

std::uint32_t LmdbRegistry::RegQueryInfoKeyW(HKEY handle, std::uint32_t* sub_key_count, std::uint32_t* value_count) {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryKey> key;
    const std::uint32_t error = ResolveWith(handle, kKeyQueryValue, &key);
    if (error != kErrorSuccess) return error;
    return key->Read([&](KeyTree& tree, Transaction&) -> std::uint32_t {
      std::uint32_t sub_keys = 0;
      std::uint32_t values = 0;
      std::uint32_t result = tree.Count(key->ref().id, RecordTag::kKey, &sub_keys);
      if (result == kErrorSuccess) result = tree.Count(key->ref().id, RecordTag::kValue, &values);
      if (result != kErrorSuccess) return result;
      if (sub_key_count != nullptr) *sub_key_count = sub_keys;
      if (value_count != nullptr) *value_count = values;
      return kErrorSuccess;
    });
  });
}

}  // namespace varnel::embedded
