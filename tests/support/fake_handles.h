// One table of handles for the scripted ports. Values are never used again. Any thread may call.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "platform/types.h"

namespace varnel::testing {

struct FakeObject {
  virtual ~FakeObject() = default;
};

class FakeHandles {
 public:
  platform::HANDLE Add(std::shared_ptr<FakeObject> object) {
    const std::lock_guard lock(mutex_);
    next_ += 4;
    objects_[next_] = std::move(object);
    return reinterpret_cast<platform::HANDLE>(next_);
  }

  /// Null for a handle that is not open or of another kind.
  template <typename T>
  std::shared_ptr<T> Get(platform::HANDLE handle) const {
    const std::lock_guard lock(mutex_);
    const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
    return found == objects_.end() ? nullptr : std::dynamic_pointer_cast<T>(found->second);
  }

  bool Close(platform::HANDLE handle) {
    std::shared_ptr<FakeObject> closed;  // destroyed behind the lock
    const std::lock_guard lock(mutex_);
    const auto found = objects_.find(reinterpret_cast<std::uintptr_t>(handle));
    if (found == objects_.end()) return false;
    closed = std::move(found->second);
    objects_.erase(found);
    return true;
  }

  std::size_t open_count() const {
    const std::lock_guard lock(mutex_);
    return objects_.size();
  }

 private:
  mutable std::mutex mutex_;
  std::uintptr_t next_ = 0x1000;
  std::map<std::uintptr_t, std::shared_ptr<FakeObject>> objects_;
};

}  // namespace varnel::testing
