#include "analyzer/registry_key.h"

#include <vector>

#include "analyzer/hresult.h"

namespace varnel {

using platform::RegistryPort;

std::uint32_t RegistryKey::Open(platform::HKEY root, const char16_t* path, std::uint32_t access) {
  platform::HKEY key = nullptr;
  const std::uint32_t error = RegistryPort().RegOpenKeyExW(root, path, 0, access, &key);
  if (error == platform::kErrorSuccess) key_ = key;
  return error;
}

std::uint32_t RegistryKey::Create(platform::HKEY root, const char16_t* path, std::uint32_t access) {
  platform::HKEY key = nullptr;
  const std::uint32_t error =
      RegistryPort().RegCreateKeyExW(root, path, platform::kRegOptionNonVolatile, access, &key, nullptr);
  if (error == platform::kErrorSuccess) key_ = key;
  return error;
}

std::int32_t QueryDword(platform::HKEY key, const char16_t* name, std::uint32_t* value) {
  std::uint32_t type = platform::kRegNone;
  std::uint32_t read = 0;
  std::uint32_t size = sizeof read;
  const std::uint32_t error = RegistryPort().RegQueryValueExW(key, name, &type, &read, &size);
  if (error != platform::kErrorSuccess) return HresultOf(error);
  if (type != platform::kRegDword) return kHresultInvalidArgument;
  *value = read;
  return kHresultOk;
}

std::int32_t QueryText(platform::HKEY key, const char16_t* name, std::u16string* text) {
  std::uint32_t type = platform::kRegNone;
  std::uint32_t size = 0;
  std::uint32_t error = RegistryPort().RegQueryValueExW(key, name, &type, nullptr, &size);
  if (error != platform::kErrorSuccess) return HresultOf(error);
  if (type != platform::kRegSz && type != platform::kRegExpandSz) return kHresultInvalidArgument;
  std::vector<char16_t> read(size / sizeof(char16_t) + 1);  // one more than stored: it may lack its NUL
  error = RegistryPort().RegQueryValueExW(key, name, &type, read.data(), &size);
  if (error != platform::kErrorSuccess) return HresultOf(error);
  read.back() = 0;
  text->assign(read.data());
  return kHresultOk;
}

std::uint32_t SetDword(platform::HKEY key, const char16_t* name, std::uint32_t value) {
  return RegistryPort().RegSetValueExW(key, name, platform::kRegDword, &value, sizeof value);
}

std::uint32_t SetExpandText(platform::HKEY key, const char16_t* name, const std::u16string& text) {
  const auto size = static_cast<std::uint32_t>(text.size() * sizeof(char16_t) + sizeof(char16_t));
  return RegistryPort().RegSetValueExW(key, name, platform::kRegExpandSz, text.c_str(), size);
}

}  // namespace varnel
