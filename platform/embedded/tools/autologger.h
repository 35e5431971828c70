// AutoLoggers: trace sessions that a machine's boot starts from its registry, one for each key below
// HKEY_LOCAL_MACHINE\SYSTEM\CurrentControlSet\Control\WMI\Autologger. This is the registry's side; who starts the
// session is handed in. One thread.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "interfaces/guid.h"
#include "platform/registry.h"

namespace varnel::embedded {

struct AutoLoggerProvider {
  GUID guid{};
  std::uint8_t level = 0;
  std::uint64_t match_any_keyword = 0;
  std::uint64_t match_all_keyword = 0;
  std::uint32_t enable_property = 0;
};

/// A session as its key describes it. Numbers that the key does not have are 0 unless told otherwise.
struct AutoLogger {
  std::u16string name;
  GUID guid{};
  std::u16string log_file;  // a Windows path with its number behind it; empty for a session without a file
  std::uint32_t buffer_size_kb = 0;
  std::uint32_t minimum_buffers = 0;
  std::uint32_t maximum_buffers = 0;
  std::uint32_t log_file_mode = 1;           // sequential
  std::uint32_t clock_type = 1;              // query performance counter
  std::uint32_t maximum_file_size_mb = 100;  // 0: no limit
  std::uint32_t flush_timer_s = 0;
  std::vector<AutoLoggerProvider> providers;  // those that are enabled
};

/// What became of one AutoLogger at a boot.
struct AutoLoggerResult {
  std::u16string name;
  std::u16string log_file;
  std::uint32_t result = 0;  // of the start, or why none was tried
};

/// Starts a session and enables its providers; a Win32 error number.
using StartSession = std::function<std::uint32_t(const AutoLogger& session)>;

/// Starts each AutoLogger whose "Start" is 1. With a "FileMax" the value "FileCounter" goes up by one first, from 1 to
/// "FileMax" and round, and the log file's name gets it as its ending, ".001" and so on. A session without a readable
/// "Guid" is not started (87). The result goes into the key's "Status" too; one that fails does not stop the others.
/// @return one entry for each key with "Start" 1, in the order of their names.
std::vector<AutoLoggerResult> StartAutoLoggers(platform::Registry& registry, const StartSession& start);

}  // namespace varnel::embedded
