// A machine in a folder of its own, and short forms of registry calls on it.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "platform/embedded/registry/lmdb_registry.h"
#include "platform/embedded/tools/machine_layout.h"
#include "platform/embedded/tools/open_key.h"

namespace varnel::embedded {

class MachineFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-tools-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  void TearDown() override {
    registry_.reset();
    std::filesystem::remove_all(folder_);
  }

  void MakeMachine() {
    auto made = NewMachine(folder_ + "/m");
    ASSERT_TRUE(made.ok()) << made.error().message;
    machine_ = made.value();
    registry_ = std::make_unique<LmdbRegistry>(machine_->RegistryPath());
  }

  void SetText(const std::u16string& path, const char16_t* name, const std::u16string& text) {
    Set(path, name, platform::kRegSz, text.c_str(), static_cast<std::uint32_t>(2 * text.size() + 2));
  }
  void SetNumber(const std::u16string& path, const char16_t* name, std::uint32_t number) {
    Set(path, name, platform::kRegDword, &number, sizeof number);
  }
  void SetLongNumber(const std::u16string& path, const char16_t* name, std::uint64_t number) {
    Set(path, name, platform::kRegQword, &number, sizeof number);
  }
  void Set(const std::u16string& path, const char16_t* name, std::uint32_t type, const void* data, std::uint32_t size) {
    platform::HKEY key = nullptr;
    ASSERT_EQ(registry_->RegCreateKeyExW(platform::kHkeyLocalMachine, path.c_str(), 0, 0x2001F, &key, nullptr), 0u);
    EXPECT_EQ(registry_->RegSetValueExW(key, name, type, data, size), 0u);
    registry_->RegCloseKey(key);
  }
  OpenKey Key(const std::u16string& path) {
    return OpenKey::Of(*registry_, platform::kHkeyLocalMachine, path, 0x2001F);
  }

  std::string folder_;
  std::shared_ptr<Machine> machine_;
  std::unique_ptr<LmdbRegistry> registry_;
};

}  // namespace varnel::embedded
