#include "host/scratch_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <utility>

namespace varnel::host {
namespace {

namespace fs = std::filesystem;

TEST(ScratchFolder, GoesWithItsOwnerAndAllInIt) {
  std::string path;
  {
    auto made = ScratchFolder::Make("scratch-test", FolderFate::kRemoved);
    ASSERT_TRUE(made.ok()) << made.error().message;
    path = made.value().path();
    EXPECT_EQ(fs::path(path).filename().string().rfind("scratch-test.", 0), 0u);
    fs::create_directory(fs::path(path) / "a");
    std::ofstream(fs::path(path) / "a" / "b") << "x";
    const ScratchFolder moved = std::move(made).value();
    EXPECT_EQ(moved.path(), path);
    EXPECT_TRUE(fs::exists(path));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(ScratchFolder, StaysWhenItIsKept) {
  std::string path;
  {
    const auto made = ScratchFolder::Make("scratch-test", FolderFate::kKept);
    ASSERT_TRUE(made.ok());
    path = made.value().path();
  }
  EXPECT_TRUE(fs::exists(path));
  fs::remove_all(path);
}

TEST(ScratchFolder, TwoOfANameAreTwoFolders) {
  const auto first = ScratchFolder::Make("scratch-test", FolderFate::kRemoved);
  const auto second = ScratchFolder::Make("scratch-test", FolderFate::kRemoved);
  ASSERT_TRUE(first.ok() && second.ok());
  EXPECT_NE(first.value().path(), second.value().path());
}

}  // namespace
}  // namespace varnel::host
