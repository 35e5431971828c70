/* The other side of provider_write_bench: writes events through LTTng-UST and prints the nanoseconds that one took. It
 * is a program of its own, since LTTng registers a program when it starts. */
#define LTTNG_UST_TRACEPOINT_CREATE_PROBES
#define LTTNG_UST_TRACEPOINT_DEFINE
#include "lttng_tracepoint.h"

#include <stdio.h>
#include <stdlib.h>
#include <time.h>

static double Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec * 1e9 + (double)now.tv_nsec;
}

int main(int argc, char** argv) {
  const uint32_t count = argc > 1 ? (uint32_t)strtoul(argv[1], NULL, 10) : 1000000;
  if (!lttng_ust_tracepoint_enabled(varnel_bench, text)) {
    fprintf(stderr, "the tracepoint is not enabled\n");
    return 1;
  }
  const double begin = Now();
  for (uint32_t i = 0; i < count; ++i) {
    lttng_ust_tracepoint(varnel_bench, text, i, 8, "CollectorThreadBody", i, 0,
                         "device 4 of 7 was attached to port 3 of the hub");
  }
  printf("%.2f\n", (Now() - begin) / count);
  return 0;
}
