// `wardlet dump report`: the texts that the module hands to its host for crash dumps, made on a machine of its own that
// goes afterwards.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace varnel::host {

struct DumpReportOptions {
  std::vector<std::string> files;
  std::uint32_t flags = 0;  // the passes, as `wardlet run --flags`; at least one
  bool keep = false;        // leaves the machine behind and says where it is
};

/// Prints the dump texts as they come; what else the module says is dropped. A file of which a pass gave no text is
/// told on `err`, with what our own reader has to say of it. Takes SIGINT and SIGTERM for a wish to stop. One thread.
/// @return 0, or 1 when a text is missing or the module did not end well.
int DumpReport(const DumpReportOptions& options, std::FILE* out, std::FILE* err);

/// Why there may be no text of a dump: "byte 0: ..." for a file that is none, the machine for one that is not told.
std::string WhyNoReport(const std::string& file);

}  // namespace varnel::host
