#include "platform/windows/guarded_call.h"

#define EXECUTE_HANDLER 1

unsigned VarnelGuardedCall(void (*function)(void* parameter), void* parameter) {
  __try {
    function(parameter);
  } __except (EXECUTE_HANDLER) {
    return (unsigned)__exception_code();
  }
  return 0;
}
