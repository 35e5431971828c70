// Pages on which a test puts records that the module frees and by rule reads again: a freed page answers to nothing,
// and who touches it ends the process with an exit code that tells so. For processes that are about to end over it.
#pragma once

#include <cstddef>

namespace varnel::testing {

inline constexpr std::size_t kGuardedPageSize = 65536;

/// From now on a touch of a released page ends the process with this exit code, after a line on standard error.
void WatchGuardedPages(int exit_code);

/// A page of its own, zeroed; null when there is none left (16) or the system gives none.
void* TakeGuardedPage();

/// Whether the page is one of these; then it answers to nothing any more.
bool ReleaseGuardedPage(void* page);

}  // namespace varnel::testing
