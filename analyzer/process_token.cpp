#include "analyzer/process_token.h"

#include <cstdint>

#include "platform/platform.h"

namespace varnel {

using platform::SystemPort;

bool IsCurrentProcessElevated() {
  platform::HANDLE token = nullptr;
  if (!SystemPort().OpenProcessToken(platform::kTokenQuery, &token)) return false;
  std::uint32_t elevation = 0;
  std::uint32_t size = 0;
  const bool told =
      SystemPort().GetTokenInformation(token, platform::kTokenElevation, &elevation, sizeof elevation, &size);
  SystemPort().CloseHandle(token);
  return told && elevation != 0;
}

}  // namespace varnel
