// What a crash leaves behind on a machine for its next boot to find: the file <machine>/crash. One thread; the
// machine's tools alone write it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "formats/result.h"
#include "platform/embedded/core/machine.h"

namespace varnel::embedded {

/// How a boot ended without a shutdown.
struct CrashFacts {
  std::uint32_t bugcheck_code = 0;  // 0: power was lost, or nothing was written
  std::array<std::uint64_t, 4> parameters{};
  std::uint64_t power_button_time = 0;  // when the power button was held, as 100 ns since 1601; 0: it was not

  bool operator==(const CrashFacts&) const = default;
};

struct CrashMark {
  CrashFacts facts;
  /// The number of the event that tells of it, once a boot has chosen one; 0 before. A boot that was killed goes on
  /// with it, so that the crash is told once.
  std::uint64_t record_id = 0;
};

/// Replaces the mark as a whole. A second crash before a boot takes the place of the first.
formats::Status WriteCrashMark(const Machine& machine, const CrashMark& mark);

/// Nothing when the last boot did not crash; an Error for a mark that can't be read.
formats::Result<std::optional<CrashMark>> ReadCrashMark(const Machine& machine);

formats::Status RemoveCrashMark(const Machine& machine);

}  // namespace varnel::embedded
