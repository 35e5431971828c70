// What guarded pages ask of the system; each system has a file of its own.
#pragma once

#include <cstddef>

namespace varnel::testing {

/// Zeroed memory at a page's boundary, or null.
void* MapPage(std::size_t size);

/// Makes every later access of the page a fault.
void ClosePage(void* page, std::size_t size);

/// A fault at an address that `is_watched` ends the process with the exit code and one line; others go their way. Calls
/// `is_watched` where only the plainest code may run.
void EndAtFaultOn(bool (*is_watched)(const void* address), int exit_code);

}  // namespace varnel::testing
