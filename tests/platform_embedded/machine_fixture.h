// A machine folder of one test, with the ports on it.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "platform/embedded/core/environment.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/files/embedded_files.h"

namespace varnel::embedded {

class MachineFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-machine-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    auto machine = Machine::Create(folder_ + "/m");
    ASSERT_TRUE(machine.ok());
    machine_ = machine.value();
    files_ = std::make_unique<EmbeddedFiles>(machine_, &environment_);
    MakeFolder("Windows/System32");
    MakeFolder("Windows/Temp");
  }
  void TearDown() override {
    files_.reset();
    std::filesystem::remove_all(folder_);
  }

  /// The host's path of something on drive C, given with '/'.
  std::string Host(const std::string& below) const { return machine_->DrivePath('C') + '/' + below; }
  void MakeFolder(const std::string& below) { std::filesystem::create_directories(Host(below)); }
  void MakeFile(const std::string& below, const std::string& text = "x") { std::ofstream(Host(below)) << text; }
  std::string ReadHost(const std::string& below) const {
    std::ifstream in(Host(below), std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  /// 0, or the last error of an open.
  std::uint32_t OpenError(const char16_t* path, std::uint32_t access, std::uint32_t share_mode,
                          std::uint32_t disposition = platform::kOpenExisting) {
    SetLastError(0);
    const auto file = files_->CreateFileW(path, access, share_mode, disposition, 0);
    if (file == platform::kInvalidHandleValue) return LastError();
    Handles().Remove(file);
    return 0;
  }

  std::string folder_;
  std::shared_ptr<Machine> machine_;
  Environment environment_;
  std::unique_ptr<EmbeddedFiles> files_;
};

inline constexpr std::uint32_t kShareAll =
    platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete;

}  // namespace varnel::embedded
