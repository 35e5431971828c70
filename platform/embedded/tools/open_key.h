// OpenKey: a registry key for the tools, closed by its end, with its values read by type. What is missing or of another
// type reads as nothing. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/registry.h"

namespace varnel::embedded {

struct NamedValue {
  std::u16string name;
  std::uint32_t type = 0;
  std::vector<std::byte> data;
};

class OpenKey {
 public:
  /// The registry outlives the key.
  static OpenKey Of(platform::Registry& registry, platform::HKEY from, const std::u16string& path,
                    std::uint32_t access);
  ~OpenKey();
  OpenKey(OpenKey&& other) noexcept;
  OpenKey& operator=(OpenKey&&) = delete;

  bool is_open() const { return result_ == 0; }
  /// Of the opening: a Win32 error number.
  std::uint32_t result() const { return result_; }

  OpenKey Open(const std::u16string& path, std::uint32_t access) const;

  std::optional<std::uint32_t> Number(const char16_t* name) const;      // REG_DWORD
  std::optional<std::uint64_t> LongNumber(const char16_t* name) const;  // REG_QWORD
  std::optional<std::u16string> Text(const char16_t* name) const;       // REG_SZ, REG_EXPAND_SZ, up to its zero
  std::uint32_t SetNumber(const char16_t* name, std::uint32_t number) const;

  /// In the registry's order.
  std::vector<std::u16string> SubKeys() const;
  std::vector<NamedValue> Values() const;

 private:
  OpenKey(platform::Registry* registry, platform::HKEY from, const std::u16string& path, std::uint32_t access);

  std::optional<NamedValue> Value(const char16_t* name) const;

  platform::Registry* registry_;
  platform::HKEY key_ = nullptr;
  std::uint32_t result_ = 0;
};

}  // namespace varnel::embedded
