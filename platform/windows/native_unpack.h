// The system's own unpacking of one block. Any thread may call.
#pragma once

#include <cstdint>

namespace varnel::windows {

/// As System::RtlDecompressBuffer. A system without a packing answers 0xC000025F.
std::uint32_t NativeUnpack(std::uint16_t format, void* out, std::uint32_t out_size, const void* in,
                           std::uint32_t in_size, std::uint32_t* final_size);

}  // namespace varnel::windows
