// SlowSource is a dump whose bytes do not come until the test lets them.
#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "formats/dump/dump_source.h"

namespace varnel::embedded {

/// Any thread may call.
class SlowSource final : public formats::DumpSource {
 public:
  explicit SlowSource(std::shared_ptr<const formats::DumpSource> inner) : inner_(std::move(inner)) {}
  std::uint64_t Size() const noexcept override { return inner_->Size(); }
  std::size_t Read(std::uint64_t offset, std::span<std::byte> into) const noexcept override {
    inside_.store(true);
    inside_.notify_all();
    free_.wait(false);
    return inner_->Read(offset, into);
  }
  /// Until a reader is inside, where it stays until LetGo.
  void AwaitReader() const { inside_.wait(false); }
  void LetGo() {
    free_.store(true);
    free_.notify_all();
  }

 private:
  const std::shared_ptr<const formats::DumpSource> inner_;
  mutable std::atomic<bool> inside_{false};
  std::atomic<bool> free_{false};
};

}  // namespace varnel::embedded
