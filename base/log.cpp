#include "base/log.h"

#include <atomic>
#include <cstring>
#include <new>

#include "base/fixed_time_zone.h"
#include "base/lock.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::FilesPort;
using platform::SystemPort;

constexpr std::uint32_t kFirstCapacity = 400;       // characters
constexpr std::uint32_t kLargestFile = 15u << 20;   // bytes; a file above it is emptied at start-up
constexpr std::size_t kPrefixCapacity = 50;         // characters
constexpr std::size_t kShortMessageCapacity = 200;  // characters behind the prefix
constexpr std::size_t kStackLine = 256;             // characters
constexpr std::size_t kSpareBytes = 100;            // room for the prefix in a heap block
constexpr std::uintptr_t kNoFile = ~std::uintptr_t{0};

struct LogState {
  std::atomic<std::uintptr_t> file{kNoFile};
  std::atomic<std::uint32_t> mask{0};
  std::atomic<platform::TimeFunction> time_function{nullptr};
  SrwLock capacity_lock;
  // Characters of the heap line buffer; only grows. 0 until the log is started: that test reads it without the lock.
  std::atomic<std::uint32_t> wide_capacity{0};
};

// Made at the first use and never destroyed: the log works from the load constructor to the last line of the process.
LogState& State() {
  alignas(LogState) static unsigned char room[sizeof(LogState)];
  static LogState* const state = new (room) LogState;
  return *state;
}

platform::HANDLE FileHandle(const LogState& state) {
  return reinterpret_cast<platform::HANDLE>(state.file.load(std::memory_order_relaxed));
}

std::uint32_t ReadCapacity(LogState* state) {
  const SharedLock lock(state->capacity_lock);
  return state->wide_capacity.load(std::memory_order_relaxed);
}

std::uint32_t DoubleCapacity(LogState* state) {
  const ExclusiveLock lock(state->capacity_lock);
  const std::uint32_t doubled = state->wide_capacity.load(std::memory_order_relaxed) * 2;
  state->wide_capacity.store(doubled, std::memory_order_relaxed);
  return doubled;
}

platform::SYSTEMTIME LineTime(const LogState& state) {
  platform::SYSTEMTIME universal{};
  platform::SYSTEMTIME local{};
  const platform::TimeFunction function = state.time_function.load(std::memory_order_relaxed);
  if (function == nullptr) return local;
  platform::FILETIME now{};
  function(&now);
  SystemPort().FileTimeToSystemTime(&now, &universal);
  SystemPort().SystemTimeToTzSpecificLocalTime(&FixedTimeZone, &universal, &local);
  return local;
}

/// Gives the prefix's length.
std::size_t WritePrefix(char16_t* line, const platform::SYSTEMTIME& time) {
  FormatTo(line, kPrefixCapacity, u"[%02hd%02hd%02hd-%02hd:%02hd:%02hd.%02hd] ", time.wYear, time.wMonth, time.wDay,
           time.wHour, time.wMinute, time.wSecond, time.wMilliseconds);
  return TextLength(line);
}

std::uint32_t FormatMessage(char16_t* at, std::size_t capacity, const char16_t* format, FormatArguments arguments) {
  const std::uint32_t status = FormatArgumentsTo(at, capacity, format, arguments);
  if (status != kStatusInvalidArgument) return status;
  return FormatArgumentsTo(at, capacity, format, FormatArguments{});
}

char16_t* AllocateLine(std::uint32_t capacity) {
  return static_cast<char16_t*>(SystemPort().HeapAlloc(std::size_t{capacity} * sizeof(char16_t) + kSpareBytes));
}

/// A message that the stack line cannot hold: into heap blocks that double until it fits.
void PrintLong(LogState* state, const platform::SYSTEMTIME& time, const char16_t* format, FormatArguments arguments) {
  std::uint32_t capacity = ReadCapacity(state);
  char16_t* line = AllocateLine(capacity);
  if (line == nullptr) return;
  std::size_t prefix = WritePrefix(line, time);
  for (;;) {
    const std::uint32_t status = FormatMessage(line + prefix, capacity, format, arguments);
    if (status == kStatusOk) {
      WrapLogWrite(1, line);
      SystemPort().HeapFree(line);
      return;
    }
    if (status != kStatusInsufficientBuffer) continue;  // without a limit, with the same block
    SystemPort().HeapFree(line);
    capacity = DoubleCapacity(state);
    line = AllocateLine(capacity);
    if (line == nullptr) return;
    prefix = WritePrefix(line, time);
  }
}

void MakeFolder(const char16_t* path) {
  if (!FilesPort().PathFileExistsW(path)) FilesPort().CreateDirectoryW(path);
}

