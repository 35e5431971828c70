// The registers of an x64 processor that finding a caller needs. A plain value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace varnel::formats {

struct X64Registers {
  static constexpr std::size_t kRsp = 4;

  /// rax rcx rdx rbx rsp rbp rsi rdi r8 ... r15: the processor's own numbers, and a CONTEXT's order.
  std::array<std::uint64_t, 16> general{};
  std::uint64_t rip = 0;

  std::uint64_t rsp() const noexcept { return general[kRsp]; }
  void set_rsp(std::uint64_t value) noexcept { general[kRsp] = value; }
};

}  // namespace varnel::formats
