// The trace port: control of trace sessions and consumption of their events, with the platform's public records. Sizes
// and offsets of the records are those of 64-bit Windows. Sources: evntrace.h, evntcons.h, wmistr.h of the Windows SDK.
#pragma once

#include <cstddef>

#include "platform/types.h"

namespace varnel::platform {

struct EVENT_DESCRIPTOR {
  std::uint16_t Id;
  std::uint8_t Version;
  std::uint8_t Channel;
  std::uint8_t Level;
  std::uint8_t Opcode;
  std::uint16_t Task;
  std::uint64_t Keyword;
};
static_assert(sizeof(EVENT_DESCRIPTOR) == 16);

inline constexpr std::uint16_t kEventHeaderFlagExtendedInfo = 0x01;
inline constexpr std::uint16_t kEventHeaderFlagPrivateSession = 0x02;
inline constexpr std::uint16_t kEventHeaderFlagStringOnly = 0x04;
inline constexpr std::uint16_t kEventHeaderFlagTraceMessage = 0x08;
inline constexpr std::uint16_t kEventHeaderFlagNoCpuTime = 0x10;
inline constexpr std::uint16_t kEventHeaderFlag32BitHeader = 0x20;
inline constexpr std::uint16_t kEventHeaderFlag64BitHeader = 0x40;
inline constexpr std::uint16_t kEventHeaderFlagClassicHeader = 0x100;
inline constexpr std::uint16_t kEventHeaderFlagProcessorIndex = 0x200;

struct EVENT_HEADER {
  std::uint16_t Size;
  std::uint16_t HeaderType;
  std::uint16_t Flags;
  std::uint16_t EventProperty;
  std::uint32_t ThreadId;
  std::uint32_t ProcessId;
  std::int64_t TimeStamp;  // FILETIME, or the session clock with the raw mode
  GUID ProviderId;
  EVENT_DESCRIPTOR EventDescriptor;
  std::uint32_t KernelTime;
  std::uint32_t UserTime;
  GUID ActivityId;
};
static_assert(sizeof(EVENT_HEADER) == 80 && offsetof(EVENT_HEADER, TimeStamp) == 16 &&
              offsetof(EVENT_HEADER, EventDescriptor) == 40 && offsetof(EVENT_HEADER, ActivityId) == 64);

struct ETW_BUFFER_CONTEXT {
  std::uint16_t ProcessorIndex;
  std::uint16_t LoggerId;
};

inline constexpr std::uint16_t kExtTypeRelatedActivityId = 1;
inline constexpr std::uint16_t kExtTypeSid = 2;
inline constexpr std::uint16_t kExtTypeStackTrace64 = 6;
inline constexpr std::uint16_t kExtTypeEventSchemaTl = 11;
inline constexpr std::uint16_t kExtTypeProvTraits = 12;

struct EVENT_HEADER_EXTENDED_DATA_ITEM {
  std::uint16_t Reserved1;
  std::uint16_t ExtType;
  std::uint16_t Linkage;  // bit 0: another item follows
  std::uint16_t DataSize;
  std::uint64_t DataPtr;
};
static_assert(sizeof(EVENT_HEADER_EXTENDED_DATA_ITEM) == 16);

struct EVENT_RECORD {
  EVENT_HEADER EventHeader;
  ETW_BUFFER_CONTEXT BufferContext;
  std::uint16_t ExtendedDataCount;
  std::uint16_t UserDataLength;
  EVENT_HEADER_EXTENDED_DATA_ITEM* ExtendedData;
  void* UserData;
  void* UserContext;
};
static_assert(sizeof(EVENT_RECORD) == 112 && offsetof(EVENT_RECORD, ExtendedDataCount) == 84 &&
              offsetof(EVENT_RECORD, UserData) == 96);

struct WNODE_HEADER {
  std::uint32_t BufferSize;
  std::uint32_t ProviderId;
  std::uint64_t HistoricalContext;  // on a running session its handle
  std::int64_t TimeStamp;
  GUID Guid;
  std::uint32_t ClientContext;  // the clock: 1 performance counter, 2 system time, 3 processor cycles
  std::uint32_t Flags;
};
static_assert(sizeof(WNODE_HEADER) == 48);

inline constexpr std::uint32_t kWnodeFlagTracedGuid = 0x20000;

// LogFileMode.
inline constexpr std::uint32_t kEventTraceFileModeNone = 0;
inline constexpr std::uint32_t kEventTraceFileModeSequential = 0x1;
inline constexpr std::uint32_t kEventTraceFileModeCircular = 0x2;
inline constexpr std::uint32_t kEventTraceFileModeAppend = 0x4;
inline constexpr std::uint32_t kEventTraceFileModeNewFile = 0x8;
inline constexpr std::uint32_t kEventTraceRealTimeMode = 0x100;
inline constexpr std::uint32_t kEventTraceUseKbytesForSize = 0x2000;
inline constexpr std::uint32_t kEventTraceIndependentSessionMode = 0x08000000;
inline constexpr std::uint32_t kEventTraceNoPerProcessorBuffering = 0x10000000;

struct EVENT_TRACE_PROPERTIES {
  WNODE_HEADER Wnode;
  std::uint32_t BufferSize;  // KiB
  std::uint32_t MinimumBuffers;
  std::uint32_t MaximumBuffers;
  std::uint32_t MaximumFileSize;  // MiB, or KiB with the mode bit
  std::uint32_t LogFileMode;
  std::uint32_t FlushTimer;  // seconds; 0: none
  std::uint32_t EnableFlags;
  std::int32_t AgeLimit;
  std::uint32_t NumberOfBuffers;
  std::uint32_t FreeBuffers;
  std::uint32_t EventsLost;
  std::uint32_t BuffersWritten;
  std::uint32_t LogBuffersLost;
  std::uint32_t RealTimeBuffersLost;
  HANDLE LoggerThreadId;
  std::uint32_t LogFileNameOffset;
  std::uint32_t LoggerNameOffset;
};
static_assert(sizeof(EVENT_TRACE_PROPERTIES) == 120 && offsetof(EVENT_TRACE_PROPERTIES, LogFileMode) == 64 &&
              offsetof(EVENT_TRACE_PROPERTIES, LogFileNameOffset) == 112);

inline constexpr std::uint32_t kEventTraceControlQuery = 0;
inline constexpr std::uint32_t kEventTraceControlStop = 1;
inline constexpr std::uint32_t kEventTraceControlUpdate = 2;
inline constexpr std::uint32_t kEventTraceControlFlush = 3;

inline constexpr std::uint32_t kEventControlCodeDisableProvider = 0;
inline constexpr std::uint32_t kEventControlCodeEnableProvider = 1;
inline constexpr std::uint32_t kEventControlCodeCaptureState = 2;

struct TRACE_LOGFILE_HEADER {
  std::uint32_t BufferSize;
  std::uint32_t Version;
  std::uint32_t ProviderVersion;
  std::uint32_t NumberOfProcessors;
  std::int64_t EndTime;
  std::uint32_t TimerResolution;
  std::uint32_t MaximumFileSize;
  std::uint32_t LogFileMode;
  std::uint32_t BuffersWritten;
  std::uint32_t StartBuffers;
  std::uint32_t PointerSize;
  std::uint32_t EventsLost;
  std::uint32_t CpuSpeedInMHz;
  char16_t* LoggerName;
  char16_t* LogFileName;
  TIME_ZONE_INFORMATION TimeZone;
  std::int64_t BootTime;
  std::int64_t PerfFreq;
  std::int64_t StartTime;
  std::uint32_t ReservedFlags;
  std::uint32_t BuffersLost;
};
static_assert(sizeof(TRACE_LOGFILE_HEADER) == 280 && offsetof(TRACE_LOGFILE_HEADER, BootTime) == 248);

struct EVENT_TRACE_HEADER {
  std::uint16_t Size;
  std::uint16_t FieldTypeFlags;
  std::uint8_t Type;
  std::uint8_t Level;
  std::uint16_t Version;
  std::uint32_t ThreadId;
  std::uint32_t ProcessId;
  std::int64_t TimeStamp;
  GUID Guid;
  std::uint32_t KernelTime;
  std::uint32_t UserTime;
};
static_assert(sizeof(EVENT_TRACE_HEADER) == 48);

struct EVENT_TRACE {
  EVENT_TRACE_HEADER Header;
  std::uint32_t InstanceId;
  std::uint32_t ParentInstanceId;
  GUID ParentGuid;
  void* MofData;
  std::uint32_t MofLength;
  std::uint32_t ClientContext;
};
static_assert(sizeof(EVENT_TRACE) == 88);

struct EVENT_TRACE_LOGFILEW;
using EventRecordCallbackFunction = void (*)(EVENT_RECORD* event);
using BufferCallbackFunction = std::uint32_t (*)(EVENT_TRACE_LOGFILEW* logfile);  // 0 ends the reading

inline constexpr std::uint32_t kProcessTraceModeRealTime = 0x00000100;
inline constexpr std::uint32_t kProcessTraceModeRawTimestamp = 0x00001000;
inline constexpr std::uint32_t kProcessTraceModeEventRecord = 0x10000000;

struct EVENT_TRACE_LOGFILEW {
  const char16_t* LogFileName;
  const char16_t* LoggerName;
  std::int64_t CurrentTime;
  std::uint32_t BuffersRead;
  std::uint32_t ProcessTraceMode;
  EVENT_TRACE CurrentEvent;
  TRACE_LOGFILE_HEADER LogfileHeader;
  BufferCallbackFunction BufferCallback;
  std::uint32_t BufferSize;
  std::uint32_t Filled;
  std::uint32_t EventsLost;
  EventRecordCallbackFunction EventRecordCallback;
  std::uint32_t IsKernelTrace;
  void* Context;
};
static_assert(sizeof(EVENT_TRACE_LOGFILEW) == 448 && offsetof(EVENT_TRACE_LOGFILEW, LogfileHeader) == 120 &&
              offsetof(EVENT_TRACE_LOGFILEW, BufferCallback) == 400 &&
              offsetof(EVENT_TRACE_LOGFILEW, EventRecordCallback) == 424);

inline constexpr std::uint32_t kTraceGuidQueryList = 0;
inline constexpr std::uint32_t kTraceGuidQueryInfo = 1;

// What kTraceGuidQueryInfo answers with: one TRACE_GUID_INFO, then its instances, each one TRACE_PROVIDER_INSTANCE_INFO
// with its TRACE_ENABLE_INFO entries behind it.
struct TRACE_GUID_INFO {
  std::uint32_t InstanceCount;
  std::uint32_t Reserved;
};
static_assert(sizeof(TRACE_GUID_INFO) == 8);

struct TRACE_PROVIDER_INSTANCE_INFO {
  std::uint32_t NextOffset;  // bytes from this instance to the next; 0 in the last
  std::uint32_t EnableCount;
  std::uint32_t Pid;
  std::uint32_t Flags;
};
static_assert(sizeof(TRACE_PROVIDER_INSTANCE_INFO) == 16);

struct TRACE_ENABLE_INFO {
  std::uint32_t IsEnabled;
  std::uint8_t Level;
  std::uint8_t Reserved1;
  std::uint16_t LoggerId;
  std::uint32_t EnableProperty;
  std::uint32_t Reserved2;
  std::uint64_t MatchAnyKeyword;
  std::uint64_t MatchAllKeyword;
};
static_assert(sizeof(TRACE_ENABLE_INFO) == 32 && offsetof(TRACE_ENABLE_INFO, LoggerId) == 6);

/// All results but OpenTraceW's are Win32 error numbers, 0 for success. A session outlives the process that started it.
class Trace {
 public:
  virtual ~Trace() = default;

