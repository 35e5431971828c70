#include "formats/bugcheck_parameters.h"

#include <algorithm>
#include <iterator>

namespace varnel::formats {
namespace {

struct Row {
  std::uint32_t code;
  BugCheckParameters meanings;
};

constexpr char kExceptionCode[] = "exception code";
constexpr char kExceptionPlace[] = "instruction that raised it";
constexpr char kExceptionRecord[] = "address of the exception record";
constexpr char kContextRecord[] = "address of the context record";
constexpr char kTouched[] = "address that was touched";
constexpr char kToucher[] = "instruction that touched it";
constexpr char kIrqlThen[] = "IRQL at that time";
constexpr char kReadOrWrite[] = "0 if it was read, 1 if it was written";
constexpr char kByKind[] = "depends on the kind";
constexpr char kIrp[] = "address of the I/O request packet";

// Ascending by code. A code without documented parameters that samples and logs hold stands here with none.
constexpr Row kRows[] = {
    {0x01,
     {"system function or worker routine", "the thread's APC state index", "the thread's two counts of disabled APCs",
      "0 after a system call, 1 after a worker routine"}},
    {0x0A, {kTouched, kIrqlThen, "bits: 0 written rather than read, 3 run as code", kToucher}},
    {0x18, {"type of the object", "object whose count of references went wrong", "", ""}},
    {0x19, {"kind of damage in the pool", kByKind, kByKind, kByKind}},
    {0x1A, {"kind of memory management failure", kByKind, kByKind, kByKind}},
    {0x1E,
     {kExceptionCode, kExceptionPlace, "the exception's first own parameter", "the exception's second own parameter"}},
    {0x24,
     {"source file (upper 16 bits) and line (lower 16 bits)", "address of the exception record, if any",
      "address of the context record, if any", ""}},
    {0x3B, {kExceptionCode, kExceptionPlace, kContextRecord, ""}},
    {0x44, {kIrp, "", "", ""}},
    {0x4A, {"system call routine", "IRQL on the way back to user mode", "", ""}},
    {0x4E, {"kind of damage in the list of pages", kByKind, kByKind, kByKind}},
    {0x50, {kTouched, "0 if it was read, 1 or 2 if it was written, else run as code", kToucher, "kind of page fault"}},
    {0x51, {"", "", "address of the registry hive", "what the check of the hive gave, if it is damaged"}},
    {0x65, {"", "", "", ""}},
    {0x74, {"", "", "", "status code"}},
    {0x77,
     {"status code; 0, 1 or 2 for other forms",
      "status of the read; for 0 to 2 the value found where a signature should be",
      "number of the page file; for 0 to 2 nothing", "place in the page file; for 0 to 2 the signature's address"}},
    {0x7A,
     {"1 to 4 for a kind of lock, else address of the page table entry", "status of the read",
      "by the first: process, in-page support record, or contents of the entry",
      "virtual address that could not be paged in"}},
    {0x7B, {"name of the boot device, or its device object", "", "", ""}},
    {0x7E, {kExceptionCode, kExceptionPlace, kExceptionRecord, kContextRecord}},
    {0x7F, {"number of the processor's trap", "", "", ""}},
    {0x8E, {kExceptionCode, kExceptionPlace, "address of the trap frame", ""}},
    {0x93, {"handle that was to be closed", "0 for a protected handle, 1 for one that is none", "", ""}},
    {0x9C,
     {"number of the reporting bank", "address of the machine check record", "upper 32 bits of the bank's status",
      "lower 32 bits of the bank's status"}},
    {0x9F,
     {"kind of failure (3: a device kept a request too long)", "for kind 3: physical device object",
      "for kind 3: the kernel's record of the power request", "for kind 3: request that did not come back"}},
    {0xA0, {"kind of power failure", kByKind, kByKind, kByKind}},
    {0xA5, {"kind of firmware failure", kByKind, kByKind, kByKind}},
    {0xBE, {"address that was written", "contents of its page table entry", "", ""}},
    {0xC2, {"kind of misuse of the pool", kByKind, kByKind, kByKind}},
    {0xC4, {"rule that a driver broke", kByKind, kByKind, kByKind}},
    {0xC5, {kTouched, kIrqlThen, kReadOrWrite, kToucher}},
    {0xCE, {kTouched, kReadOrWrite, kToucher, ""}},
    {0xD1, {kTouched, kIrqlThen, "0 if it was read, 1 if it was written, else run as code", kToucher}},
    {0xD5, {kTouched, kReadOrWrite, kToucher, ""}},
    {0xE2, {"", "", "", ""}},
    {0xEA,
     {"thread that hangs", "the watchdog's record", "name of the driver",
      "under a debugger how often it was intercepted, else 1"}},
    {0xED, {"device object of the boot volume", "status of the mount", "", ""}},
    {0xEF, {"process object", "0 if the process ended, 1 if a thread did", "", ""}},
    {0xF4,
     {"3 for a process, 6 for a thread", "object that ended", "name of the process's image file",
      "text that explains it"}},
    {0xF7, {"guard value found on the stack", "guard value expected there", "complement of the expected one", ""}},
    {0xFC, {"address that was run as code", "contents of its page table entry", "", ""}},
    {0xFE, {"kind of USB failure", kByKind, kByKind, kByKind}},
    {0x101,
     {"time without a clock interrupt, in clock ticks", "", "control block of the processor that hangs",
      "number of the processor that hangs"}},
    {0x109, {"", "", kByKind, "kind of the region that was changed"}},
    {0x10D, {"kind of framework failure", kByKind, kByKind, kByKind}},
    {0x10E, {"kind of video memory failure", kByKind, kByKind, kByKind}},
    {0x116,
     {"address of the recovery record", "place in the display driver", "status of the last operation that failed",
      "data that depends on the failure"}},
    {0x119, {"kind of video scheduler failure", kByKind, kByKind, kByKind}},
    {0x124,
     {"source of the error (0: machine check)", "address of the error record",
      "for source 0: upper 32 bits of the bank's status", "for source 0: lower 32 bits of the bank's status"}},
    {0x12B,
     {"virtual address of the damaged page; kind of failure where the last two are not 0",
      "number of the physical page; else the compressed size", "0, else the source buffer",
      "0, else the target buffer"}},
    {0x133,
     {"0 for a single DPC, 1 for the sum of time at DISPATCH_LEVEL or above",
      "for 0: ticks used; for 1: watchdog's period", "for 0: ticks allowed; for 1: the watchdog's record",
      "for 0: the watchdog's record"}},
    {0x139, {"kind of damage", "address of the trap frame", kExceptionRecord, ""}},
    {0x13A, {"kind of damage in the heap", "address of the heap", "address where the damage was found", ""}},
    {0x144, {"kind of USB 3 failure", kByKind, kByKind, kByKind}},
    {0x154, {"address of the store's own record", "address of the exception's data", "", ""}},
    {0x1C7,
     {"kind of damage", "0 to 2: buffer whose hash is wrong; 3: page place at the start of the read",
      "0 to 2: hash expected; 3: page record found now", "0 to 2: number of the physical page"}},
    {0x1CA,
     {"interrupt time since the watchdog was reset", "interrupt time now", "performance counter now",
      "number of the processor that keeps the clock"}},
    {0xC000021A, {"text that tells the problem", "status code", "", ""}},
};

const Row* Find(std::uint32_t code) {
  const std::uint32_t plain = code & ~kBugCheckSmallDumpBit;
  const auto* row = std::lower_bound(std::begin(kRows), std::end(kRows), plain,
                                     [](const Row& r, std::uint32_t c) { return r.code < c; });
  return row != std::end(kRows) && row->code == plain ? row : nullptr;
}

}  // namespace

BugCheckParameters BugCheckParameterMeanings(std::uint32_t code) {
  const Row* row = Find(code);
  return row == nullptr ? BugCheckParameters{} : row->meanings;
}

bool HasBugCheckParameterMeanings(std::uint32_t code) {
  return Find(code) != nullptr;
}

}  // namespace varnel::formats
