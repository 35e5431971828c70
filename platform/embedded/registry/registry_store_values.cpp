// How values get into the store: through their cells or at once.
#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/embedded/registry/registry_store.h"
#include "platform/types.h"

namespace varnel::embedded {

using namespace platform;

std::uint32_t RegistryStore::SetValue(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                                      std::span<const std::byte> data, ValueBindings* bindings) {
  std::uint32_t result = kErrorSuccess;
  {
    const ValueCells::Hold hold(&cells_);
    result = hold.error();
    if (result == kErrorSuccess && !cells_.Put(bindings->Find(name, type, data.size()), data)) {
      result = SetInStore(key, name, type, data, bindings);
    }
  }
  if (result == kErrorSuccess) CopyIfDue();
  return result;
}

// REQUIRES: the cells are held. A value that is set in the shape it has keeps its cell, which others may be using.
std::uint32_t RegistryStore::SetInStore(const KeyRef& key, std::u16string_view name, std::uint32_t type,
                                        std::span<const std::byte> data, ValueBindings* bindings) {
  std::uint32_t result = DrainHeld();
  if (result != kErrorSuccess) return result;
  RecordPlace place;
  result = Change([&](Transaction& change) {
    const std::uint32_t set = KeyTree(&change, options_.hash).SetValue(key, name, type, data, &place);
    // Before the commit: a cell that outlived the shape it is bound in would undo the change.
    if (set == kErrorSuccess) cells_.UnbindUnless(place, type, data.size());
    return set;
  });
  if (result != kErrorSuccess || data.size() > ValueCells::kMaxData) return result;
  bindings->Keep(name, type, data.size(), cells_.Bind(place, type, data.size()));
  return kErrorSuccess;
}

std::uint32_t RegistryStore::Drain() {
  const ValueCells::Hold hold(&cells_);
  return hold.error() != kErrorSuccess ? hold.error() : DrainHeld();
}

// REQUIRES: the cells are held. In a change of its own, and marked before anything else is changed: one that is killed
// on the way leaves cells that are drained once more, into a store that has not moved on.
std::uint32_t RegistryStore::DrainHeld() {
  if (!cells_.is_dirty()) return kErrorSuccess;
  const std::uint32_t result = Change([&](Transaction& change) {
    const std::uint32_t put = PutDirtyCells(change);
    return put != kErrorSuccess ? put : At(DrainStep::kBeforeCommit);
  });
  if (result != kErrorSuccess) return result;
  At(DrainStep::kAfterCommit);
  cells_.MarkClean([&] { At(DrainStep::kHalfMarked); });
  At(DrainStep::kDone);
  return kErrorSuccess;
}

std::uint32_t RegistryStore::PutDirtyCells(Transaction& change) {
  std::vector<std::byte> record;
  for (std::uint32_t cell = 0; cell < ValueCells::kCells; ++cell) {
    ValueCells::Content content;
    if (!cells_.Dirty(cell, &content)) continue;
    std::span<const std::byte> present;
    std::uint32_t result = change.Get(content.place, &present);
    if (result != kErrorSuccess && result != kErrorFileNotFound) return result;
    const auto value = result == kErrorSuccess ? ValueRecord::Parse(present) : std::nullopt;
    if (!value || value->type != content.type || value->data.size() != content.data.size()) {
      cells_.Discard(cell);  // no cell of ours looks so: the file was damaged
      continue;
    }
    record.assign(present.begin(), present.end());
    std::copy(content.data.begin(), content.data.end(),
              record.end() - static_cast<std::ptrdiff_t>(content.data.size()));
    std::byte* room = nullptr;
    result = change.Put(content.place, record.size(), &room);
    if (result != kErrorSuccess) return result;
    std::memcpy(room, record.data(), record.size());
  }
  return kErrorSuccess;
}

}  // namespace varnel::embedded
