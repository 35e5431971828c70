#include "platform/embedded/registry/lmdb_registry.h"

#include <new>

#include "platform/embedded/registry/registry_access.h"

namespace varnel::embedded {
namespace {

using namespace platform;

// Where each predefined key stands, from 0xFFFFFFFF80000000 upward.
struct Predefined {
  KeyId root;
  const char16_t* path;
};
constexpr Predefined kPredefined[] = {
    {kMachineRoot, u"SOFTWARE\\Classes"}, {kUsersRoot, u"S-1-5-18"}, {kMachineRoot, u""}, {kUsersRoot, u""}};

bool IsPredefined(HKEY key) {
  return key == kHkeyClassesRoot || key == kHkeyCurrentUser || key == kHkeyLocalMachine || key == kHkeyUsers;
}

std::size_t PredefinedIndex(HKEY key) {
  return static_cast<std::size_t>(reinterpret_cast<std::uintptr_t>(key) -
                                  reinterpret_cast<std::uintptr_t>(kHkeyClassesRoot));
}

std::u16string_view Path(const char16_t* sub_key) {
  return sub_key == nullptr ? std::u16string_view() : std::u16string_view(sub_key);
}

std::uint32_t CheckPath(std::u16string_view path) {
  if (!path.empty() && path.front() == u'\\') return kErrorBadPathname;
  for (const std::u16string_view name : SplitKeyPath(path)) {
    if (name.size() > kMaxKeyName) return kErrorInvalidParameter;
  }
  return kErrorSuccess;
}

// What stands directly below a root is a hive: part of the machine, neither made nor deleted as a key is.
bool IsRootOrHive(const KeyRef& key) {
  return key.place.parent == kNoKey || key.place.parent == kMachineRoot || key.place.parent == kUsersRoot;
}

// Opens or makes each key of the path from one that is there. What stands directly below a root can't be made.
std::uint32_t CreatePath(KeyTree* tree, const KeyRef& from, std::u16string_view path, bool is_volatile, KeyRef* key,
                         bool* is_new) {
  std::uint32_t error = kErrorSuccess;
  *key = from;
  *is_new = false;
  for (const std::u16string_view name : SplitKeyPath(path)) {
    if (error != kErrorSuccess) return error;
    const KeyRef parent = *key;
    error = tree->FindSubKey(parent, name, key);
    if (error != kErrorFileNotFound) continue;
    if (parent.place.parent == kNoKey) return kErrorInvalidParameter;
    error = tree->CreateSubKey(parent, name, is_volatile, key);
    *is_new = true;
  }
  return error;
}

std::uint32_t HandOut(const std::shared_ptr<RegistryStore>& store, const KeyRef& key, std::uint32_t access,
                      HKEY* result) {
  *result = Handles().Insert(std::make_shared<RegistryKey>(store, key, GrantedRights(access)));
  return *result != nullptr ? kErrorSuccess : kErrorNotEnoughMemory;
}

}  // namespace

std::uint32_t LmdbRegistry::Open() {
  std::shared_ptr<RegistryStore> store;
  return Guarded([&] { return Store(&store); });
}

std::uint32_t LmdbRegistry::DropVolatileKeys() {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryStore> store;
    const std::uint32_t error = Store(&store);
    if (error != kErrorSuccess) return error;
    return store->Write([&](Transaction& change) { return KeyTree(&change, store->hash()).DropVolatile(); });
  });
}

std::uint32_t LmdbRegistry::Store(std::shared_ptr<RegistryStore>* store) {
  const std::lock_guard lock(mutex_);
  if (!store_) {
    const std::uint32_t error = RegistryStore::Open(folder_, options_, &store_);
    if (error != kErrorSuccess) return error;
  }
  *store = store_;
  return kErrorSuccess;
}

std::uint32_t LmdbRegistry::ResolvePredefined(HKEY handle, std::shared_ptr<RegistryKey>* key) {
  std::shared_ptr<RegistryStore> store;
  std::uint32_t error = Store(&store);
  if (error != kErrorSuccess) return error;
  const std::lock_guard lock(mutex_);
  auto& known = predefined_[PredefinedIndex(handle)];
  if (!known) {
    const Predefined& where = kPredefined[PredefinedIndex(handle)];
    KeyRef ref;
    error = store->Read([&](Transaction& view) {
      KeyTree tree(&view, store->hash());
      return tree.FindPath(tree.Root(where.root), where.path, &ref);
    });
    if (error != kErrorSuccess) return error;
    known = std::make_shared<RegistryKey>(store, ref, kAllRights);
  }
  *key = known;
  return kErrorSuccess;
}

std::uint32_t LmdbRegistry::Resolve(HKEY handle, std::shared_ptr<RegistryKey>* key) {
  if (IsPredefined(handle)) return ResolvePredefined(handle, key);
  *key = Handles().Find<RegistryKey>(handle, Object::Kind::kRegistryKey);
  return *key ? kErrorSuccess : kErrorInvalidHandle;
}

std::uint32_t LmdbRegistry::ResolveWith(HKEY handle, std::uint32_t rights, std::shared_ptr<RegistryKey>* key) {
  const std::uint32_t error = Resolve(handle, key);
  if (error != kErrorSuccess) return error;
  return (*key)->Grants(rights) ? kErrorSuccess : kErrorAccessDenied;
}

