#include "platform/embedded/core/handle_table.h"

#include <mutex>
#include <new>

namespace varnel::embedded {
namespace {

thread_local std::uint32_t t_last_error = 0;

std::uintptr_t Value(platform::HANDLE handle) {
  return reinterpret_cast<std::uintptr_t>(handle);
}

}  // namespace

platform::HANDLE HandleTable::Insert(std::shared_ptr<Object> object) noexcept {
  try {
    std::unique_lock lock(mutex_);
    const std::uintptr_t value = next_;
    objects_.emplace(value, std::move(object));
    next_ += 4;
    return reinterpret_cast<platform::HANDLE>(value);
  } catch (const std::bad_alloc&) {
    SetLastError(platform::kErrorNotEnoughMemory);
    return nullptr;
  }
}

std::shared_ptr<Object> HandleTable::Find(platform::HANDLE handle) const noexcept {
  std::shared_lock lock(mutex_);
  const auto found = objects_.find(Value(handle));
  return found == objects_.end() ? nullptr : found->second;
}

std::shared_ptr<Object> HandleTable::Remove(platform::HANDLE handle) noexcept {
  std::unique_lock lock(mutex_);
  const auto found = objects_.find(Value(handle));
  if (found == objects_.end()) return nullptr;
  std::shared_ptr<Object> object = std::move(found->second);
  objects_.erase(found);
  return object;
}

std::size_t HandleTable::size() const noexcept {
  std::shared_lock lock(mutex_);
  return objects_.size();
}

HandleTable& Handles() {
  // Never destroyed: a thread may still close a handle while the process runs its exit handlers.
  static HandleTable* const table = new HandleTable;
  return *table;
}

std::uint32_t LastError() noexcept {
  return t_last_error;
}

void SetLastError(std::uint32_t error) noexcept {
  t_last_error = error;
}

}  // namespace varnel::embedded
