// The results of the engine session, the reports and the run, beside those of hresult.h.
#pragma once

#include <cstdint>

#include "analyzer/hresult.h"
#include "platform/types.h"

namespace varnel {

/// A stop ended the work.
inline constexpr std::int32_t kHresultCancelled = HresultOf(platform::kErrorCancelled);
/// A wait ran out of time.
inline constexpr std::int32_t kHresultTimeout = HresultOf(platform::kWaitTimeout);
inline constexpr std::int32_t kHresultNotSupported = HresultOf(platform::kErrorNotSupported);
/// The object is not in the state that the call needs: error 5023.
inline constexpr std::int32_t kHresultInvalidState = HresultOf(5023);

constexpr bool Failed(std::int32_t result) {
  return result < 0;
}
/// For a log line's %08X.
constexpr std::uint32_t Printed(std::int32_t result) {
  return static_cast<std::uint32_t>(result);
}

}  // namespace varnel
