// A registry key that closes itself, and the values of three kinds that the analyzer keeps under keys.
#pragma once

#include <string>

#include "platform/platform.h"

namespace varnel {

/// Owns an open key, or none. Not for keys that must stay open.
class RegistryKey {
 public:
  RegistryKey() = default;
  ~RegistryKey() {
    if (key_ != nullptr) platform::RegistryPort().RegCloseKey(key_);
  }
  RegistryKey(const RegistryKey&) = delete;
  RegistryKey& operator=(const RegistryKey&) = delete;

  /// Each once on an object without a key. 0, or a Win32 error number.
  std::uint32_t Open(platform::HKEY root, const char16_t* path, std::uint32_t access);
  std::uint32_t Create(platform::HKEY root, const char16_t* path, std::uint32_t access);

  platform::HKEY get() const { return key_; }

 private:
  platform::HKEY key_ = nullptr;
};

/// HRESULTs. The out value is untouched on failure; a value of another type gives E_INVALIDARG. A text ends at its
/// first NUL, or at its end when it was stored without one.
std::int32_t QueryDword(platform::HKEY key, const char16_t* name, std::uint32_t* value);
std::int32_t QueryText(platform::HKEY key, const char16_t* name, std::u16string* text);

/// Win32 error numbers. The text is stored as REG_EXPAND_SZ, with its NUL.
std::uint32_t SetDword(platform::HKEY key, const char16_t* name, std::uint32_t value);
std::uint32_t SetExpandText(platform::HKEY key, const char16_t* name, const std::u16string& text);

}  // namespace varnel
