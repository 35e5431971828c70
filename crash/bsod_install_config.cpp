#include "crash/bsod_install_config.h"

namespace varnel {

static_assert(!BsodInstallConfigEnabled, "there is no setup to switch on");

std::int32_t SetBsodInstallConfig(const char16_t* /*productGuid*/) {
  return 0;
}

}  // namespace varnel
