#include "platform/embedded/registry/value_bindings.h"

#include <algorithm>

namespace varnel::embedded {

ValueCells::Binding ValueBindings::Find(std::u16string_view name, std::uint32_t type, std::size_t size) const {
  for (const Entry& entry : entries_) {
    if (entry.binding.number != 0 && entry.type == type && entry.size == size && entry.Name() == name) {
      return entry.binding;
    }
  }
  return {};
}

void ValueBindings::Keep(std::u16string_view name, std::uint32_t type, std::size_t size,
                         const ValueCells::Binding& binding) {
  if (name.size() > kMaxName) return;
  Entry* kept = nullptr;
  for (Entry& entry : entries_) {
    if (entry.binding.number != 0 && entry.Name() == name) kept = &entry;
  }
  if (kept == nullptr) kept = &entries_[next_++ % entries_.size()];
  std::copy(name.begin(), name.end(), kept->name.begin());
  kept->length = name.size();
  kept->type = type;
  kept->size = size;
  kept->binding = binding;
}

}  // namespace varnel::embedded
