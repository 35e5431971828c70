#include "platform/windows/win32_registry.h"

#include "platform/windows/border.h"

namespace varnel::windows {

std::uint32_t Win32Registry::RegOpenKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options,
                                           std::uint32_t access, HKEY* result) {
  return static_cast<std::uint32_t>(::RegOpenKeyExW(Key(key), Wide(sub_key), options, access, Across<::HKEY>(result)));
}

std::uint32_t Win32Registry::RegCreateKeyExW(HKEY key, const char16_t* sub_key, std::uint32_t options,
                                             std::uint32_t access, HKEY* result, std::uint32_t* disposition) {
  return static_cast<std::uint32_t>(::RegCreateKeyExW(Key(key), Wide(sub_key), 0, nullptr, options, access, nullptr,
                                                      Across<::HKEY>(result), Across<DWORD>(disposition)));
}

std::uint32_t Win32Registry::RegCloseKey(HKEY key) {
  return static_cast<std::uint32_t>(::RegCloseKey(Key(key)));
}

std::uint32_t Win32Registry::RegQueryValueExW(HKEY key, const char16_t* name, std::uint32_t* type, void* data,
                                              std::uint32_t* data_size) {
  return static_cast<std::uint32_t>(::RegQueryValueExW(Key(key), Wide(name), nullptr, Across<DWORD>(type),
                                                       static_cast<BYTE*>(data), Across<DWORD>(data_size)));
}

std::uint32_t Win32Registry::RegSetValueExW(HKEY key, const char16_t* name, std::uint32_t type, const void* data,
                                            std::uint32_t data_size) {
  return static_cast<std::uint32_t>(
      ::RegSetValueExW(Key(key), Wide(name), 0, type, static_cast<const BYTE*>(data), data_size));
}

std::uint32_t Win32Registry::RegDeleteValueW(HKEY key, const char16_t* name) {
  return static_cast<std::uint32_t>(::RegDeleteValueW(Key(key), Wide(name)));
}

std::uint32_t Win32Registry::RegEnumValueW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length,
                                           std::uint32_t* type, void* data, std::uint32_t* data_size) {
  return static_cast<std::uint32_t>(::RegEnumValueW(Key(key), index, Wide(name), Across<DWORD>(name_length), nullptr,
                                                    Across<DWORD>(type), static_cast<BYTE*>(data),
                                                    Across<DWORD>(data_size)));
}

std::uint32_t Win32Registry::RegEnumKeyExW(HKEY key, std::uint32_t index, char16_t* name, std::uint32_t* name_length) {
  return static_cast<std::uint32_t>(
      ::RegEnumKeyExW(Key(key), index, Wide(name), Across<DWORD>(name_length), nullptr, nullptr, nullptr, nullptr));
}

std::uint32_t Win32Registry::RegQueryInfoKeyW(HKEY key, std::uint32_t* sub_key_count, std::uint32_t* value_count) {
  return static_cast<std::uint32_t>(::RegQueryInfoKeyW(Key(key), nullptr, nullptr, nullptr,
                                                       Across<DWORD>(sub_key_count), nullptr, nullptr,
                                                       Across<DWORD>(value_count), nullptr, nullptr, nullptr, nullptr));
}

std::uint32_t Win32Registry::RegDeleteKeyW(HKEY key, const char16_t* sub_key) {
  return static_cast<std::uint32_t>(::RegDeleteKeyW(Key(key), Wide(sub_key)));
}

std::uint32_t Win32Registry::RegDeleteTreeW(HKEY key, const char16_t* sub_key) {
  return static_cast<std::uint32_t>(::RegDeleteTreeW(Key(key), Wide(sub_key)));
}

std::uint32_t Win32Registry::RegFlushKey(HKEY key) {
  return static_cast<std::uint32_t>(::RegFlushKey(Key(key)));
}

}  // namespace varnel::windows
