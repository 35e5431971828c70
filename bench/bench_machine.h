// A fresh machine folder as the platform in force, for benchmarks of what works on crash dumps.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "bench_figures.h"
#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/tools/machine_layout.h"

namespace varnel::bench {

/// Gone with its folder at the end. One at a time.
class BenchMachine {
 public:
  BenchMachine() {
    std::string pattern = (std::filesystem::temp_directory_path() / "varnel-bench-XXXXXX").string();
    Require(::mkdtemp(pattern.data()) != nullptr, "mkdtemp");
    folder_ = pattern;
    Require(embedded::NewMachine(folder_ + "/m").ok(), "a new machine");
    auto opened = embedded::EmbeddedPlatform::Open(folder_ + "/m");
    Require(opened.ok(), "the machine");
    platform_ = std::move(opened.value());
    in_force_ = std::make_unique<platform::ScopedPlatform>(&platform_->record());
    std::filesystem::create_directories(HostPath(""));
  }
  ~BenchMachine() {
    in_force_.reset();
    platform_.reset();
    std::filesystem::remove_all(folder_);
  }
  BenchMachine(const BenchMachine&) = delete;
  BenchMachine& operator=(const BenchMachine&) = delete;

  embedded::EmbeddedPlatform& platform() const { return *platform_; }
  /// A small dump's path as this system and as the machine has it.
  std::string HostPath(const std::string& name) const { return folder_ + "/m/C/Windows/Minidump/" + name; }
  static std::u16string WindowsPath(const std::string& name) {
    return u"C:\\Windows\\Minidump\\" + std::u16string(name.begin(), name.end());
  }

 private:
  std::string folder_;
  std::unique_ptr<embedded::EmbeddedPlatform> platform_;
  std::unique_ptr<platform::ScopedPlatform> in_force_;
};

}  // namespace varnel::bench
