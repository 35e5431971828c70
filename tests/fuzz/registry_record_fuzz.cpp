// The registry's records: each parser alone, then a store that holds whatever records the input puts into it, with the
// work of the port done on it. Nothing is committed, so that every input starts from the same roots.
//
// An input is a row of records: 19 bytes of place, a byte of length, the record.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/embedded/registry/key_tree.h"

namespace {

using namespace varnel::embedded;

// Few hashes, so that names meet.
std::uint64_t NarrowHash(std::u16string_view name) {
  return HashFoldedName(name) & 3;
}

StoreEnvironment& Environment() {
  static StoreEnvironment* const environment = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    std::unique_ptr<StoreEnvironment> opened;
    if (StoreEnvironment::Open(pattern, MapLimits{}, true, &opened) != 0) std::abort();
    std::filesystem::remove_all(pattern);  // the files live on while they are open
    return opened.release();
  }();
  return *environment;
}

void Put(Transaction& transaction, const RecordPlace& place, std::span<const std::byte> record) {
  std::byte* room = nullptr;
  if (transaction.Put(place, record.size(), &room) != 0) return;
  std::copy(record.begin(), record.end(), room);
}

void ParseAlone(std::span<const std::byte> record) {
  std::string again(record.size(), '\0');
  auto* const out = reinterpret_cast<std::byte*>(again.data());
  const auto unchanged = [&] { return std::equal(record.begin(), record.end(), out, out + again.size()); };
  if (const auto key = KeyRecord::Parse(record)) {
    key->Encode(key->name.Text(), out);
    if (!unchanged()) std::abort();
  }
  if (const auto value = ValueRecord::Parse(record)) {
    value->Encode(value->name.Text(), out);
    if (!unchanged()) std::abort();
  }
  if (const auto store = StoreRecord::Parse(record)) {
    const auto encoded = store->Encode();
    if (!std::equal(record.begin(), record.end(), encoded.begin(), encoded.end())) std::abort();
  }
}

void PutAll(Transaction& transaction, std::span<const std::byte> bytes) {
  constexpr RecordTag kTags[] = {RecordTag::kKey, RecordTag::kValue, RecordTag::kStore};
  while (bytes.size() > RecordPlace::kSize) {
    RecordPlace::Bytes place_bytes;
    std::copy_n(bytes.begin(), RecordPlace::kSize, place_bytes.begin());
    place_bytes[8] = static_cast<std::byte>(kTags[std::to_integer<unsigned>(place_bytes[8]) % 3]);
    const auto place = RecordPlace::Parse(place_bytes);
    const std::size_t size = std::to_integer<std::size_t>(bytes[RecordPlace::kSize]);
    bytes = bytes.subspan(RecordPlace::kSize + 1);
    const auto record = bytes.first(std::min(size, bytes.size()));
    ParseAlone(record);
    if (place) Put(transaction, *place, record);
    bytes = bytes.subspan(record.size());
  }
}

void Work(KeyTree& tree) {
  std::uint32_t count = 0;
  KeyRef key;
  KeyRecord record;
  RecordPlace place;
  ValueRecord value;
  tree.CheckAll();
  for (KeyId id = 0; id < 6; ++id) {
    std::vector<NamedPlace> keys;
    std::vector<RecordPlace> values;
    tree.ListSubKeys(id, &keys);
    tree.ListValues(id, &values);
    tree.Count(id, RecordTag::kKey, &count);
    for (const NamedPlace& named : keys) tree.FindSubKey(KeyRef{{}, id}, named.name, &key);
    tree.FindValue(id, u"v", &place, &value);
  }
  if (tree.FindPath(tree.Root(kMachineRoot), u"SOFTWARE\\A\\B", &key) == 0) {
    tree.ReadKey(key, &record);
    tree.SetValue(key, u"v", 3, {});
    tree.DeleteValue(key.id, u"v");
  }
  tree.CreateSubKey(tree.Root(kMachineRoot), u"new", false, &key);
  tree.DropVolatile();
  tree.DeleteBelow(kMachineRoot);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto bytes = std::as_bytes(std::span(data, size));
  ParseAlone(bytes);
  Transaction transaction;
  if (Environment().BeginWrite(&transaction) != 0) std::abort();
  KeyTree tree(&transaction, NarrowHash);
  Put(transaction, StoreRecord::Place(), StoreRecord{1, kFirstOrdinaryKey}.Encode());
  if (tree.CreateRoots() != 0) std::abort();
  PutAll(transaction, bytes);
  Work(tree);
  return 0;
}
