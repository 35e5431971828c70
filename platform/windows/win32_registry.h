// The registry port by the system's registry.
#pragma once

#include "platform/registry.h"

namespace varnel::windows {

class Win32Registry final : public platform::Registry {
 public:
  using HKEY = platform::HKEY;

  std::uint32_t RegOpenKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                              HKEY* result) override;
  std::uint32_t RegCreateKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options, std::uint32_t access,
                                HKEY* result, std::uint32_t* disposition) override;
  std::uint32_t RegCloseKey(HKEY key) override;
  std::uint32_t RegQueryValueExW(HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                 std::uint32_t* data_size) override;
  std::uint32_t RegSetValueExW(HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                               std::uint32_t data_size) override;
  std::uint32_t RegDeleteValueW(HKEY key, const char16_t* name) override;
  std::uint32_t RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                              std::uint32_t* type, void* data, std::uint32_t* data_size) override;
  std::uint32_t RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length) override;
  std::uint32_t RegQueryInfoKeyW(HKEY key, std::uint32_t* sub_key_count, std::uint32_t* value_count) override;
  std::uint32_t RegDeleteKeyW(HKEY key, const char16_t* sub_key) override;
  std::uint32_t RegDeleteTreeW(HKEY key, const char16_t* sub_key) override;
  std::uint32_t RegFlushKey(HKEY key) override;
};

}  // namespace varnel::windows
