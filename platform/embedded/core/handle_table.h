// The one table of handles of a process on the embedded platform. Every kind of object stands in it: events, threads,
// files, finds, registry keys, crypto hashes, results of the event log. Values are multiples of four and are never used
// again within a process, so that a stale handle answers 6 and never reaches another's object. Any thread may call.
#pragma once

#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <unordered_map>

#include "platform/types.h"

namespace varnel::embedded {

/// What a handle stands for. The table shares ownership: an object that another thread is using lives on after its
/// handle was closed.
class Object {
 public:
  enum class Kind {
    kEvent,
    kThread,
    kFile,
    kFind,
    kRegistryKey,
    kCryptProvider,
    kCryptHash,
    kModule,
    kLogResultSet,
    kLogEvent,
    kOther
  };

  explicit Object(Kind kind) : kind_(kind) {}
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  Kind kind() const noexcept { return kind_; }

 private:
  const Kind kind_;
};

class HandleTable {
 public:
  /// Null when memory runs out.
  platform::HANDLE Insert(std::shared_ptr<Object> object) noexcept;

  /// Null for a handle that is not open.
  std::shared_ptr<Object> Find(platform::HANDLE handle) const noexcept;

  /// Null too when the object is of another kind. REQUIRES: T is the class of every object of that kind.
  template <typename T>
  std::shared_ptr<T> Find(platform::HANDLE handle, Object::Kind kind) const noexcept {
    auto object = Find(handle);
    if (!object || object->kind() != kind) return nullptr;
    return std::static_pointer_cast<T>(std::move(object));
  }

  /// Takes the handle out and hands its object over, so that the object ends on the caller's thread, outside the
  /// table's lock. Null when it is not open.
  std::shared_ptr<Object> Remove(platform::HANDLE handle) noexcept;

  std::size_t size() const noexcept;

 private:
  mutable std::shared_mutex mutex_;
  std::unordered_map<std::uintptr_t, std::shared_ptr<Object>> objects_;  // guarded by mutex_
  std::uintptr_t next_ = 0x100;                                          // guarded by mutex_
};

/// The process's table.
HandleTable& Handles();

/// The calling thread's last error.
std::uint32_t LastError() noexcept;
void SetLastError(std::uint32_t error) noexcept;

/// Sets the last error and gives false, for the calls that answer with a boolean.
inline bool Fail(std::uint32_t error) noexcept {
  SetLastError(error);
  return false;
}

}  // namespace varnel::embedded
