// `wardlet dump info`: what crash dumps hold. Works on any kernel dump, without a machine.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "formats/dump/dump_problem.h"
#include "formats/dump/dump_source.h"

namespace varnel::host {

struct DumpInfoOptions {
  std::vector<std::string> files;
  bool json = false;  // one JSON object a line for each file, instead of text
};

/// Prints what each file holds to `out`; errors are lines on `err`, and the next file is taken. Of a dump whose memory
/// can't be read the header is printed all the same. One thread.
/// @return 0, also for a file that is cut short; 1 when a file could not be read, or nothing of it but its header; 2
/// when no file was named.
int DumpInfo(const DumpInfoOptions& options, std::FILE* out, std::FILE* err);

/// "byte 8192: ...": where a file that can't be read stops making sense, and why.
std::string DumpProblemPlace(formats::DumpProblem problem, const formats::DumpSource& source);

}  // namespace varnel::host
