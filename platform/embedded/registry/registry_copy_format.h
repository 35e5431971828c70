// The fixed bytes of a flushed copy; shared by its writer and its reader.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace varnel::embedded::copy_format {

// "VWREGCPY"
inline constexpr std::array<unsigned char, 8> kMark = {'V', 'W', 'R', 'E', 'G', 'C', 'P', 'Y'};
inline constexpr std::uint32_t kVersion = 1;
inline constexpr std::size_t kRecordHeaderSize = 6;  // u16 size of the place, u32 size of the record
inline constexpr std::size_t kEndSize = 18;          // u16 0, u64 number of records, u64 checksum

}  // namespace varnel::embedded::copy_format
