// The module's one log: each accepted line goes to the debugger output and, as one append, to the log file. It never
// fails its caller. Any thread may call WrapLogPrint; start-up and close belong to the module's attach and detach.
#pragma once

#include <cstdint>

#include "base/format.h"
#include "interfaces/guid.h"

namespace varnel {

// Levels are bits, tested against the mask.
inline constexpr std::uint32_t LOG_ERROR = 1;
inline constexpr std::uint32_t LOG_INFO = 2;
inline constexpr std::uint32_t LOG_DETAIL = 8;

/// Forms the path <system drive>:\ProgramData\KelvoVarnels\Log\{guid}.txt, makes its last two folders and starts the
/// log on it.
void WrapLogInitByGuid(std::uint32_t levelMask, const GUID* guid);
/// Starts the log, or starts it anew. With a null path no file is opened. A file above 15 MiB is emptied.
void WrapLogInit(std::uint32_t levelMask, const char16_t* path);
/// Closes the file. Lines after that still reach the debugger output.
void WrapLogClose();
/// Writes a finished, NUL-terminated text: char16_t with `isWide` 1, char with 0.
void WrapLogWrite(std::uint32_t isWide, const void* text);

namespace log_internal {

/// Whether a line of this level would be written: the one test that a dropped line costs.
bool Accepts(std::uint32_t level);
void Print(const char16_t* format, FormatArguments arguments);

}  // namespace log_internal

/// Writes one line: a prefix with the time (UTC plus eight hours) and the formatted message, which carries its own line
/// end. See base/format.h for the format.
template <typename... Args>
void WrapLogPrint(std::uint32_t level, WideFormat<Args...> format, const Args&... args) {
  if (!log_internal::Accepts(level)) return;
  const std::array<FormatArgument, sizeof...(Args) + 1> erased{EraseFormatArgument(args)...};
  log_internal::Print(format.text(), {erased.data(), sizeof...(Args)});
}

}  // namespace varnel
