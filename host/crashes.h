// wardlet crashes: each unexpected restart that a System log tells of. One thread.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct CrashesOptions {
  std::vector<std::string> machine_files;  // the files of one machine's log, read as one
  std::vector<std::string> files;          // each a log of its own
  bool table = false;                      // else NDJSON
};

/// @return an exit code: kExitFailed when a log could not be read, the others being shown all the same.
int Crashes(const CrashesOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
