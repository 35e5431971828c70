// The stack of a thread that went through functions of the kernel's image: what their prologs store, found by carrying
// the prologs out, and the return addresses of their calls. One thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/embedded/crashdump/loaded_image.h"

namespace varnel::embedded {

struct CrashRegisters {
  std::array<std::uint64_t, 16> general{};  // in the order of their numbers in unwind data: rax rcx rdx rbx rsp rbp ...
  std::uint64_t rip = 0;
};

struct CrashStack {
  struct Frame {
    std::uint64_t function = 0;  // where it begins
    std::uint64_t rip = 0;       // where it is, or where the call that it makes comes back to
    std::uint64_t rsp = 0;       // while it runs, before its call
  };

  std::uint64_t low = 0;  // the lowest address
  std::vector<std::byte> bytes;
  std::vector<Frame> frames;  // the innermost first
  CrashRegisters registers;   // at the first instruction of the innermost function

  std::uint64_t high() const { return low + bytes.size(); }
};

/// The stack at [low, low + size), whole pages, of a thread that began in `from` and now stands at the begin of `to`,
/// which it reached through calls: LoadedImage::CallPath. What it does is the same each time.
CrashStack BuildCrashStack(const LoadedImage& image, std::uint64_t low, std::size_t size, std::uint64_t from,
                           std::uint64_t to);

}  // namespace varnel::embedded
