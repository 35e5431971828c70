// `wardlet trace cat`: the events of trace files as lines of JSON, decoded where a manifest or the events themselves
// tell the layout. Works on any .etl file.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace varnel::host {

struct TraceCatOptions {
  std::vector<std::string> files;
  std::vector<std::string> manifests;   // instrumentation manifests; a later one wins over an earlier
  std::optional<std::string> provider;  // a GUID, with or without braces: only its events
  bool count = false;                   // print the number of events instead of the events
};

/// Prints the files one after the other, each in time order; with `count` one number for all. Errors are lines on
/// `err`, and the next file is taken; a manifest that can't be read ends the command before any event.
/// @return 0, 1 when a file or a manifest could not be read, 2 for a provider that is no GUID or when no file was
/// named.
int TraceCat(const TraceCatOptions& options, std::FILE* out, std::FILE* err);

}  // namespace varnel::host
