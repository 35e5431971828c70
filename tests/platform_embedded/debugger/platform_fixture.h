// A new machine folder with its platform in force, for what loads the engine by its name.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/tools/machine_layout.h"

namespace varnel::embedded {

class PlatformFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-engine-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    ASSERT_TRUE(NewMachine(folder_ + "/m").ok());
    auto opened = EmbeddedPlatform::Open(folder_ + "/m");
    ASSERT_TRUE(opened.ok());
    platform_ = std::move(opened).value();
    in_force_ = std::make_unique<platform::ScopedPlatform>(&platform_->record());
  }
  void TearDown() override {
    in_force_.reset();
    platform_.reset();
    std::filesystem::remove_all(folder_);
  }

  std::filesystem::path Drive() const { return folder_ + "/m/C"; }

  std::unique_ptr<EmbeddedPlatform> platform_;

 private:
  std::string folder_;
  std::unique_ptr<platform::ScopedPlatform> in_force_;
};

}  // namespace varnel::embedded
