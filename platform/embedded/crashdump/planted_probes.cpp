// Page table entries of the odd kinds, and what stands behind a dump.
#include <algorithm>
#include <string_view>

#include "platform/embedded/crashdump/machine_parts.h"

namespace varnel::embedded {
namespace {

using Outcome = Probe::Outcome;
constexpr std::uint64_t kPage = PhysicalMemory::kPageSize;
constexpr std::uint64_t kHugePage = 0x40000;  // the page number at 1 GiB
constexpr std::uint64_t kTransition = 0x800;
constexpr std::uint64_t kPrototype = 0x400;
constexpr std::uint64_t kReadWriteBits = 0x80;  // what a page may be used for, in an entry that the processor refuses
constexpr std::uint64_t kOddEntries = 0xFFFFA20000000000;

class ProbePlanter {
 public:
  ProbePlanter(CrashedMachine* machine, KernelPool* pool) : machine_(machine), map_(machine->map), pool_(pool) {}

  // Memory that the processor reaches by itself.
  void Mapped(const char* kind, std::uint64_t address, Outcome in_kernel_dump = Outcome::kThere) {
    const std::string text = TextOf(kind);
    map_.Write(address, std::as_bytes(std::span(text)));
    Note(kind, address, text, in_kernel_dump, Outcome::kThere);
  }

  // An entry that the processor refuses, for a page that is there all the same.
  void Resident(const char* kind, std::uint64_t (ProbePlanter::*entry)(std::uint64_t page)) {
    const std::string text = TextOf(kind);
    const std::uint64_t page = machine_->memory.TakePage();
    std::copy_n(std::as_bytes(std::span(text)).begin(), text.size(), machine_->memory.Page(page).begin());
    map_.SetEntry(next_, 1, (this->*entry)(page));
    Note(kind, next_, text, Outcome::kThere, Outcome::kThere);
    next_ += kPage;
  }

  // One behind which there is nothing.
  void Missing(const char* kind, std::uint64_t entry, Outcome outcome, unsigned level = 1) {
    if (level > 1) next_ += std::uint64_t{1} << 30;
    map_.SetEntry(next_, level, entry);
    Note(kind, next_, {}, outcome, outcome);
    next_ += level > 1 ? std::uint64_t{1} << 30 : kPage;
  }

  void Note(const char* kind, std::uint64_t address, std::string text, Outcome kernel, Outcome complete) {
    machine_->probes.push_back({kind, address, std::move(text), kernel, complete});
  }

  std::uint64_t Transition(std::uint64_t page) { return page * kPage | kTransition | kReadWriteBits; }
  std::uint64_t PrototypeOfValid(std::uint64_t page) {
    return Prototype(AddressMap::EntryFor(page, PageAccess::kReadWrite));
  }
  std::uint64_t PrototypeOfTransition(std::uint64_t page) { return Prototype(Transition(page)); }

 private:
  static std::string TextOf(const char* kind) { return std::string("behind ") + kind; }
  std::uint64_t Prototype(std::uint64_t entry) {
    return pool_->Keep(std::as_bytes(std::span(&entry, 1))) << 16 | kPrototype;
  }

  CrashedMachine* const machine_;
  AddressMap& map_;
  KernelPool* const pool_;
  std::uint64_t next_ = kOddEntries;
};

void PlantLargePages(CrashedMachine* machine, ProbePlanter* plant) {
  machine->map.MapLarge(0xFFFFA10000000000, machine->memory.TakeLargePage());
  plant->Mapped("a page of 2 MiB", 0xFFFFA10000123456);
  if (machine->memory.end() > 2 * kHugePage) {
    machine->map.MapHuge(0xFFFFA08000000000, kHugePage);
    plant->Mapped("a page of 1 GiB", 0xFFFFA08012345678);
  }
}

std::vector<std::byte> BytesOf(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  return {bytes.begin(), bytes.end()};
}

}  // namespace

void PlantProbes(CrashedMachine* machine, KernelPool* pool) {
  ProbePlanter plant(machine, pool);
  machine->map.MapNew(0x00007FF612340000, kPage, PageAccess::kUserReadWrite);
  plant.Mapped("a process's own page", 0x00007FF612340000, Outcome::kNoDataPage);
  if (!machine->options.odd_entries) return;
  PlantLargePages(machine, &plant);
  if (machine->map.levels() == 5) {
    machine->map.MapNew(0xFF11000000000000, kPage, PageAccess::kReadWrite);
    plant.Mapped("a fifth level", 0xFF11000000000000);
  }
  plant.Resident("an entry in transition", &ProbePlanter::Transition);
  plant.Resident("a prototype", &ProbePlanter::PrototypeOfValid);
  plant.Resident("a prototype in transition", &ProbePlanter::PrototypeOfTransition);
  const std::uint64_t beyond = machine->memory.end() + 16;
  plant.Missing("a page file's entry", std::uint64_t{0x1234} << 32 | 2 << 12 | kReadWriteBits, Outcome::kPagedOut);
  plant.Missing("an empty entry", 0, Outcome::kZero);
  plant.Missing("a page beyond the memory", AddressMap::EntryFor(beyond, PageAccess::kReadWrite), Outcome::kNoDataPage);
  plant.Missing("a table beyond the memory", beyond * kPage | 0x67, Outcome::kNoTablePage, 2);
  plant.Note("an address that is none", 0x7F00000000000000, {}, Outcome::kNotCanonical, Outcome::kNotCanonical);
}

void PlantBlobs(CrashedMachine* machine) {
  machine->blobs = {
      {{0x17, 0x5B, 0xA1, 0x60, 0x0C, 0x2D, 0x4F, 0x4E, 0x8B, 0x11, 0x61, 0x72, 0x6E, 0x65, 0x6C, 0x01},
       BytesOf("what a driver of the simulated machine left behind"),
       0,
       2},
      {{}, {}, 0, 0},  // without a name and without data, as they occur in the middle
      {{0x18, 0x5B, 0xA1, 0x60, 0x0C, 0x2D, 0x4F, 0x4E, 0x8B, 0x11, 0x61, 0x72, 0x6E, 0x65, 0x6C, 0x02},
       BytesOf("seventeen letters"),
       8,
       3},
  };
}

}  // namespace varnel::embedded
