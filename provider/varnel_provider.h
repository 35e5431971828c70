/* varnel-provider: with this library a program writes trace events into a machine folder. C and C++.
 *
 * A program registers a provider, asks whether anyone listens, and writes. Sessions (started by whoever wants the
 * events) enable the provider; until then an event costs its author a load and a branch. What could not be written, the
 * disk being full or no buffer being free, is counted by the session as lost; it never stops or ends the program.
 *
 * Threads: every call may be made on any thread at any time, but for varnel_unregister, which must be the last on its
 * registration. None may be made from a signal handler. In a child made by fork, the parent's registrations are
 * disabled for good; the child registers anew.
 *
 * Results: 0, or an errno value.
 */
#ifndef VARNEL_PROVIDER_H
#define VARNEL_PROVIDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VARNEL_PROVIDER_API __attribute__((visibility("default")))
#else
#define VARNEL_PROVIDER_API
#endif

typedef struct varnel_guid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} varnel_guid;

typedef struct varnel_event_descriptor {
  uint16_t id;
  uint8_t version;
  uint8_t channel;
  uint8_t level; /* 1 critical to 5 verbose; 0 passes every session's level */
  uint8_t opcode;
  uint16_t task;
  uint64_t keyword;
} varnel_event_descriptor;

/* One piece of an event's payload. */
typedef struct varnel_data {
  const void* data;
  uint32_t size; /* bytes */
} varnel_data;

/* A registration. `gate` is not 0 while any session has the provider enabled; it lives in memory that all processes
 * share and changes by itself. */
typedef struct varnel_registration {
  uint32_t gate;
} varnel_registration;

/* Registers `provider` in the machine folder `machine`, or in that of the environment's VARNEL_MACHINE when it is null.
 * `*registration` is always usable: when the call fails it is one that is never enabled.
 * ENOENT: no machine named, or the folder is none. ENOSPC: the disk, or the machine's table of providers, is full. */
VARNEL_PROVIDER_API int varnel_register(const char* machine, const varnel_guid* provider,
                                        varnel_registration** registration);

/* Ends a registration. Events that were written stay written. Null, and one of a failed call, do nothing. */
VARNEL_PROVIDER_API void varnel_unregister(varnel_registration* registration);

/* Whether any session has the provider enabled: one load and, where it is tested, one branch. */
static inline int varnel_enabled(const varnel_registration* registration) {
  return __atomic_load_n(&registration->gate, __ATOMIC_RELAXED) != 0;
}

/* Whether any session takes events of this level and keyword. */
VARNEL_PROVIDER_API int varnel_enabled_for(const varnel_registration* registration, uint8_t level, uint64_t keyword);

/* Writes one event into every session that takes it. The payload is the pieces one behind the other, 65,455 bytes at
 * most. ENOBUFS: it was lost in one of them; EMSGSIZE: it is too large for one of them. Both are counted there. */
VARNEL_PROVIDER_API int varnel_write(varnel_registration* registration, const varnel_event_descriptor* descriptor,
                                     const varnel_data* pieces, uint32_t piece_count);

/* The three kinds of event of the Varnel framework's manifests, each one call. `module_keyword` is one bit of bits 3 to
 * 33 and names the module. Each registration and module has a counter that begins with 1 and goes up with every event;
 * counters and time stamps rise together, whatever threads write.
 * `flags`: 1 debug print, 2 write to file, 8 hand to the host. `function` and `message` may be null (an empty text).
 * EINVAL: `module_keyword` is no single bit of those. EMSGSIZE beside that of varnel_write: with what stands around the
 * text or the bytes the payload is over 65,455 bytes; no session hears of it, and the counter stays. */
VARNEL_PROVIDER_API int varnel_transfer_msg_ansi(varnel_registration* registration, uint64_t module_keyword,
                                                 uint32_t flags, const char* function, uint32_t code_line,
                                                 uint32_t status, const char* message);

/* `message` is UTF-16 in the machine's byte order, NUL-terminated. */
VARNEL_PROVIDER_API int varnel_transfer_msg_wide(varnel_registration* registration, uint64_t module_keyword,
                                                 uint32_t flags, const char* function, uint32_t code_line,
                                                 uint32_t status, const uint16_t* message);

VARNEL_PROVIDER_API int varnel_transfer_binary(varnel_registration* registration, uint64_t module_keyword,
                                               uint32_t flags, const char* function, uint32_t code_line,
                                               uint32_t status, const void* bytes, uint32_t count);

/* Sets the counter of the module's next event: for tests and sample providers that act out gaps, repeats and restarts.
 */
VARNEL_PROVIDER_API int varnel_set_counter(varnel_registration* registration, uint64_t module_keyword, uint32_t next);

#ifdef __cplusplus
}
#endif

#endif
