// Composers of kernel crash dumps, byte by byte, for the tests of what reads them. They know nothing of the readers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::support {

/// Bytes that grow where they are written; what nobody wrote is 0.
class GrowingBytes {
 public:
  GrowingBytes() = default;
  explicit GrowingBytes(std::size_t size) : bytes_(size) {}

  template <typename T>
  void Put(std::size_t offset, T value) {
    PutBytes(offset, std::as_bytes(std::span(&value, 1)));
  }
  void PutBytes(std::size_t offset, std::span<const std::byte> bytes);
  void PutText(std::size_t offset, std::string_view text) { PutBytes(offset, std::as_bytes(std::span(text))); }
  void PutText16(std::size_t offset, std::u16string_view text) { PutBytes(offset, std::as_bytes(std::span(text))); }
  void Resize(std::size_t size) { bytes_.resize(size); }
  std::size_t size() const { return bytes_.size(); }
  const std::vector<std::byte>& bytes() const { return bytes_; }

 private:
  std::vector<std::byte> bytes_;
};

/// For what writes files from text.
std::string AsText(const GrowingBytes& bytes);

/// The text "PAGE" over and over, which a writer of dumps leaves where it writes nothing.
GrowingBytes FillerBytes(std::size_t size);
/// The 8192 bytes of an x64's header: signatures, machine and type set, one processor, all else filler.
GrowingBytes MakeDumpHeader(std::uint32_t type);
/// The 4096 bytes of an x86's header, made likewise.
GrowingBytes MakeDumpHeader32(std::uint32_t type);
/// The debugger's block of 0x3A0 bytes with its tag, size and the offsets of a made-up layout (named below).
GrowingBytes MakeDebuggerData();
/// Scrambles it as a kernel does, with two secrets and the address where it decodes it.
std::vector<std::byte> ScrambleDebuggerData(std::span<const std::byte> plain, std::uint64_t never,
                                            std::uint64_t address, std::uint64_t always);

/// Offsets that MakeDebuggerData tells. None is what a real kernel has, so that a reader that guesses is found out.
namespace made_layout {
inline constexpr std::uint16_t kThreadApcProcess = 0x98;
inline constexpr std::uint16_t kThreadStackLimit = 0x40;
inline constexpr std::uint16_t kThreadStackBase = 0x48;
inline constexpr std::uint16_t kPrcbCurrentThread = 0x18;
inline constexpr std::uint16_t kPrcbNumber = 0x34;
inline constexpr std::uint16_t kPrcbSpecialRegisters = 0x110;
inline constexpr std::uint16_t kPrcbContext = 0x300;
inline constexpr std::uint16_t kSizePrcb = 0x400;
inline constexpr std::uint16_t kSizeThread = 0x120;
inline constexpr std::uint16_t kSizeProcess = 0x180;
}  // namespace made_layout

/// A small dump. Parts are laid one behind the other in the order in which they are added.
class SmallDumpBytes {
 public:
  SmallDumpBytes();

  GrowingBytes& file() { return file_; }
  /// Sets a field of the block at 0x2000.
  void Set(std::size_t field, std::uint32_t value) { file_.Put<std::uint32_t>(0x2000 + field, value); }
  /// @return where the part begins.
  std::uint32_t AddPart(std::span<const std::byte> bytes);
  void AddStack(std::uint64_t address, std::span<const std::byte> bytes);
  void AddDebuggerData(std::uint64_t address, const GrowingBytes& block);
  void AddProcessorBlock(const GrowingBytes& block) { Set(0x1C, AddPart(block.bytes())); }
  void AddThread(const GrowingBytes& block) { Set(0x24, AddPart(block.bytes())); }
  void AddProcess(const GrowingBytes& block) { Set(0x20, AddPart(block.bytes())); }
  void AddDriver(std::u16string_view name, std::uint64_t base, std::uint32_t size, std::uint32_t stamp,
                 std::uint32_t sum);
  void AddUnloaded(std::u16string_view name, std::uint64_t start, std::uint64_t end);
  void AddBlock(std::uint64_t address, std::span<const std::byte> bytes);
  /// Behind the end of the small dump; the first one writes the chain's header too.
  void AddSecondary(std::uint8_t tag, std::span<const std::byte> data, std::uint32_t pre_pad, std::uint32_t post_pad);

  /// Writes the lists, the mark and the sizes. Called once.
  std::vector<std::byte> Finish();

