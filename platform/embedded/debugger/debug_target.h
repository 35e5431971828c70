// DebugTarget is a dump that has come up: the dump, and what is made of it when it is first asked for. One thread at a
// time, which the engine sees to.
#pragma once

#include <memory>
#include <optional>

#include "platform/embedded/debugger/target_images.h"
#include "platform/embedded/debugger/target_modules.h"

namespace varnel::embedded {

class DebugTarget {
 public:
  explicit DebugTarget(std::unique_ptr<formats::KernelDump> dump) : dump_(std::move(dump)), images_(*dump_) {}

  const formats::KernelDump& dump() const { return *dump_; }
  const formats::DumpHeader& header() const { return dump_->header(); }

  /// Built at the first use. Of a dump of another machine: none.
  const TargetModules& modules() {
    if (!modules_) modules_.emplace(*dump_);
    return *modules_;
  }
  TargetImages& images() { return images_; }

 private:
  const std::unique_ptr<formats::KernelDump> dump_;  // outlives what is made of it
  std::optional<TargetModules> modules_;
  TargetImages images_;
};

}  // namespace varnel::embedded
