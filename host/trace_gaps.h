// `wardlet trace gaps`: the proof that nothing is missing. Follows the counters of the seven providers, by provider and
// module, over all files together.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct TraceGapsOptions {
  std::vector<std::string> files;
};

/// Prints a line for each sequence, with its gaps, restarts, wraps and repeats below it, and a last line with the sums.
/// Errors are lines on `err`, and the other files are still read.
/// @return 0 when there is no gap, 3 when there is one, 1 when a file could not be read, 2 when no file was named.
int TraceGaps(const TraceGapsOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
