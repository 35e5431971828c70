/* Writes events of the test provider until it has written as many as it was told, or until it is killed.
 *
 *   writer_program MACHINE MODULE-BIT COUNT PAUSE
 *
 * COUNT 0: no end. PAUSE: microseconds between events. */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "provider/varnel_provider.h"

int main(int argc, char** argv) {
  static const varnel_guid kGuid = {0xD8909C24, 0x5BE9, 0x4502, {0x98, 0xCA, 0xAB, 0x7B, 0xDC, 0x24, 0x89, 0x9D}};
  varnel_registration* registration;
  if (argc != 5) return 2;
  prctl(PR_SET_PDEATHSIG, SIGKILL); /* a test that is ended leaves no writer behind */
  const unsigned long count = strtoul(argv[3], NULL, 10);
  const unsigned long pause = strtoul(argv[4], NULL, 10);
  const uint64_t module = (uint64_t)1 << atoi(argv[2]);
  if (varnel_register(argv[1], &kGuid, &registration) != 0) return 3;
  for (unsigned long i = 0; count == 0 || i < count; ++i) {
    varnel_transfer_msg_ansi(registration, module, 8, "F", (uint32_t)i, 0, "a text of some length");
    if (pause != 0) usleep((useconds_t)pause);
  }
  varnel_unregister(registration);
  return 0;
}
