// `wardlet trace info`: what a trace file holds. Works on any .etl file.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct TraceInfoOptions {
  std::vector<std::string> files;
  bool json = false;  // one JSON object a line for each file, instead of tables
};

/// Reads each file to its end and prints its figures to `out`; errors are lines on `err`, and the next file is taken.
/// @return 0, 1 when a file could not be read, 2 when no file was named.
int TraceInfo(const TraceInfoOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
