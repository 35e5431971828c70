/* The guarded call: one function run under a structured exception guard. Compiled by another compiler than the rest,
 * since the guard is part of the language there; so nothing but C stands here. */
#ifndef VARNEL_PLATFORM_WINDOWS_GUARDED_CALL_H_
#define VARNEL_PLATFORM_WINDOWS_GUARDED_CALL_H_

#ifdef __cplusplus
extern "C" {
#endif

/* Runs `function`. 0, or the code of the exception that it raised. The thread then goes on behind this call; frames in
 * between are taken off by the system's own unwinding. Any thread may call, also from guarded code. */
unsigned VarnelGuardedCall(void (*function)(void* parameter), void* parameter);

#ifdef __cplusplus
}
#endif

#endif /* VARNEL_PLATFORM_WINDOWS_GUARDED_CALL_H_ */
