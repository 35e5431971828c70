#include "platform/windows/guarded_call.h"

#define EXECUTE_HANDLER 1

/* GCC raises a C++ exception under a number of its own. Here a C++ exception has the one by which all of Windows knows
 * it, whoever compiled the code that threw. */
#define RAISED_BY_GCC 0x20474343u
#define CPP_EXCEPTION 0xE06D7363u

unsigned VarnelGuardedCall(void (*function)(void* parameter), void* parameter) {
  volatile unsigned code = 0;
  __try {
    function(parameter);
  } __except (code = (unsigned)__exception_code(), EXECUTE_HANDLER) {
    /* The code is taken in the filter: there it stands in the exception's own record on every system. */
    return code == RAISED_BY_GCC ? CPP_EXCEPTION : code;
  }
  return 0;
}
