// What an x64 image tells of how a function sets up its frame, so that the frame can be taken down again. Plain values,
// read whole; bounded for any bytes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "formats/pe/pe_function.h"
#include "formats/pe/pe_memory.h"

namespace varnel::formats {

enum class UnwindOp : std::uint8_t {
  kPushNonvol = 0,
  kAllocLarge = 1,
  kAllocSmall = 2,
  kSetFpReg = 3,
  kSaveNonvol = 4,
  kSaveNonvolFar = 5,
  kEpilog = 6,  // in version 2 alone
  kSpare = 7,
  kSaveXmm128 = 8,
  kSaveXmm128Far = 9,
  kPushMachFrame = 10,
};

struct UnwindInfo {
  std::uint8_t version = 0;         ///< 1 or 2
  std::uint8_t flags = 0;           ///< 1, 2: has a handler; 4: goes on with `chained`
  std::uint8_t prolog_size = 0;     ///< bytes
  std::uint8_t frame_register = 0;  ///< 0: none
  std::uint32_t frame_offset = 0;   ///< bytes from the frame's base to where the register points
  std::uint8_t count = 0;           ///< 16-bit slots in `slots`
  std::array<std::uint16_t, 255> slots{};

  std::optional<PeFunction> chained;

  /// Bytes from the function's beginning to the end of the instruction that a slot tells of.
  std::uint8_t PrologOffset(std::size_t slot) const { return static_cast<std::uint8_t>(slots.at(slot)); }
  UnwindOp Op(std::size_t slot) const { return static_cast<UnwindOp>(slots.at(slot) >> 8 & 0xF); }
  /// The operation's four bits of its own.
  std::uint8_t Info(std::size_t slot) const { return static_cast<std::uint8_t>(slots.at(slot) >> 12); }
};

/// How many slots the operation at `slot` takes; 0 for one whose meaning is not known.
std::size_t SlotsOf(const UnwindInfo& info, std::size_t slot);

/// @return kOtherKind for a version that is not known here, kDamaged for a place that is not a multiple of four or
/// leaves the image, kMissing.
PeLookup<UnwindInfo> ReadUnwindInfo(const PeMemory& memory, std::uint32_t rva);

}  // namespace varnel::formats
