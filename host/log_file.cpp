#include "host/log_file.h"

#include "host/trace_file.h"

namespace varnel::host {

std::unique_ptr<embedded::LogReader> OpenLog(const std::vector<std::string>& paths,
                                             const embedded::LogReaderOptions& options, std::string_view command,
                                             std::FILE* err) {
  auto reader = embedded::LogReader::Open(paths, options);
  if (!reader.ok()) {
    TellTrace(err, command, reader.error().message);
    return nullptr;
  }
  return std::move(reader.value());
}

bool TellIfNoLog(const embedded::LogReader& reader, const std::string& path, const embedded::LogReaderOptions& options,
                 std::string_view command, std::FILE* err) {
  if (reader.HasRecords() || embedded::BeginsAsEventLog(path, options.otherwise_encoding)) return false;
  TellTrace(err, command, path + ": byte 0: begins neither as a binary event log nor as an exported one");
  return true;
}

std::string ForTerminal(std::string_view text) {
  std::string shown(text);
  for (char& c : shown) {
    if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) c = ' ';
  }
  return shown;
}

void TellLogDamage(const std::string& name, const embedded::LogCounts& counts, std::string_view command,
                   std::FILE* err) {
  if (counts.skipped > 0) {
    TellTrace(err, command, name + ": " + std::to_string(counts.skipped) + " records can't be read and were left out");
  }
  if (counts.replaced > 0) {
    TellTrace(err, command,
              name + ": " + std::to_string(counts.replaced) + " characters are not valid in the file's encoding");
  }
}

}  // namespace varnel::host
