// What the trace commands share: a trace file opened by its path, and times as text. Each command is a free function;
// none keeps state. One thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "formats/etl_reader.h"

namespace varnel::host {

/// A file that is read while its reader lives.
struct TraceFile {
  std::string path;
  std::unique_ptr<formats::EtlSource> source;
  std::unique_ptr<formats::EtlReader> reader;
};

/// Opens a trace file. On failure writes one line with command, file, place and reason to `err`, and gives null.
std::unique_ptr<TraceFile> OpenTraceFile(const std::string& path, std::string_view command, std::FILE* err);

/// Writes "wardlet <command>: <message>\n".
void TellTrace(std::FILE* err, std::string_view command, std::string_view message);

/// Tells what a file that was read to its end had in it that could not be read; says nothing about a file that was
/// whole.
void TellDamage(const TraceFile& file, std::string_view command, std::FILE* err);

/// Reads a whole small file. @return false, with a line on `err`, when it can't.
bool ReadWholeFile(const std::string& path, std::string_view command, std::string* out, std::FILE* err);

/// Flushes. @return false, with a line on `err`, when what was written did not all go out.
bool FinishOutput(std::FILE* out, std::string_view command, std::FILE* err);

/// How many digits of a second stand behind the point.
enum class TimeDigits { kMicroseconds = 6, kTicks = 7 };

/// A FILETIME as ISO 8601 in UTC, such as "2026-11-21T12:00:00.1234567Z"; cut, not rounded. Years beyond 9999 and times
/// before 1601 are given as the number that they are.
std::string IsoTime(std::int64_t file_time, TimeDigits digits);

}  // namespace varnel::host
