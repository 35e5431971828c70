// wardlet crashes: each unexpected restart that a System log tells of. One thread.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct CrashesOptions {
  std::vector<std::string> machine_files;  // the files of one machine's log, read as one
  std::vector<std::string> files;          // each a log of its own
  std::string encoding;  // of an export that does not say its own and is not UTF-8; empty: UTF-8 all the same
  bool table = false;    // else NDJSON
};

/// @return an exit code: kExitFailed when a log could not be read, the others being shown all the same.
int Crashes(const CrashesOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
