// A Windows image as it stands in memory after a loader placed it: sections spread out, addresses relocated. Works on
// images of our own build alone; a foreign one is not expected. One thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varnel::embedded {

class LoadedImage {
 public:
  struct Section {
    std::uint32_t rva = 0;
    std::uint32_t size = 0;  // in memory, whole pages
    bool executable = false;
    bool writable = false;
  };

  /// One step of a function's prolog, in the order in which the function carries them out.
  struct PrologStep {
    enum class Kind { kPush, kAllocate, kSetFrame, kSave };
    Kind kind = Kind::kPush;
    std::uint8_t reg = 0;    // 0 rax, 1 rcx, 2 rdx, 3 rbx, 4 rsp, 5 rbp, 6 rsi, 7 rdi, 8 to 15
    std::uint32_t size = 0;  // of an allocation, in bytes; of a save or a frame, the distance from rsp
  };

  /// A function on the way to another, and where its call comes back to.
  struct Call {
    std::uint64_t function = 0;
    std::uint64_t return_address = 0;
  };

  LoadedImage(std::span<const std::uint8_t> file, std::uint64_t base);

  std::uint64_t base() const { return base_; }
  std::uint32_t time_stamp() const { return time_stamp_; }
  std::uint32_t checksum() const { return checksum_; }
  std::uint64_t entry() const { return base_ + entry_; }
  /// Of the table of functions, with what unwinding needs.
  std::uint64_t exception_table() const { return base_ + exception_table_; }
  std::uint32_t exception_table_size() const { return exception_table_size_; }
  /// All of it, headers first; whole pages.
  std::span<const std::byte> bytes() const { return bytes_; }
  const std::vector<Section>& sections() const { return sections_; }

  /// The address of an exported function or variable; 0 where there is none.
  std::uint64_t Export(std::string_view name) const;

  /// The calls that lead from one function to another, the outermost first; empty when none do.
  std::vector<Call> CallPath(std::uint64_t from, std::uint64_t to) const;

  /// What a function does before its body; nothing for a leaf.
  std::vector<PrologStep> PrologOf(std::uint64_t function) const;

 private:
  struct Function {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
    std::uint32_t unwind = 0;
  };

  void CopySections(std::span<const std::uint8_t> file, std::size_t headers);
  void Relocate(std::size_t headers);
  void ReadFunctions(std::size_t headers);
  const Function* FunctionAt(std::uint32_t begin) const;
  bool Extend(std::uint32_t from, std::uint32_t to, std::vector<Call>* path, std::vector<std::uint32_t>* seen) const;
  template <typename T>
  T At(std::size_t offset) const;

  const std::uint64_t base_;
  std::uint32_t time_stamp_ = 0;
  std::uint32_t checksum_ = 0;
  std::uint32_t entry_ = 0;
  std::uint32_t exports_ = 0;
  std::uint32_t exception_table_ = 0;
  std::uint32_t exception_table_size_ = 0;
  std::vector<std::byte> bytes_;
  std::vector<Section> sections_;
  std::vector<Function> functions_;
};

}  // namespace varnel::embedded
