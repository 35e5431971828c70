// The registry port in memory.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/registry.h"

namespace varnel::testing {

/// Paths in the test's own calls begin below HKEY_LOCAL_MACHINE.
class FakeRegistry : public platform::Registry {
 public:
  FakeRegistry();
  ~FakeRegistry() override;

  struct Value {
    std::u16string name;  // as first written
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
  };

  void MakeKey(std::u16string_view path);
  bool HasKey(std::u16string_view path) const;
  /// Removes the key with all below it.
  void RemoveKey(std::u16string_view path);
  std::vector<std::u16string> SubKeys(std::u16string_view path) const;
  /// The values in the order in which they were first written.
  std::vector<Value> Values(std::u16string_view path) const;
  std::optional<Value> Get(std::u16string_view path, std::u16string_view name) const;
  void Set(std::u16string_view path, std::u16string_view name, std::uint32_t type, const void* data, std::size_t size);
  void SetDword(std::u16string_view path, std::u16string_view name, std::uint32_t value);
  /// REG_SZ with its NUL.
  void SetText(std::u16string_view path, std::u16string_view name, std::u16string_view text);
  std::optional<std::uint32_t> GetDword(std::u16string_view path, std::u16string_view name) const;
  std::optional<std::uint64_t> GetQword(std::u16string_view path, std::u16string_view name) const;
  /// A text value without its NUL.
  std::optional<std::u16string> GetText(std::u16string_view path, std::u16string_view name) const;
  /// Keys that were opened and not closed.
  std::size_t open_keys() const;
  unsigned flush_count() const;

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
  struct Node;
  struct Opened {
    std::shared_ptr<Node> node;
    std::uint32_t access = 0;
  };

  std::shared_ptr<Node> MachinePath(std::u16string_view path, bool make) const;
  std::uint32_t Look(platform::HKEY key, std::uint32_t needed, Opened* out) const;
  platform::HKEY Open(std::shared_ptr<Node> node, std::uint32_t access);

  mutable std::mutex mutex_;
  std::map<std::uintptr_t, std::shared_ptr<Node>> roots_;
  std::map<std::uintptr_t, Opened> opened_;
  std::uintptr_t next_ = 0x900000;
  unsigned flush_count_ = 0;
};

}  // namespace varnel::testing
