/* An LTTng-UST tracepoint with the payload of our text event, to measure ours against. LTTng's headers include this
 * file several times over. */
#undef LTTNG_UST_TRACEPOINT_PROVIDER
#define LTTNG_UST_TRACEPOINT_PROVIDER varnel_bench

#undef LTTNG_UST_TRACEPOINT_INCLUDE
#define LTTNG_UST_TRACEPOINT_INCLUDE "./lttng_tracepoint.h"

#if !defined(VARNEL_BENCH_LTTNG_TRACEPOINT_H) || defined(LTTNG_UST_TRACEPOINT_HEADER_MULTI_READ)
#define VARNEL_BENCH_LTTNG_TRACEPOINT_H

#include <lttng/tracepoint.h>
#include <stdint.h>

/* clang-format off */
LTTNG_UST_TRACEPOINT_EVENT(
    varnel_bench, text,
    LTTNG_UST_TP_ARGS(uint32_t, counter, uint32_t, flags, const char*, function, uint32_t, code_line, uint32_t, status,
                      const char*, message),
    LTTNG_UST_TP_FIELDS(
        lttng_ust_field_integer(uint32_t, counter, counter)
        lttng_ust_field_integer(uint32_t, flags, flags)
        lttng_ust_field_string(function, function)
        lttng_ust_field_integer(uint32_t, code_line, code_line)
        lttng_ust_field_integer(uint32_t, status, status)
        lttng_ust_field_string(message, message)))
/* clang-format on */

#endif

#include <lttng/tracepoint-event.h>
