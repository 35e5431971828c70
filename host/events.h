// wardlet events: the records of event logs as lines of JSON, or as a table. One thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct EventsOptions {
  std::vector<std::string> files;
  std::string query;         // empty: all
  std::uint64_t newest = 0;  // how many, the newest first; 0: all, the oldest first
  std::string encoding;      // of an export that does not say its own and is not UTF-8; empty: UTF-8 all the same
  bool table = false;        // else NDJSON
};

/// Each file is a log of its own. @return an exit code: kExitFailed when a file could not be read, the others being
/// printed all the same, and kExitWrongUse for a query that is none.
int Events(const EventsOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
