// The process-wide table of open registries: LMDB allows one environment for each folder and process.
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <vector>

#include "platform/embedded/registry/registry_store.h"
#include "platform/types.h"

namespace varnel::embedded {

class StoreCache {
 public:
  static StoreCache& Instance();

  std::uint32_t Open(const std::string& folder, const StoreOptions& options, std::shared_ptr<RegistryStore>* out);

 private:
  struct Entry {
    std::weak_ptr<RegistryStore> store;
    bool is_open = false;  // also while its last holder is closing it
  };

  static void FlushAll();
  void Close(const std::string& folder, RegistryStore* store);

  std::mutex mutex_;
  std::condition_variable closed_;
  std::map<std::string, Entry> entries_;  // by canonical folder; guarded by mutex_
};

StoreCache& StoreCache::Instance() {
  // Never destroyed. A platform's registry is not either, so the process's end is its last close.
  static StoreCache* const cache = [] {
    std::atexit(FlushAll);
    return new StoreCache;
  }();
  return *cache;
}

void StoreCache::FlushAll() {
  std::vector<std::shared_ptr<RegistryStore>> open;
  {
    StoreCache& cache = Instance();
    const std::lock_guard lock(cache.mutex_);
    for (auto& [folder, entry] : cache.entries_) {
      if (auto held = entry.store.lock()) open.push_back(std::move(held));
    }
  }
  for (const auto& store : open) store->FlushQuietly();
}

std::uint32_t StoreCache::Open(const std::string& folder, const StoreOptions& options,
                               std::shared_ptr<RegistryStore>* out) {
  std::unique_lock lock(mutex_);
  Entry& entry = entries_[folder];
  for (;;) {
    *out = entry.store.lock();
    if (*out) return platform::kErrorSuccess;
    if (!entry.is_open) break;
    closed_.wait(lock);
  }
  std::unique_ptr<RegistryStore> store(new RegistryStore(folder, options));
  const std::uint32_t error = store->OpenLocked();
  if (error != platform::kErrorSuccess) return error;
  // The last holder's end closes the store, and only then lets the next opener in.
  out->reset(store.release(), [folder](RegistryStore* last) { Instance().Close(folder, last); });
  entry.store = *out;
  entry.is_open = true;
  return platform::kErrorSuccess;
}

void StoreCache::Close(const std::string& folder, RegistryStore* store) {
  delete store;
  const std::lock_guard lock(mutex_);
  entries_[folder].is_open = false;
  closed_.notify_all();
}

std::uint32_t RegistryStore::Open(const std::string& folder, const StoreOptions& options,
                                  std::shared_ptr<RegistryStore>* out) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) return ResultOf(error.value());
  const auto canonical = std::filesystem::canonical(folder, error);
  if (error) return ResultOf(error.value());
  return StoreCache::Instance().Open(canonical.string(), options, out);
}

}  // namespace varnel::embedded
