#include "platform/embedded/tools/open_key.h"

#include <cstring>
#include <utility>

namespace varnel::embedded {

using namespace platform;

OpenKey OpenKey::Of(Registry& registry, HKEY from, const std::u16string& path, std::uint32_t access) {
  return OpenKey(&registry, from, path, access);
}

OpenKey::OpenKey(Registry* registry, HKEY from, const std::u16string& path, std::uint32_t access)
    : registry_(registry), result_(registry->RegOpenKeyExW(from, path.c_str(), 0, access, &key_)) {}

OpenKey::OpenKey(OpenKey&& other) noexcept
    : registry_(other.registry_), key_(std::exchange(other.key_, nullptr)), result_(other.result_) {}

OpenKey::~OpenKey() {
  if (key_ != nullptr) registry_->RegCloseKey(key_);
}

OpenKey OpenKey::Open(const std::u16string& path, std::uint32_t access) const {
  return OpenKey(registry_, key_, path, access);
}

std::optional<NamedValue> OpenKey::Value(const char16_t* name) const {
  NamedValue value;
  std::uint32_t size = 0;
  std::uint32_t result = registry_->RegQueryValueExW(key_, name, &value.type, nullptr, &size);
  while (result == kErrorSuccess) {
    value.data.resize(size);
    // Never null, so that a value that has grown in between is told and not just measured again.
    std::byte none{};
    result = registry_->RegQueryValueExW(key_, name, &value.type, size == 0 ? &none : value.data.data(), &size);
    if (result == kErrorSuccess) {
      value.data.resize(size);
      return value;
    }
    if (result == kErrorMoreData) result = kErrorSuccess;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> OpenKey::Number(const char16_t* name) const {
  const auto value = Value(name);
  std::uint32_t number = 0;
  if (!value || value->type != kRegDword || value->data.size() != sizeof number) return std::nullopt;
  std::memcpy(&number, value->data.data(), sizeof number);
  return number;
}

std::optional<std::uint64_t> OpenKey::LongNumber(const char16_t* name) const {
  const auto value = Value(name);
  std::uint64_t number = 0;
  if (!value || value->type != kRegQword || value->data.size() != sizeof number) return std::nullopt;
  std::memcpy(&number, value->data.data(), sizeof number);
  return number;
}

std::optional<std::u16string> OpenKey::Text(const char16_t* name) const {
  const auto value = Value(name);
  if (!value || (value->type != kRegSz && value->type != kRegExpandSz)) return std::nullopt;
  std::u16string text(value->data.size() / 2, u'\0');
  if (!text.empty()) std::memcpy(text.data(), value->data.data(), text.size() * 2);
  text.resize(std::min(text.find(u'\0'), text.size()));
  return text;
}

std::uint32_t OpenKey::SetNumber(const char16_t* name, std::uint32_t number) const {
  return registry_->RegSetValueExW(key_, name, kRegDword, &number, sizeof number);
}

std::vector<std::u16string> OpenKey::SubKeys() const {
  std::vector<std::u16string> names;
  char16_t name[256];
  std::uint32_t length = 256;
  for (std::uint32_t index = 0; is_open() && registry_->RegEnumKeyExW(key_, index, name, &length) == kErrorSuccess;
       ++index) {
    names.emplace_back(name, length);
    length = 256;
  }
  return names;
}

std::vector<NamedValue> OpenKey::Values() const {
  constexpr std::uint32_t kRoom = 16384;  // the longest name and its zero
  std::vector<NamedValue> values;
  std::u16string name(kRoom, u'\0');
  std::uint32_t length = kRoom;
  for (std::uint32_t index = 0;
       is_open() && registry_->RegEnumValueW(key_, index, name.data(), &length, nullptr, nullptr, nullptr) == 0;
       ++index) {
    const std::u16string found = name.substr(0, length);
    length = kRoom;
    auto value = Value(found.c_str());
    if (!value) continue;  // gone meanwhile
    value->name = found;
    values.push_back(std::move(*value));
  }
  return values;
}

}  // namespace varnel::embedded