std::uint32_t LmdbRegistry::OpenExisting(RegistryKey& from, std::u16string_view path, std::uint32_t access,
                                         HKEY* result) {
  KeyRef found;
  const std::uint32_t error =
      from.Read([&](KeyTree& tree, Transaction&) { return tree.FindPath(from.ref(), path, &found); });
  return error == kErrorSuccess ? HandOut(from.shared_store(), found, access, result) : error;
}

std::uint32_t LmdbRegistry::RegOpenKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t, std::uint32_t access,
                                          HKEY* result) {
  return Guarded([&]() -> std::uint32_t {
    if (result == nullptr) return kErrorInvalidParameter;
    *result = nullptr;
    std::shared_ptr<RegistryKey> from;
    std::uint32_t error = Resolve(key, &from);
    if (error == kErrorSuccess) error = CheckPath(Path(sub_key));
    return error == kErrorSuccess ? OpenExisting(*from, Path(sub_key), access, result) : error;
  });
}

std::uint32_t LmdbRegistry::RegCreateKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options,
                                            std::uint32_t access, HKEY* result, std::uint32_t* disposition) {
  return Guarded([&]() -> std::uint32_t {
    if (result == nullptr) return kErrorInvalidParameter;
    *result = nullptr;
    std::shared_ptr<RegistryKey> from;
    std::uint32_t error = Resolve(key, &from);
    if (error == kErrorSuccess && sub_key == nullptr) error = kErrorInvalidParameter;
    if (error == kErrorSuccess) error = CheckPath(Path(sub_key));
    if (error != kErrorSuccess) return error;
    error = OpenExisting(*from, Path(sub_key), access, result);
    if (error == kErrorSuccess && disposition != nullptr) *disposition = kRegOpenedExistingKey;
    if (error != kErrorFileNotFound) return error;
    KeyRef made;
    bool is_new = false;
    error = from->Write([&](KeyTree& tree, Transaction&) {
      return CreatePath(&tree, from->ref(), sub_key, (options & kRegOptionVolatile) != 0, &made, &is_new);
    });
    if (error != kErrorSuccess) return error;
    if (disposition != nullptr) *disposition = is_new ? kRegCreatedNewKey : kRegOpenedExistingKey;
    return HandOut(from->shared_store(), made, access, result);
  });
}

std::uint32_t LmdbRegistry::RegCloseKey(HKEY key) {
  if (IsPredefined(key)) return kErrorSuccess;
  // Only a key's handle: taking another kind out of the table would close what isn't ours.
  if (!Handles().Find<RegistryKey>(key, Object::Kind::kRegistryKey)) return kErrorInvalidHandle;
  return Handles().Remove(key) ? kErrorSuccess : kErrorInvalidHandle;
}

std::uint32_t LmdbRegistry::RegDeleteKeyW(HKEY key, const char16_t* sub_key) {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryKey> from;
    std::uint32_t error = Resolve(key, &from);
    if (error == kErrorSuccess && sub_key == nullptr) error = kErrorInvalidParameter;
    if (error == kErrorSuccess) error = CheckPath(Path(sub_key));
    if (error != kErrorSuccess) return error;
    return from->Write([&](KeyTree& tree, Transaction&) -> std::uint32_t {
      KeyRef target;
      std::uint32_t result = tree.FindPath(from->ref(), sub_key, &target);
      if (result != kErrorSuccess) return result;
      std::uint32_t below = 0;
      result = tree.Count(target.id, RecordTag::kKey, &below);
      if (result != kErrorSuccess) return result;
      return below != 0 || IsRootOrHive(target) ? kErrorAccessDenied : tree.DeleteKey(target);
    });
  });
}

std::uint32_t LmdbRegistry::RegDeleteTreeW(HKEY key, const char16_t* sub_key) {
  return Guarded([&]() -> std::uint32_t {
    const bool whole = !Path(sub_key).empty();
    std::shared_ptr<RegistryKey> from;
    // A sub-key is opened for its deletion with rights of its own; what is below the key itself needs the handle's.
    std::uint32_t error = ResolveWith(key, whole ? 0 : kKeyQueryValue | kKeySetValue | kKeyEnumerateSubKeys, &from);
    if (error == kErrorSuccess) error = CheckPath(Path(sub_key));
    if (error != kErrorSuccess) return error;
    return from->Write([&](KeyTree& tree, Transaction&) -> std::uint32_t {
      KeyRef target;
      std::uint32_t result = tree.FindPath(from->ref(), Path(sub_key), &target);
      if (result != kErrorSuccess) return result;
      if (whole ? IsRootOrHive(target) : target.place.parent == kNoKey) return kErrorAccessDenied;
      result = tree.DeleteBelow(target.id);
      if (result != kErrorSuccess) return result;
      return whole ? tree.DeleteKey(target) : tree.DeleteValues(target.id);
    });
  });
}

std::uint32_t LmdbRegistry::RegFlushKey(HKEY key) {
  return Guarded([&]() -> std::uint32_t {
    std::shared_ptr<RegistryKey> from;
    std::uint32_t error = ResolveWith(key, kKeyQueryValue, &from);
    if (error != kErrorSuccess) return error;
    error = from->Read([](KeyTree&, Transaction&) { return kErrorSuccess; });
    return error == kErrorSuccess ? from->store().Flush() : error;
  });
}

}  // namespace varnel::embedded