  /// 183 when a session of that name runs. The names stand in the block at the offsets; the block comes back filled in.
  virtual std::uint32_t StartTraceW(TRACEHANDLE* session, const char16_t* name, EVENT_TRACE_PROPERTIES* properties) = 0;
  /// By handle, or with handle 0 by name. `properties` may be null for a stop. A query fills in the log file name even
  /// where no offset was given for it and answers 234 when the texts do not fit. 4201: no such session.
  virtual std::uint32_t ControlTraceW(TRACEHANDLE session, const char16_t* name, EVENT_TRACE_PROPERTIES* properties,
                                      std::uint32_t control) = 0;
  virtual std::uint32_t EnableTraceEx2(TRACEHANDLE session, const GUID* provider, std::uint32_t control_code,
                                       std::uint8_t level, std::uint64_t match_any_keyword,
                                       std::uint64_t match_all_keyword, std::uint32_t timeout_ms,
                                       const void* enable_parameters) = 0;
  /// `information_class` 0 lists GUIDs, 1 tells of one GUID which sessions enabled it. 122 with the size needed.
  virtual std::uint32_t EnumerateTraceGuidsEx(std::uint32_t information_class, const void* in, std::uint32_t in_size,
                                              void* out, std::uint32_t out_size, std::uint32_t* needed) = 0;

  /// A handle for one session or file, or all ones (last error set). The names and callbacks are copied.
  virtual TRACEHANDLE OpenTraceW(EVENT_TRACE_LOGFILEW* logfile) = 0;
  /// Calls back on the calling thread until the source ends. 0; 1223 after a buffer callback said no; 0 after
  /// CloseTrace; 6 on a bad handle; 4201 when the session goes. No time window: the two times are null.
  virtual std::uint32_t ProcessTrace(const TRACEHANDLE* traces, std::uint32_t count, const FILETIME* start,
                                     const FILETIME* end) = 0;
  /// Ends a ProcessTrace under way on another thread, at its next buffer at the latest.
  virtual std::uint32_t CloseTrace(TRACEHANDLE trace) = 0;
};

}  // namespace varnel::platform