platform::HANDLE OpenLogFile(const char16_t* path, std::uint32_t disposition) {
  constexpr std::uint32_t kShareAll = platform::kFileShareRead | platform::kFileShareWrite | platform::kFileShareDelete;
  return FilesPort().CreateFileW(path, platform::kGenericAll, kShareAll, disposition, 0);
}

void AppendToFile(const char* text) {
  platform::OVERLAPPED at_the_end{};
  at_the_end.Offset = ~0u;
  at_the_end.OffsetHigh = ~0u;
  std::uint32_t written = 0;
  FilesPort().WriteFile(FileHandle(State()), text, static_cast<std::uint32_t>(TextLength(text)), &written, &at_the_end);
}

void WriteWide(const char16_t* text) {
  platform::System& system = SystemPort();
  system.OutputDebugStringW(text);
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpAcp, 0, text, -1, nullptr, 0);
  if (size == 0) return;
  const std::size_t room = static_cast<std::size_t>(size) + 1;
  char* const narrow = static_cast<char*>(system.HeapAlloc(room));
  if (narrow == nullptr) return;
  std::memset(narrow, 0, room);
  system.WideCharToMultiByte(platform::kCpAcp, 0, text, -1, narrow, size);
  AppendToFile(narrow);
  system.HeapFree(narrow);
}

}  // namespace

void WrapLogInitByGuid(std::uint32_t levelMask, const GUID* guid) {
  char16_t path[kMaxPath] = {};
  SystemPort().GetSystemDirectoryW(path, kMaxPath);
  const char16_t drive = path[0];
  CopyText(path, kMaxPath, u"Z:\\ProgramData\\KelvoVarnels");
  path[0] = drive;
  MakeFolder(path);
  PathAppendW(path, u"Log");
  MakeFolder(path);

  char16_t name[kMaxPath] = {};
  SystemPort().StringFromGUID2(*guid, name, kMaxPath);
  PathAppendW(path, name);
  const std::size_t length = TextLength(path);
  CopyText(path + length, kMaxPath - length, u".txt");
  WrapLogInit(levelMask, path);
}

void WrapLogInit(std::uint32_t levelMask, const char16_t* path) {
  LogState& state = State();
  state.wide_capacity.store(kFirstCapacity, std::memory_order_relaxed);
  state.mask.store(levelMask, std::memory_order_relaxed);
  const platform::HMODULE kernel = SystemPort().LoadLibraryW(u"kernel32.dll");
  const platform::Procedure function = SystemPort().GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime");
  state.time_function.store(reinterpret_cast<platform::TimeFunction>(function), std::memory_order_relaxed);
  if (path == nullptr) return;

  const platform::HANDLE open = FileHandle(state);
  if (open != nullptr && open != platform::kInvalidHandleValue) SystemPort().CloseHandle(open);
  platform::HANDLE file = OpenLogFile(path, platform::kOpenAlways);
  if (file != platform::kInvalidHandleValue && FilesPort().GetFileSize(file, nullptr) > kLargestFile) {
    SystemPort().CloseHandle(file);
    file = OpenLogFile(path, platform::kCreateAlways);
  }
  if (file != platform::kInvalidHandleValue) FilesPort().SetFilePointer(file, 0, nullptr, platform::kFileEnd);
  state.file.store(reinterpret_cast<std::uintptr_t>(file), std::memory_order_relaxed);
}

void WrapLogClose() {
  LogState& state = State();
  const platform::HANDLE file = FileHandle(state);
  if (file == platform::kInvalidHandleValue) return;
  SystemPort().CloseHandle(file);
  state.file.store(kNoFile, std::memory_order_relaxed);
}

void WrapLogWrite(std::uint32_t isWide, const void* text) {
  if (isWide != 0) {
    WriteWide(static_cast<const char16_t*>(text));
    return;
  }
  const char* const narrow = static_cast<const char*>(text);
  SystemPort().OutputDebugStringA(narrow);
  AppendToFile(narrow);
}

namespace log_internal {

bool Accepts(std::uint32_t level) {
  const LogState& state = State();
  return state.wide_capacity.load(std::memory_order_relaxed) != 0 &&
         (state.mask.load(std::memory_order_relaxed) & level) != 0;
}

void Print(const char16_t* format, FormatArguments arguments) {
  LogState& state = State();
  const platform::SYSTEMTIME time = LineTime(state);
  char16_t line[kStackLine];
  const std::size_t prefix = WritePrefix(line, time);
  if (StrStrW(format, u"%") == nullptr) arguments = FormatArguments{};
  const std::uint32_t status = FormatMessage(line + prefix, kShortMessageCapacity, format, arguments);
  if (status == kStatusOk) {
    WrapLogWrite(1, line);
  } else if (status == kStatusInsufficientBuffer) {
    PrintLong(&state, time, format, arguments);
  }
}

}  // namespace log_internal
}  // namespace varnel