 private:
  struct Driver {
    std::array<std::byte, 0x90> entry;
    std::u16string name;
  };

  void WriteDrivers();
  void WriteUnloaded();
  void WriteBlocks();

  GrowingBytes file_;
  std::vector<Driver> drivers_;
  std::vector<std::array<std::byte, 0x38>> unloaded_;
  std::vector<std::array<std::byte, 16>> blocks_;
  std::vector<std::byte> secondary_;
};

/// A dump that keeps whole pages: physical memory with page tables, laid out as one of the forms.
class PagedDumpBytes {
 public:
  static constexpr std::uint64_t kWritable = 2;
  static constexpr std::uint64_t kNoExecute = std::uint64_t{1} << 63;

  explicit PagedDumpBytes(int levels = 4);

  GrowingBytes& header() { return header_; }
  /// The number of a page that was not used before; it is in the dump, and empty.
  std::uint64_t NewPage();
  std::vector<std::byte>& PageAt(std::uint64_t page) { return pages_[page]; }
  /// Leaves a page out of the dump; entries go on naming it.
  void Drop(std::uint64_t page) { pages_.erase(page); }
  /// Sets the entry of `level` (1: lowest) on the way to `address`, making the tables above it.
  void SetEntry(std::uint64_t address, int level, std::uint64_t entry);
  /// The page that holds the table of `level` on the way to `address`.
  std::uint64_t TablePage(std::uint64_t address, int level);
  /// Maps one page of 4 KiB. @return its number.
  std::uint64_t Map(std::uint64_t address, std::uint64_t flags = kWritable);
  /// Writes memory, mapping what is not mapped yet.
  void Write(std::uint64_t address, std::span<const std::byte> bytes);
  template <typename T>
  void Put(std::uint64_t address, T value) {
    Write(address, std::as_bytes(std::span(&value, 1)));
  }
  void PutText16(std::uint64_t address, std::u16string_view text) { Write(address, std::as_bytes(std::span(text))); }

  /// Type 1; the runs are those of the pages that are there.
  std::vector<std::byte> AsRuns();
  /// Type 5 ("FDMP") or 6 ("SDMP").
  std::vector<std::byte> AsBitmap(std::uint32_t type);

 private:
  const int levels_;
  GrowingBytes header_;
  std::map<std::uint64_t, std::vector<std::byte>> pages_;
  std::map<std::uint64_t, std::uint64_t> mapped_;  // by the number of the virtual page
  std::uint64_t next_page_ = 0x101;
  std::uint64_t root_ = 0;
};

/// A paged machine with lists, three processors and an unloaded module, as most tests need it.
namespace made_machine {
inline constexpr std::uint64_t kDebuggerData = 0xFFFFF80012345B20;
inline constexpr std::uint64_t kModuleListHead = 0xFFFFF8001262A390;
inline constexpr std::uint64_t kProcessHead = 0xFFFFF8001261E200;
inline constexpr std::uint64_t kKernelBase = 0xFFFFF80011A00000;
inline constexpr std::uint64_t kDriverBase = 0xFFFFF80021000000;
inline constexpr std::uint64_t kProcessorBlocks = 0xFFFFF80012700000;
inline constexpr std::uint64_t kFirstPrcb = 0xFFFFF80013000000;  // the others 0x10000 apart
inline constexpr std::uint64_t kThread = 0xFFFFB00100002000;
inline constexpr std::uint64_t kProcess = 0xFFFFB00100004000;
inline constexpr std::uint64_t kStackLimit = 0xFFFFC00000010000;
inline constexpr std::uint64_t kStackBase = 0xFFFFC00000016000;
inline constexpr std::uint64_t kRsp = 0xFFFFC00000015100;
inline constexpr std::uint64_t kUnloadedArray = 0xFFFFB00100010000;
inline constexpr std::uint64_t kFirstModule = 0xFFFFB00100020000;  // its entry in the list, the second's 0x1000 above
}  // namespace made_machine

/// Fills `dump` with that machine; processor 1 crashed. `scramble`: the debugger's block is not plain.
void MakeMachine(PagedDumpBytes* dump, bool scramble, int levels = 4);
/// Links one more module behind the ones that the machine has. `where`: address of its entry.
void AddLiveModule(PagedDumpBytes* dump, std::uint64_t where, std::uint64_t previous, std::uint64_t base,
                   std::u16string_view path, std::u16string_view name);

}  // namespace varnel::support
