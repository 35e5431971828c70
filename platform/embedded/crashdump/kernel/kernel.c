// The kernel of the simulated machine, as far as a crash dump shows one: functions that call each other on the way to a
// stop, exports, unwind data, a version, and the variables that a dump's readers start from. It is compiled for
// Windows, loaded by the crash dump writer as a boot loader would, and never run.
//
// The variables are filled by the writer, which finds them, and the functions, by their exported names.
#define EXPORTED __declspec(dllexport)
#define APART __attribute__((noinline, noclone))

typedef unsigned char u8;
typedef unsigned int u32;
typedef unsigned long long u64;

typedef struct ListEntry {
  struct ListEntry* forward;
  struct ListEntry* backward;
} ListEntry;

EXPORTED ListEntry PsLoadedModuleList = {&PsLoadedModuleList, &PsLoadedModuleList};
EXPORTED ListEntry PsActiveProcessHead = {&PsActiveProcessHead, &PsActiveProcessHead};
EXPORTED void* PsInitialSystemProcess = 0;
EXPORTED void* KiProcessorBlock[64] = {0};
EXPORTED u64 KiBugCheckData[5] = {0};
EXPORTED u64 KiWaitNever = 0;
EXPORTED u64 KiWaitAlways = 0;
EXPORTED u64 KdDebuggerDataBlock[128] = {0};
EXPORTED u8 KdpDataBlockEncoded = 0;
EXPORTED void* MmUnloadedDrivers = 0;
EXPORTED u32 MmLastUnloadedDriver = 0;
EXPORTED void* MmPhysicalMemoryBlock = 0;
EXPORTED void* MmPfnDatabase = 0;
EXPORTED u64 MmHighestUserAddress = 0x00007FFFFFFEFFFFull;
EXPORTED char NtBuildLab[64] = {0};
EXPORTED u32 NtBuildNumber = 0;

// Keeps the compiler from seeing through what follows.
static volatile u64 work;

// The stop itself: a dump's registers are those at its first instruction.
EXPORTED APART void KeBugCheckEx(u32 code, u64 p1, u64 p2, u64 p3, u64 p4) {
  KiBugCheckData[0] = code;
  KiBugCheckData[1] = p1;
  KiBugCheckData[2] = p2;
  KiBugCheckData[3] = p3;
  KiBugCheckData[4] = p4;
  do work++;
  while (work != 0);  // an end that the compiler believes in, or its callers would lose what stands behind their calls
}

// A large frame: its allocation does not fit the short unwind code.
EXPORTED APART u64 KeCheckWatchdogs(u64 ticks) {
  volatile u64 history[100];
  u64 i;
  for (i = 0; i < 100; ++i) history[i] = ticks + i;
  KeBugCheckEx(0x133, history[ticks % 100], ticks, work, 0);
  return history[5] + work;
}

// Not exported, and with a frame register, since its frame grows by what it is asked for.
static APART u64 RunDeferredWork(u64 count) {
  volatile u8* room = __builtin_alloca(count);
  u64 sum;
  room[0] = (u8)work;
  room[count - 1] = (u8)count;
  sum = KeCheckWatchdogs(count) + room[0];
  return sum + room[count - 1];
}

// Many saved registers.
EXPORTED APART u64 ExQueueWorkItem(u64 a, u64 b, u64 c, u64 d) {
  u64 e = work, f = work, g = work, h = work;
  u64 i = RunDeferredWork(a + 64);
  work = a;
  return a + b * 3 + c * 5 + d * 7 + e * 11 + f * 13 + g * 17 + h * 19 + i;
}

// Uses no stack at all: a leaf.
EXPORTED APART u64 KeQueryInterruptTime(void) {
  return work;
}

EXPORTED APART u64 PsCreateSystemThread(u64 start) {
  u64 result = ExQueueWorkItem(start, KeQueryInterruptTime(), work, work);
  work = result;
  return result + 1;
}

// Where a thread of the system begins: nothing called it.
EXPORTED APART void KiStartSystemThread(void) {
  for (;;) work += PsCreateSystemThread(work);
}

// What the other processors do meanwhile.
EXPORTED APART void KiIdleLoop(void) {
  for (;;) work += KeQueryInterruptTime();
}

EXPORTED void KiSystemStartup(void) {
  KiIdleLoop();
  KiStartSystemThread();
}
