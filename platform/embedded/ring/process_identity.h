// Who owns something in shared memory, and whether it still lives: a process's id with its start time, in one word.
#pragma once

#include <cstdint>

namespace varnel::embedded::ring {

/// 24 bits of process id, 40 bits of start time (ticks of the host's boot). Never 0 for a living process. Read once;
/// a child made by fork gets its own.
std::uint64_t OwnOwnerWord() noexcept;

/// Whether the process still runs. A zombie without threads does not.
bool OwnerLives(std::uint64_t owner) noexcept;

inline std::uint32_t OwnerProcess(std::uint64_t owner) noexcept {
  return static_cast<std::uint32_t>(owner >> 40);
}

/// The calling thread's id; kept for each thread.
std::uint32_t CurrentThread() noexcept;
std::uint32_t CurrentProcess() noexcept;

/// Called in a child made by fork: what was kept of the parent is forgotten.
void ForgetIdentityAfterFork() noexcept;

}  // namespace varnel::embedded::ring
