// ValueCells: a small mapped file beside the store, shared by every process that has the registry open, in which values
// that are set again and again stand until they are drained into the store. A change of the store costs microseconds,
// which is too much for a position that moves with every event; a cell takes one in a copy and two uncontended lock
// operations.
//
// A cell is bound to one value of the store: its place, type and size. Who set the value through the store is told the
// binding and may put data of the same shape into the cell for as long as the binding lasts. What was put counts at
// once: it outlives the process, and whoever reads or changes the store drains the cells first (RegistryStore does).
// After a restart of the host the cells go with the store. docs/formats/registry.md has the layout.
//
// Any thread may ask for is_dirty(); everything else needs the lock, which processes share and which outlives a holder
// that was killed: the next one counts the cells anew and goes on. Results are Win32 error numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "platform/embedded/registry/registry_records.h"

namespace varnel::embedded {

struct CellsFile;

class ValueCells {
 public:
  static constexpr std::size_t kCells = 64;
  static constexpr std::size_t kMaxData = 64;  // bytes

  /// Names a cell for as long as it stands for one value in one shape. Numbers are never given twice.
  struct Binding {
    std::uint32_t cell = 0;
    std::uint64_t number = 0;  // 0: none
  };
  /// What a dirty cell has for the store. The data borrows the cell.
  struct Content {
    RecordPlace place;
    std::uint32_t type = 0;
    std::span<const std::byte> data;
  };

  ValueCells() = default;
  ~ValueCells();
  ValueCells(const ValueCells&) = delete;
  ValueCells& operator=(const ValueCells&) = delete;

  /// Maps the file. `alone` says that no other process has it mapped: then it is made if it isn't there or is not of
  /// this store (`epoch`), and what an earlier process left in it is taken over. 1015 when it is not alone and the file
  /// is not a good one of this store; 112 when there is no room for it. Called once.
  std::uint32_t Open(const std::string& path, std::uint64_t epoch, bool alone);

  /// Whether a cell holds what the store does not have yet. False before Open.
  bool is_dirty() const;

  /// Holds the lock for its lifetime.
  class Hold {
   public:
    explicit Hold(ValueCells* cells) : cells_(cells), error_(cells->Lock()) {}
    ~Hold() {
      if (error_ == 0) cells_->Unlock();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// Not 0 when the lock is not held.
    std::uint32_t error() const { return error_; }

   private:
    ValueCells* const cells_;
    const std::uint32_t error_;
  };

  // From here on REQUIRES: a Hold of the caller's.

  /// Puts data of the size that was bound. False when the binding has ended; nothing is changed then.
  bool Put(const Binding& binding, std::span<const std::byte> data);
  /// The binding of a value that stands in the store as told: the one that it has, or a new one. Takes a cell from
  /// another value when none is free. REQUIRES: no cell is dirty, size <= kMaxData, no cell is bound to the place in
  /// another shape.
  Binding Bind(const RecordPlace& place, std::uint32_t type, std::size_t size);
  /// Ends the binding of the place unless it has this shape. REQUIRES: no cell is dirty.
  void UnbindUnless(const RecordPlace& place, std::uint32_t type, std::size_t size);
  /// REQUIRES: no cell is dirty.
  void UnbindAll();

  /// False when the cell is clean.
  bool Dirty(std::uint32_t cell, Content* content) const;
  /// Ends the binding of a cell that doesn't fit the store, with what was in it.
  void Discard(std::uint32_t cell);
  /// The store has all. `between` is called once on the way, for tests.
  template <typename Between>
  void MarkClean(Between&& between) {
    for (std::uint32_t cell = 0; cell < kCells; ++cell) {
      if (cell == kCells / 2) between();
      MarkClean(cell);
    }
    MarkAllClean();
  }

 private:
  std::uint32_t Lock();
  void Unlock();
  std::uint32_t Map(int file, std::uint64_t epoch, bool alone);
  void Recount();
  void MarkClean(std::uint32_t cell);
  void MarkAllClean();

  CellsFile* file_ = nullptr;
  std::uint32_t next_victim_ = 0;  // guarded by the lock
};

}  // namespace varnel::embedded
