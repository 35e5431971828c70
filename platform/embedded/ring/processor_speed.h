// The speed of the host's processors, as the log header of a trace file tells it. No state; any thread.
#pragma once

#include <cstdint>
#include <string_view>

namespace varnel::embedded::ring {

/// In MHz, of the first processor; 1000 where the host does not tell. Never 0, since readers of trace files divide by
/// it. Asked once for each process.
std::uint32_t ProcessorMegahertz() noexcept;

/// The same out of a text of the form of /proc/cpuinfo; 0 when it does not tell.
std::uint32_t MegahertzIn(std::string_view cpu_info) noexcept;

}  // namespace varnel::embedded::ring
