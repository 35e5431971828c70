// A registry in a folder of its own, and short forms of the calls that tests make often.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/embedded/registry/lmdb_registry.h"

namespace varnel::embedded {

inline constexpr std::uint32_t kReadWrite = 0x2001F;

struct SeenValue {
  std::u16string name;
  std::uint32_t type = 0;
  std::string data;

  friend bool operator==(const SeenValue&, const SeenValue&) = default;
};

class RegistryFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-registry-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    options_.host_boot_id = "boot-1";
    Reopen();
  }
  void TearDown() override {
    Close();
    std::filesystem::remove_all(folder_);
  }

  /// Closes every key that Create and Open gave, and the registry.
  void Close() {
    for (const platform::HKEY key : keys_) {
      if (registry_) registry_->RegCloseKey(key);
    }
    keys_.clear();
    registry_.reset();
  }
  /// Closes the registry and opens it once more.
  void Reopen() {
    Close();
    registry_ = std::make_unique<LmdbRegistry>(folder_ + "/registry", options_);
  }

  platform::HKEY Create(const char16_t* path, std::uint32_t access = kReadWrite) {
    platform::HKEY key = nullptr;
    EXPECT_EQ(registry_->RegCreateKeyExW(platform::kHkeyLocalMachine, path, 0, access, &key, nullptr), 0u);
    keys_.push_back(key);
    return key;
  }
  platform::HKEY Open(const char16_t* path, std::uint32_t access = kReadWrite) {
    platform::HKEY key = nullptr;
    registry_->RegOpenKeyExW(platform::kHkeyLocalMachine, path, 0, access, &key);
    if (key != nullptr) keys_.push_back(key);
    return key;
  }
  bool Exists(const char16_t* path) { return Open(path, platform::kKeyRead) != nullptr; }
  std::uint32_t Set(platform::HKEY key, const char16_t* name, const std::string& data,
                    std::uint32_t type = platform::kRegBinary) {
    return registry_->RegSetValueExW(key, name, type, data.data(), static_cast<std::uint32_t>(data.size()));
  }
  /// The data, or "?" and the result.
  std::string Get(platform::HKEY key, const char16_t* name) {
    std::string data(16384, '\0');
    auto size = static_cast<std::uint32_t>(data.size());
    const std::uint32_t result = registry_->RegQueryValueExW(key, name, nullptr, data.data(), &size);
    if (result != 0) return "?" + std::to_string(result);
    data.resize(size);
    return data;
  }
  std::vector<SeenValue> Values(platform::HKEY key) {
    std::vector<SeenValue> seen;
    for (std::uint32_t index = 0;; ++index) {
      char16_t name[256];
      std::uint32_t length = 256;
      SeenValue value;
      value.data.resize(16384);
      auto size = static_cast<std::uint32_t>(value.data.size());
      const std::uint32_t result =
          registry_->RegEnumValueW(key, index, name, &length, &value.type, value.data.data(), &size);
      if (result != 0) {
        EXPECT_EQ(result, platform::kErrorNoMoreItems);
        return seen;
      }
      value.name.assign(name, length);
      value.data.resize(size);
      seen.push_back(value);
    }
  }
  std::vector<std::u16string> SubKeys(platform::HKEY key) {
    std::vector<std::u16string> seen;
    for (std::uint32_t index = 0;; ++index) {
      char16_t name[256];
      std::uint32_t length = 256;
      const std::uint32_t result = registry_->RegEnumKeyExW(key, index, name, &length);
      if (result != 0) {
        EXPECT_EQ(result, platform::kErrorNoMoreItems);
        return seen;
      }
      seen.emplace_back(name, length);
    }
  }

  std::string folder_;
  StoreOptions options_;
  std::unique_ptr<LmdbRegistry> registry_;

 private:
  std::vector<platform::HKEY> keys_;
};

}  // namespace varnel::embedded
