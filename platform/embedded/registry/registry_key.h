// RegistryKey: what an open key's handle stands for. Keeps its store open. Any thread may use it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/registry/key_tree.h"
#include "platform/embedded/registry/registry_store.h"

namespace varnel::embedded {

/// A listing of one kind, good for the state of the store that it was made from: an enumeration by index would else
/// list and sort all of them for each.
template <typename Item>
struct Listing {
  std::uint64_t transaction = ~std::uint64_t{0};
  std::vector<Item> items;
};

class RegistryKey : public Object {
 public:
  RegistryKey(std::shared_ptr<RegistryStore> store, const KeyRef& key, std::uint32_t access)
      : Object(Kind::kRegistryKey), store_(std::move(store)), key_(key), access_(access) {}

  RegistryStore& store() const { return *store_; }
  const std::shared_ptr<RegistryStore>& shared_store() const { return store_; }
  const KeyRef& ref() const { return key_; }
  bool Grants(std::uint32_t rights) const { return (access_ & rights) == rights; }

  /// Runs `body` (std::uint32_t(KeyTree&, Transaction&)) as one transaction in which the key is there, with the store's
  /// results; 1018 when it is gone.
  template <typename Body>
  std::uint32_t Read(Body&& body) const {
    return store_->Read([&](Transaction& view) { return Within(view, body); });
  }
  template <typename Body>
  std::uint32_t Write(Body&& body) const {
    return store_->Write([&](Transaction& change) { return Within(change, body); });
  }

  std::mutex listing_mutex;
  Listing<NamedPlace> sub_keys;  // guarded by listing_mutex
  Listing<RecordPlace> values;   // guarded by listing_mutex
  ValueBindings bindings;        // the store's own matter, guarded by the lock of its cells

 private:
  template <typename Body>
  std::uint32_t Within(Transaction& transaction, Body& body) const {
    KeyTree tree(&transaction, store_->hash());
    KeyRecord record;
    const std::uint32_t error = tree.ReadKey(key_, &record);
    return error != platform::kErrorSuccess ? error : body(tree, transaction);
  }

  const std::shared_ptr<RegistryStore> store_;
  const KeyRef key_;
  const std::uint32_t access_;
};

}  // namespace varnel::embedded
