// The calling thread's last error, shared by all scripted ports.
#pragma once

#include <cstdint>

namespace varnel::testing {

inline thread_local std::uint32_t g_last_error = 0;

/// Sets the last error; gives false, so that a failing port call is one line.
inline bool FailWith(std::uint32_t error) {
  g_last_error = error;
  return false;
}

}  // namespace varnel::testing
