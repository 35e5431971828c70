// The simulated machine's kernel as a file: what platform/embedded/crashdump/kernel is compiled to. Any thread.
#pragma once

#include <cstdint>
#include <span>

namespace varnel::embedded {

/// The bytes of ntoskrnl.exe; they live as long as the program.
std::span<const std::uint8_t> KernelImageFile();

}  // namespace varnel::embedded
