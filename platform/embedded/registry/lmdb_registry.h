// LmdbRegistry: the registry port over the store in a machine folder. Every call is one short transaction, so what was
// accepted outlives the process at once, and the host from the next copy on (RegFlushKey, the last close, the first
// write a minute after the last copy).
//
// A process that loads the module opens a machine's registry through the module's own instance and by no other road:
// two copies of this code in one process would open one environment twice, which LMDB forbids.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/embedded/registry/registry_key.h"
#include "platform/embedded/registry/registry_store.h"
#include "platform/registry.h"

namespace varnel::embedded {

class LmdbRegistry : public platform::Registry {
 public:
  /// Opens the store at the first call that needs it; a store that can't be opened is tried again at the next.
  explicit LmdbRegistry(std::string folder, StoreOptions options = {})
      : folder_(std::move(folder)), options_(std::move(options)) {}

  /// Opens the store now; makes it, with its first copy, where there is none. 0 or a Win32 error number.
  std::uint32_t Open();

  /// Ends all volatile keys, as a boot does.
  std::uint32_t DropVolatileKeys();

  std::uint32_t RegOpenKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                              platform::HKEY* result) override;
  std::uint32_t RegCreateKeyExW(platform::HKEY key, const char16_t* sub_key, std::uint32_t options,
                                std::uint32_t access, platform::HKEY* result, std::uint32_t* disposition) override;
  std::uint32_t RegCloseKey(platform::HKEY key) override;
  std::uint32_t RegQueryValueExW(platform::HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                 std::uint32_t* data_size) override;
  std::uint32_t RegSetValueExW(platform::HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t data_size) override;
  std::uint32_t RegDeleteValueW(platform::HKEY key, const char16_t* name) override;
  std::uint32_t RegEnumValueW(platform::HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                              std::uint32_t* type, void* data, std::uint32_t* data_size) override;
  std::uint32_t RegEnumKeyExW(platform::HKEY key, std::uint32_t index, char16_t* name,
                              std::uint32_t* name_length) override;
  std::uint32_t RegQueryInfoKeyW(platform::HKEY key, std::uint32_t* sub_key_count, std::uint32_t* value_count) override;
  std::uint32_t RegDeleteKeyW(platform::HKEY key, const char16_t* sub_key) override;
  std::uint32_t RegDeleteTreeW(platform::HKEY key, const char16_t* sub_key) override;
  std::uint32_t RegFlushKey(platform::HKEY key) override;

 private:
  std::uint32_t Store(std::shared_ptr<RegistryStore>* store);
  std::uint32_t Resolve(platform::HKEY handle, std::shared_ptr<RegistryKey>* key);
  std::uint32_t ResolvePredefined(platform::HKEY handle, std::shared_ptr<RegistryKey>* key);
  std::uint32_t ResolveWith(platform::HKEY handle, std::uint32_t rights, std::shared_ptr<RegistryKey>* key);
  std::uint32_t OpenExisting(RegistryKey& from, std::u16string_view path, std::uint32_t access, platform::HKEY* result);

  const std::string folder_;
  const StoreOptions options_;

  std::mutex mutex_;
  std::shared_ptr<RegistryStore> store_;        // guarded by mutex_
  std::shared_ptr<RegistryKey> predefined_[4];  // guarded by mutex_
};

}  // namespace varnel::embedded
