// An image with functions and a stack, for the tests of unwinding. The image's code is that of the tests' own making,
// its unwind data is written slot by slot.
#pragma once

#include <gmock/gmock.h>

#include <initializer_list>

#include "formats/pe/pe_functions.h"
#include "formats/pe/x64_registers.h"
#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {

constexpr std::uint64_t kImage = 0xFFFF'F804'7BA0'0000;
constexpr std::uint32_t kImageSize = 0x8000;
constexpr std::uint32_t kUnwind = 0x3000;  // unwind information, 0x40 bytes for each function
constexpr std::uint32_t kTable = 0x7000;
constexpr std::uint64_t kStack = 0xFFFF'8504'2989'1000;
constexpr std::uint64_t kStackSize = 0x6000;

enum Register : std::uint8_t { kRax, kRcx, kRdx, kRbx, kRsp, kRbp, kRsi, kRdi, kR12 = 12, kR13, kR14, kR15 };

class UnwindFixture : public testing::Test {
 protected:
  using Slots = std::vector<std::uint16_t>;

  UnwindFixture() { memory_.Put(kStack, std::vector<std::byte>(kStackSize)); }

  // Adds a function of 0x100 bytes at 0x1000 + 0x100 * index; all are int3 until Code says more.
  void Function(std::uint32_t index, const support::PeUnwindSpec& spec) {
    bytes_.Put(UnwindOf(index), support::PeUnwindBytes(spec));
    Entry({Begin(index), Begin(index) + 0x100, UnwindOf(index)});
  }
  void Entry(const std::array<std::uint32_t, 3>& entry) {
    entries_.push_back(entry);
    const support::Blob table = support::PeFunctionTable(entries_);
    bytes_.Put(kTable, table).Directory(3, kTable, static_cast<std::uint32_t>(table.size()));
  }
  void Code(std::uint32_t rva, std::initializer_list<int> code) {
    support::ByteWriter out;
    for (const int byte : code) out.U8(static_cast<std::uint8_t>(byte));
    bytes_.Put(rva, out.Take());
  }
  static std::uint32_t Begin(std::uint32_t index) { return 0x1000 + 0x100 * index; }
  static std::uint32_t UnwindOf(std::uint32_t index) { return kUnwind + 0x40 * index; }

  // Puts the image into memory and gives its function table.
  PeFunctions Functions() {
    memory_.Put(kImage, bytes_.bytes());
    return PeFunctions(PeMemory(memory_, kImage, kImageSize),
                       {kTable, static_cast<std::uint32_t>(12 * entries_.size())});
  }
  PeFunction EntryOf(std::uint32_t index) const {
    const auto& [begin, end, unwind] = entries_.at(index);
    return {begin, end, unwind};
  }

  // Fills the stack from `address` on.
  void Words(std::uint64_t address, std::initializer_list<std::uint64_t> words) {
    for (const std::uint64_t word : words) {
      memory_.Put64(address, word);
      address += 8;
    }
  }
  static X64Registers At(std::uint32_t rva, std::uint64_t rsp) {
    X64Registers registers;
    for (std::size_t i = 0; i < registers.general.size(); ++i) registers.general[i] = 0xBAD0 + i;
    registers.rip = kImage + rva;
    registers.set_rsp(rsp);
    return registers;
  }

  support::PeBytes bytes_;
  support::DumpedMemory memory_;
  std::vector<std::array<std::uint32_t, 3>> entries_;
};

}  // namespace varnel::formats
