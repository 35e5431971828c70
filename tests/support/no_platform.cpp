// Stands in for a linked platform in tests that run on scripted ports alone: a record without ports.
#include "platform/platform.h"

namespace varnel::platform {

Platform& SystemPlatform() {
  static Platform none;
  return none;
}

}  // namespace varnel::platform
