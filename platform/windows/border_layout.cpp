// Asserts, field by field, that the ports' records are the system's own: what crosses the border is looked at under
// both names, so that a difference would be silent.
#include <cstddef>

#include "platform/crypto.h"
#include "platform/eventlog.h"
#include "platform/files.h"
#include "platform/registry.h"
#include "platform/system.h"
#include "platform/tdh.h"
#include "platform/threads.h"
#include "platform/trace.h"
#include "platform/windows/etw_headers.h"
// After the system's own header.
#include <wincrypt.h>
#include <winevt.h>

namespace varnel::windows {
namespace {

#define SAME_SIZE(record) \
  static_assert(sizeof(platform::record) == sizeof(::record) && alignof(platform::record) == alignof(::record))
#define SAME_PLACE(record, field, theirs)                                          \
  static_assert(offsetof(platform::record, field) == offsetof(::record, theirs) && \
                sizeof(platform::record::field) == sizeof(static_cast<::record*>(nullptr)->theirs))

SAME_SIZE(FILETIME);
SAME_PLACE(FILETIME, dwLowDateTime, dwLowDateTime);
SAME_PLACE(FILETIME, dwHighDateTime, dwHighDateTime);

SAME_SIZE(SYSTEMTIME);
SAME_PLACE(SYSTEMTIME, wYear, wYear);
SAME_PLACE(SYSTEMTIME, wMonth, wMonth);
SAME_PLACE(SYSTEMTIME, wDayOfWeek, wDayOfWeek);
SAME_PLACE(SYSTEMTIME, wDay, wDay);
SAME_PLACE(SYSTEMTIME, wHour, wHour);
SAME_PLACE(SYSTEMTIME, wMinute, wMinute);
SAME_PLACE(SYSTEMTIME, wSecond, wSecond);
SAME_PLACE(SYSTEMTIME, wMilliseconds, wMilliseconds);

SAME_SIZE(TIME_ZONE_INFORMATION);
SAME_PLACE(TIME_ZONE_INFORMATION, Bias, Bias);
SAME_PLACE(TIME_ZONE_INFORMATION, StandardName, StandardName);
SAME_PLACE(TIME_ZONE_INFORMATION, StandardDate, StandardDate);
SAME_PLACE(TIME_ZONE_INFORMATION, StandardBias, StandardBias);
SAME_PLACE(TIME_ZONE_INFORMATION, DaylightName, DaylightName);
SAME_PLACE(TIME_ZONE_INFORMATION, DaylightDate, DaylightDate);
SAME_PLACE(TIME_ZONE_INFORMATION, DaylightBias, DaylightBias);

SAME_SIZE(OVERLAPPED);
SAME_PLACE(OVERLAPPED, Internal, Internal);
SAME_PLACE(OVERLAPPED, InternalHigh, InternalHigh);
SAME_PLACE(OVERLAPPED, Offset, Offset);
SAME_PLACE(OVERLAPPED, OffsetHigh, OffsetHigh);
SAME_PLACE(OVERLAPPED, hEvent, hEvent);

SAME_SIZE(WIN32_FIND_DATAW);
SAME_PLACE(WIN32_FIND_DATAW, dwFileAttributes, dwFileAttributes);
SAME_PLACE(WIN32_FIND_DATAW, ftCreationTime, ftCreationTime);
SAME_PLACE(WIN32_FIND_DATAW, ftLastAccessTime, ftLastAccessTime);
SAME_PLACE(WIN32_FIND_DATAW, ftLastWriteTime, ftLastWriteTime);
SAME_PLACE(WIN32_FIND_DATAW, nFileSizeHigh, nFileSizeHigh);
SAME_PLACE(WIN32_FIND_DATAW, nFileSizeLow, nFileSizeLow);
SAME_PLACE(WIN32_FIND_DATAW, dwReserved0, dwReserved0);
SAME_PLACE(WIN32_FIND_DATAW, dwReserved1, dwReserved1);
SAME_PLACE(WIN32_FIND_DATAW, cFileName, cFileName);
SAME_PLACE(WIN32_FIND_DATAW, cAlternateFileName, cAlternateFileName);

SAME_SIZE(WIN32_FILE_ATTRIBUTE_DATA);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, dwFileAttributes, dwFileAttributes);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, ftCreationTime, ftCreationTime);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, ftLastAccessTime, ftLastAccessTime);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, ftLastWriteTime, ftLastWriteTime);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, nFileSizeHigh, nFileSizeHigh);
SAME_PLACE(WIN32_FILE_ATTRIBUTE_DATA, nFileSizeLow, nFileSizeLow);

SAME_SIZE(EVENT_DESCRIPTOR);
SAME_PLACE(EVENT_DESCRIPTOR, Id, Id);
SAME_PLACE(EVENT_DESCRIPTOR, Version, Version);
SAME_PLACE(EVENT_DESCRIPTOR, Channel, Channel);
SAME_PLACE(EVENT_DESCRIPTOR, Level, Level);
SAME_PLACE(EVENT_DESCRIPTOR, Opcode, Opcode);
SAME_PLACE(EVENT_DESCRIPTOR, Task, Task);
SAME_PLACE(EVENT_DESCRIPTOR, Keyword, Keyword);

SAME_SIZE(EVENT_HEADER);
SAME_PLACE(EVENT_HEADER, Size, Size);
SAME_PLACE(EVENT_HEADER, HeaderType, HeaderType);
SAME_PLACE(EVENT_HEADER, Flags, Flags);
SAME_PLACE(EVENT_HEADER, EventProperty, EventProperty);
SAME_PLACE(EVENT_HEADER, ThreadId, ThreadId);
SAME_PLACE(EVENT_HEADER, ProcessId, ProcessId);
SAME_PLACE(EVENT_HEADER, TimeStamp, TimeStamp);
SAME_PLACE(EVENT_HEADER, ProviderId, ProviderId);
SAME_PLACE(EVENT_HEADER, EventDescriptor, EventDescriptor);
SAME_PLACE(EVENT_HEADER, KernelTime, KernelTime);
SAME_PLACE(EVENT_HEADER, UserTime, UserTime);
SAME_PLACE(EVENT_HEADER, ActivityId, ActivityId);

SAME_SIZE(ETW_BUFFER_CONTEXT);
// The index is two bytes wide since Windows 8; these headers have its older half, a number and a byte of padding.
static_assert(offsetof(platform::ETW_BUFFER_CONTEXT, ProcessorIndex) ==
              offsetof(::ETW_BUFFER_CONTEXT, ProcessorNumber));
SAME_PLACE(ETW_BUFFER_CONTEXT, LoggerId, LoggerId);

SAME_SIZE(EVENT_HEADER_EXTENDED_DATA_ITEM);
SAME_PLACE(EVENT_HEADER_EXTENDED_DATA_ITEM, Reserved1, Reserved1);
SAME_PLACE(EVENT_HEADER_EXTENDED_DATA_ITEM, ExtType, ExtType);
SAME_PLACE(EVENT_HEADER_EXTENDED_DATA_ITEM, DataSize, DataSize);
SAME_PLACE(EVENT_HEADER_EXTENDED_DATA_ITEM, DataPtr, DataPtr);

SAME_SIZE(EVENT_RECORD);
SAME_PLACE(EVENT_RECORD, EventHeader, EventHeader);
SAME_PLACE(EVENT_RECORD, BufferContext, BufferContext);
SAME_PLACE(EVENT_RECORD, ExtendedDataCount, ExtendedDataCount);
SAME_PLACE(EVENT_RECORD, UserDataLength, UserDataLength);
SAME_PLACE(EVENT_RECORD, ExtendedData, ExtendedData);
SAME_PLACE(EVENT_RECORD, UserData, UserData);
SAME_PLACE(EVENT_RECORD, UserContext, UserContext);

SAME_SIZE(WNODE_HEADER);
SAME_PLACE(WNODE_HEADER, BufferSize, BufferSize);
SAME_PLACE(WNODE_HEADER, ProviderId, ProviderId);
SAME_PLACE(WNODE_HEADER, HistoricalContext, HistoricalContext);
SAME_PLACE(WNODE_HEADER, TimeStamp, TimeStamp);
SAME_PLACE(WNODE_HEADER, Guid, Guid);
SAME_PLACE(WNODE_HEADER, ClientContext, ClientContext);
SAME_PLACE(WNODE_HEADER, Flags, Flags);

SAME_SIZE(EVENT_TRACE_PROPERTIES);
SAME_PLACE(EVENT_TRACE_PROPERTIES, Wnode, Wnode);
SAME_PLACE(EVENT_TRACE_PROPERTIES, BufferSize, BufferSize);
SAME_PLACE(EVENT_TRACE_PROPERTIES, MinimumBuffers, MinimumBuffers);
SAME_PLACE(EVENT_TRACE_PROPERTIES, MaximumBuffers, MaximumBuffers);
SAME_PLACE(EVENT_TRACE_PROPERTIES, MaximumFileSize, MaximumFileSize);
SAME_PLACE(EVENT_TRACE_PROPERTIES, LogFileMode, LogFileMode);
SAME_PLACE(EVENT_TRACE_PROPERTIES, FlushTimer, FlushTimer);
SAME_PLACE(EVENT_TRACE_PROPERTIES, EnableFlags, EnableFlags);
SAME_PLACE(EVENT_TRACE_PROPERTIES, AgeLimit, AgeLimit);
SAME_PLACE(EVENT_TRACE_PROPERTIES, NumberOfBuffers, NumberOfBuffers);
SAME_PLACE(EVENT_TRACE_PROPERTIES, FreeBuffers, FreeBuffers);
SAME_PLACE(EVENT_TRACE_PROPERTIES, EventsLost, EventsLost);
SAME_PLACE(EVENT_TRACE_PROPERTIES, BuffersWritten, BuffersWritten);
SAME_PLACE(EVENT_TRACE_PROPERTIES, LogBuffersLost, LogBuffersLost);
SAME_PLACE(EVENT_TRACE_PROPERTIES, RealTimeBuffersLost, RealTimeBuffersLost);
SAME_PLACE(EVENT_TRACE_PROPERTIES, LoggerThreadId, LoggerThreadId);
SAME_PLACE(EVENT_TRACE_PROPERTIES, LogFileNameOffset, LogFileNameOffset);
SAME_PLACE(EVENT_TRACE_PROPERTIES, LoggerNameOffset, LoggerNameOffset);

SAME_SIZE(TRACE_LOGFILE_HEADER);
SAME_PLACE(TRACE_LOGFILE_HEADER, BufferSize, BufferSize);
SAME_PLACE(TRACE_LOGFILE_HEADER, Version, Version);
SAME_PLACE(TRACE_LOGFILE_HEADER, ProviderVersion, ProviderVersion);
SAME_PLACE(TRACE_LOGFILE_HEADER, NumberOfProcessors, NumberOfProcessors);
SAME_PLACE(TRACE_LOGFILE_HEADER, EndTime, EndTime);
SAME_PLACE(TRACE_LOGFILE_HEADER, TimerResolution, TimerResolution);
SAME_PLACE(TRACE_LOGFILE_HEADER, MaximumFileSize, MaximumFileSize);
SAME_PLACE(TRACE_LOGFILE_HEADER, LogFileMode, LogFileMode);
SAME_PLACE(TRACE_LOGFILE_HEADER, BuffersWritten, BuffersWritten);
SAME_PLACE(TRACE_LOGFILE_HEADER, StartBuffers, StartBuffers);
SAME_PLACE(TRACE_LOGFILE_HEADER, PointerSize, PointerSize);
SAME_PLACE(TRACE_LOGFILE_HEADER, EventsLost, EventsLost);
SAME_PLACE(TRACE_LOGFILE_HEADER, CpuSpeedInMHz, CpuSpeedInMHz);
SAME_PLACE(TRACE_LOGFILE_HEADER, LoggerName, LoggerName);
SAME_PLACE(TRACE_LOGFILE_HEADER, LogFileName, LogFileName);
SAME_PLACE(TRACE_LOGFILE_HEADER, TimeZone, TimeZone);
SAME_PLACE(TRACE_LOGFILE_HEADER, BootTime, BootTime);
SAME_PLACE(TRACE_LOGFILE_HEADER, PerfFreq, PerfFreq);
SAME_PLACE(TRACE_LOGFILE_HEADER, StartTime, StartTime);
SAME_PLACE(TRACE_LOGFILE_HEADER, ReservedFlags, ReservedFlags);
SAME_PLACE(TRACE_LOGFILE_HEADER, BuffersLost, BuffersLost);

SAME_SIZE(TRACE_GUID_INFO);
SAME_PLACE(TRACE_GUID_INFO, InstanceCount, InstanceCount);
SAME_PLACE(TRACE_GUID_INFO, Reserved, Reserved);

SAME_SIZE(TRACE_PROVIDER_INSTANCE_INFO);
SAME_PLACE(TRACE_PROVIDER_INSTANCE_INFO, NextOffset, NextOffset);
SAME_PLACE(TRACE_PROVIDER_INSTANCE_INFO, EnableCount, EnableCount);
SAME_PLACE(TRACE_PROVIDER_INSTANCE_INFO, Pid, Pid);
SAME_PLACE(TRACE_PROVIDER_INSTANCE_INFO, Flags, Flags);

SAME_SIZE(TRACE_ENABLE_INFO);
SAME_PLACE(TRACE_ENABLE_INFO, IsEnabled, IsEnabled);
SAME_PLACE(TRACE_ENABLE_INFO, Level, Level);
SAME_PLACE(TRACE_ENABLE_INFO, Reserved1, Reserved1);
SAME_PLACE(TRACE_ENABLE_INFO, LoggerId, LoggerId);
SAME_PLACE(TRACE_ENABLE_INFO, EnableProperty, EnableProperty);
SAME_PLACE(TRACE_ENABLE_INFO, Reserved2, Reserved2);
SAME_PLACE(TRACE_ENABLE_INFO, MatchAnyKeyword, MatchAnyKeyword);
SAME_PLACE(TRACE_ENABLE_INFO, MatchAllKeyword, MatchAllKeyword);

SAME_SIZE(EVENT_TRACE_HEADER);
SAME_PLACE(EVENT_TRACE_HEADER, Size, Size);
SAME_PLACE(EVENT_TRACE_HEADER, FieldTypeFlags, FieldTypeFlags);
SAME_PLACE(EVENT_TRACE_HEADER, Type, Class.Type);
SAME_PLACE(EVENT_TRACE_HEADER, Level, Class.Level);
SAME_PLACE(EVENT_TRACE_HEADER, Version, Class.Version);
SAME_PLACE(EVENT_TRACE_HEADER, ThreadId, ThreadId);
SAME_PLACE(EVENT_TRACE_HEADER, ProcessId, ProcessId);
SAME_PLACE(EVENT_TRACE_HEADER, TimeStamp, TimeStamp);
SAME_PLACE(EVENT_TRACE_HEADER, Guid, Guid);
SAME_PLACE(EVENT_TRACE_HEADER, KernelTime, KernelTime);
SAME_PLACE(EVENT_TRACE_HEADER, UserTime, UserTime);

SAME_SIZE(EVENT_TRACE);
SAME_PLACE(EVENT_TRACE, Header, Header);
SAME_PLACE(EVENT_TRACE, InstanceId, InstanceId);
SAME_PLACE(EVENT_TRACE, ParentInstanceId, ParentInstanceId);
SAME_PLACE(EVENT_TRACE, ParentGuid, ParentGuid);
SAME_PLACE(EVENT_TRACE, MofData, MofData);
SAME_PLACE(EVENT_TRACE, MofLength, MofLength);
SAME_PLACE(EVENT_TRACE, ClientContext, ClientContext);

SAME_SIZE(EVENT_TRACE_LOGFILEW);
SAME_PLACE(EVENT_TRACE_LOGFILEW, LogFileName, LogFileName);
SAME_PLACE(EVENT_TRACE_LOGFILEW, LoggerName, LoggerName);
SAME_PLACE(EVENT_TRACE_LOGFILEW, CurrentTime, CurrentTime);
SAME_PLACE(EVENT_TRACE_LOGFILEW, BuffersRead, BuffersRead);
SAME_PLACE(EVENT_TRACE_LOGFILEW, ProcessTraceMode, ProcessTraceMode);
SAME_PLACE(EVENT_TRACE_LOGFILEW, CurrentEvent, CurrentEvent);
SAME_PLACE(EVENT_TRACE_LOGFILEW, LogfileHeader, LogfileHeader);
SAME_PLACE(EVENT_TRACE_LOGFILEW, BufferCallback, BufferCallback);
SAME_PLACE(EVENT_TRACE_LOGFILEW, BufferSize, BufferSize);
SAME_PLACE(EVENT_TRACE_LOGFILEW, Filled, Filled);
SAME_PLACE(EVENT_TRACE_LOGFILEW, EventsLost, EventsLost);
SAME_PLACE(EVENT_TRACE_LOGFILEW, EventRecordCallback, EventRecordCallback);
SAME_PLACE(EVENT_TRACE_LOGFILEW, IsKernelTrace, IsKernelTrace);
SAME_PLACE(EVENT_TRACE_LOGFILEW, Context, Context);

SAME_SIZE(EVENT_PROPERTY_INFO);
SAME_PLACE(EVENT_PROPERTY_INFO, Flags, Flags);
SAME_PLACE(EVENT_PROPERTY_INFO, NameOffset, NameOffset);
SAME_PLACE(EVENT_PROPERTY_INFO, InType, nonStructType.InType);
SAME_PLACE(EVENT_PROPERTY_INFO, OutType, nonStructType.OutType);
SAME_PLACE(EVENT_PROPERTY_INFO, MapNameOffset, nonStructType.MapNameOffset);
SAME_PLACE(EVENT_PROPERTY_INFO, Count, count);
SAME_PLACE(EVENT_PROPERTY_INFO, Length, length);
SAME_PLACE(EVENT_PROPERTY_INFO, Reserved, Reserved);

SAME_SIZE(TRACE_EVENT_INFO);
SAME_PLACE(TRACE_EVENT_INFO, ProviderGuid, ProviderGuid);
SAME_PLACE(TRACE_EVENT_INFO, EventGuid, EventGuid);
SAME_PLACE(TRACE_EVENT_INFO, EventDescriptor, EventDescriptor);
SAME_PLACE(TRACE_EVENT_INFO, DecodingSource, DecodingSource);
SAME_PLACE(TRACE_EVENT_INFO, ProviderNameOffset, ProviderNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, LevelNameOffset, LevelNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, ChannelNameOffset, ChannelNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, KeywordsNameOffset, KeywordsNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, TaskNameOffset, TaskNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, OpcodeNameOffset, OpcodeNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, EventMessageOffset, EventMessageOffset);
SAME_PLACE(TRACE_EVENT_INFO, ProviderMessageOffset, ProviderMessageOffset);
SAME_PLACE(TRACE_EVENT_INFO, BinaryXmlOffset, BinaryXMLOffset);
SAME_PLACE(TRACE_EVENT_INFO, BinaryXmlSize, BinaryXMLSize);
SAME_PLACE(TRACE_EVENT_INFO, EventNameOffset, ActivityIDNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, RelatedActivityIdNameOffset, RelatedActivityIDNameOffset);
SAME_PLACE(TRACE_EVENT_INFO, PropertyCount, PropertyCount);
SAME_PLACE(TRACE_EVENT_INFO, TopLevelPropertyCount, TopLevelPropertyCount);
SAME_PLACE(TRACE_EVENT_INFO, Flags, Flags);
SAME_PLACE(TRACE_EVENT_INFO, EventPropertyInfoArray, EventPropertyInfoArray);

SAME_SIZE(PROPERTY_DATA_DESCRIPTOR);
SAME_PLACE(PROPERTY_DATA_DESCRIPTOR, PropertyName, PropertyName);
SAME_PLACE(PROPERTY_DATA_DESCRIPTOR, ArrayIndex, ArrayIndex);
SAME_PLACE(PROPERTY_DATA_DESCRIPTOR, Reserved, Reserved);

#undef SAME_PLACE
#undef SAME_SIZE

// Numbers that the ports give names of their own, since the system's are macros.
template <auto Ours, auto Theirs>
constexpr bool Same() {
  return static_cast<std::uint32_t>(Ours) == static_cast<std::uint32_t>(Theirs);
}
static_assert(Same<platform::kInvalidFileAttributes, INVALID_FILE_ATTRIBUTES>());
static_assert(Same<platform::kInvalidFileSize, INVALID_FILE_SIZE>());
static_assert(Same<platform::kGenericRead, GENERIC_READ>());
static_assert(Same<platform::kGenericWrite, GENERIC_WRITE>());
static_assert(Same<platform::kGenericAll, GENERIC_ALL>());
static_assert(Same<platform::kFileShareRead, FILE_SHARE_READ>());
static_assert(Same<platform::kFileShareWrite, FILE_SHARE_WRITE>());
static_assert(Same<platform::kFileShareDelete, FILE_SHARE_DELETE>());
static_assert(Same<platform::kCreateNew, CREATE_NEW>());
static_assert(Same<platform::kCreateAlways, CREATE_ALWAYS>());
static_assert(Same<platform::kOpenExisting, OPEN_EXISTING>());
static_assert(Same<platform::kOpenAlways, OPEN_ALWAYS>());
static_assert(Same<platform::kTruncateExisting, TRUNCATE_EXISTING>());
static_assert(Same<platform::kFileFlagSequentialScan, FILE_FLAG_SEQUENTIAL_SCAN>());
static_assert(Same<platform::kFileAttributeReadonly, FILE_ATTRIBUTE_READONLY>());
static_assert(Same<platform::kFileAttributeDirectory, FILE_ATTRIBUTE_DIRECTORY>());
static_assert(Same<platform::kFileAttributeArchive, FILE_ATTRIBUTE_ARCHIVE>());
static_assert(Same<platform::kFileAttributeNormal, FILE_ATTRIBUTE_NORMAL>());
static_assert(Same<platform::kMoveFileReplaceExisting, MOVEFILE_REPLACE_EXISTING>());
static_assert(Same<platform::kMoveFileDelayUntilReboot, MOVEFILE_DELAY_UNTIL_REBOOT>());
static_assert(Same<platform::kFileBegin, FILE_BEGIN>());
static_assert(Same<platform::kFileCurrent, FILE_CURRENT>());
static_assert(Same<platform::kFileEnd, FILE_END>());
static_assert(Same<platform::kKeyQueryValue, KEY_QUERY_VALUE>());
static_assert(Same<platform::kKeySetValue, KEY_SET_VALUE>());
static_assert(Same<platform::kKeyCreateSubKey, KEY_CREATE_SUB_KEY>());
static_assert(Same<platform::kKeyEnumerateSubKeys, KEY_ENUMERATE_SUB_KEYS>());
static_assert(Same<platform::kDelete, DELETE>());
static_assert(Same<platform::kKeyRead, KEY_READ>());
static_assert(Same<platform::kKeyWrite, KEY_WRITE>());
static_assert(Same<platform::kRegNone, REG_NONE>());
static_assert(Same<platform::kRegSz, REG_SZ>());
static_assert(Same<platform::kRegExpandSz, REG_EXPAND_SZ>());
static_assert(Same<platform::kRegBinary, REG_BINARY>());
static_assert(Same<platform::kRegDword, REG_DWORD>());
static_assert(Same<platform::kRegMultiSz, REG_MULTI_SZ>());
static_assert(Same<platform::kRegQword, REG_QWORD>());
static_assert(Same<platform::kRegOptionNonVolatile, REG_OPTION_NON_VOLATILE>());
static_assert(Same<platform::kRegOptionVolatile, REG_OPTION_VOLATILE>());
static_assert(Same<platform::kRegCreatedNewKey, REG_CREATED_NEW_KEY>());
static_assert(Same<platform::kRegOpenedExistingKey, REG_OPENED_EXISTING_KEY>());
static_assert(Same<platform::kInfinite, INFINITE>());
static_assert(Same<platform::kWaitObject0, WAIT_OBJECT_0>());
static_assert(Same<platform::kWaitFailed, WAIT_FAILED>());
static_assert(Same<platform::kStillActive, STILL_ACTIVE>());
static_assert(Same<platform::kProvRsaFull, PROV_RSA_FULL>());
static_assert(Same<platform::kCryptVerifyContext, CRYPT_VERIFYCONTEXT>());
static_assert(Same<platform::kCalgMd5, CALG_MD5>());
static_assert(Same<platform::kHpHashVal, HP_HASHVAL>());
static_assert(Same<platform::kProcessTraceModeRealTime, PROCESS_TRACE_MODE_REAL_TIME>());
static_assert(Same<platform::kProcessTraceModeRawTimestamp, PROCESS_TRACE_MODE_RAW_TIMESTAMP>());
static_assert(Same<platform::kProcessTraceModeEventRecord, PROCESS_TRACE_MODE_EVENT_RECORD>());
static_assert(Same<platform::kEventTraceControlQuery, EVENT_TRACE_CONTROL_QUERY>());
static_assert(Same<platform::kEventTraceControlStop, EVENT_TRACE_CONTROL_STOP>());
static_assert(Same<platform::kEventTraceControlUpdate, EVENT_TRACE_CONTROL_UPDATE>());
static_assert(Same<platform::kEventTraceControlFlush, EVENT_TRACE_CONTROL_FLUSH>());
static_assert(Same<platform::kEventControlCodeDisableProvider, EVENT_CONTROL_CODE_DISABLE_PROVIDER>());
static_assert(Same<platform::kEventControlCodeEnableProvider, EVENT_CONTROL_CODE_ENABLE_PROVIDER>());
static_assert(Same<platform::kEventControlCodeCaptureState, EVENT_CONTROL_CODE_CAPTURE_STATE>());
static_assert(Same<platform::kEventTraceFileModeNone, EVENT_TRACE_FILE_MODE_NONE>());
static_assert(Same<platform::kEventTraceFileModeSequential, EVENT_TRACE_FILE_MODE_SEQUENTIAL>());
static_assert(Same<platform::kEventTraceFileModeCircular, EVENT_TRACE_FILE_MODE_CIRCULAR>());
static_assert(Same<platform::kEventTraceFileModeAppend, EVENT_TRACE_FILE_MODE_APPEND>());
static_assert(Same<platform::kEventTraceFileModeNewFile, EVENT_TRACE_FILE_MODE_NEWFILE>());
static_assert(Same<platform::kEventTraceRealTimeMode, EVENT_TRACE_REAL_TIME_MODE>());
static_assert(Same<platform::kEventTraceUseKbytesForSize, EVENT_TRACE_USE_KBYTES_FOR_SIZE>());
static_assert(Same<platform::kEventTraceIndependentSessionMode, EVENT_TRACE_INDEPENDENT_SESSION_MODE>());
static_assert(Same<platform::kEventTraceNoPerProcessorBuffering, EVENT_TRACE_NO_PER_PROCESSOR_BUFFERING>());
static_assert(Same<platform::kWnodeFlagTracedGuid, WNODE_FLAG_TRACED_GUID>());
static_assert(Same<platform::kTraceGuidQueryList, TraceGuidQueryList>());
static_assert(Same<platform::kTraceGuidQueryInfo, TraceGuidQueryInfo>());
static_assert(Same<platform::kEventHeaderFlagExtendedInfo, EVENT_HEADER_FLAG_EXTENDED_INFO>());
static_assert(Same<platform::kEventHeaderFlagPrivateSession, EVENT_HEADER_FLAG_PRIVATE_SESSION>());
static_assert(Same<platform::kEventHeaderFlagStringOnly, EVENT_HEADER_FLAG_STRING_ONLY>());
static_assert(Same<platform::kEventHeaderFlagTraceMessage, EVENT_HEADER_FLAG_TRACE_MESSAGE>());
static_assert(Same<platform::kEventHeaderFlagNoCpuTime, EVENT_HEADER_FLAG_NO_CPUTIME>());
static_assert(Same<platform::kEventHeaderFlag32BitHeader, EVENT_HEADER_FLAG_32_BIT_HEADER>());
static_assert(Same<platform::kEventHeaderFlag64BitHeader, EVENT_HEADER_FLAG_64_BIT_HEADER>());
static_assert(Same<platform::kEventHeaderFlagClassicHeader, EVENT_HEADER_FLAG_CLASSIC_HEADER>());
static_assert(Same<platform::kPropertyStruct, PropertyStruct>());
static_assert(Same<platform::kPropertyParamLength, PropertyParamLength>());
static_assert(Same<platform::kPropertyParamCount, PropertyParamCount>());
static_assert(Same<platform::kExtTypeRelatedActivityId, EVENT_HEADER_EXT_TYPE_RELATED_ACTIVITYID>());
static_assert(Same<platform::kExtTypeSid, EVENT_HEADER_EXT_TYPE_SID>());
static_assert(Same<platform::kErrorSuccess, ERROR_SUCCESS>());
static_assert(Same<platform::kErrorFileNotFound, ERROR_FILE_NOT_FOUND>());
static_assert(Same<platform::kErrorPathNotFound, ERROR_PATH_NOT_FOUND>());
static_assert(Same<platform::kErrorAccessDenied, ERROR_ACCESS_DENIED>());
static_assert(Same<platform::kErrorInvalidHandle, ERROR_INVALID_HANDLE>());
static_assert(Same<platform::kErrorNotEnoughMemory, ERROR_NOT_ENOUGH_MEMORY>());
static_assert(Same<platform::kErrorBadFormat, ERROR_BAD_FORMAT>());
static_assert(Same<platform::kErrorInvalidData, ERROR_INVALID_DATA>());
static_assert(Same<platform::kErrorOutOfMemory, ERROR_OUTOFMEMORY>());
static_assert(Same<platform::kErrorNoMoreFiles, ERROR_NO_MORE_FILES>());
static_assert(Same<platform::kErrorBadLength, ERROR_BAD_LENGTH>());
static_assert(Same<platform::kErrorGenFailure, ERROR_GEN_FAILURE>());
static_assert(Same<platform::kErrorSharingViolation, ERROR_SHARING_VIOLATION>());
static_assert(Same<platform::kErrorHandleEof, ERROR_HANDLE_EOF>());
static_assert(Same<platform::kErrorNotSupported, ERROR_NOT_SUPPORTED>());
static_assert(Same<platform::kErrorFileExists, ERROR_FILE_EXISTS>());
static_assert(Same<platform::kErrorInvalidParameter, ERROR_INVALID_PARAMETER>());
static_assert(Same<platform::kErrorDiskFull, ERROR_DISK_FULL>());
static_assert(Same<platform::kErrorInsufficientBuffer, ERROR_INSUFFICIENT_BUFFER>());
static_assert(Same<platform::kErrorInvalidName, ERROR_INVALID_NAME>());
static_assert(Same<platform::kErrorModNotFound, ERROR_MOD_NOT_FOUND>());
static_assert(Same<platform::kErrorProcNotFound, ERROR_PROC_NOT_FOUND>());
static_assert(Same<platform::kErrorDirNotEmpty, ERROR_DIR_NOT_EMPTY>());
static_assert(Same<platform::kErrorBadPathname, ERROR_BAD_PATHNAME>());
static_assert(Same<platform::kErrorAlreadyExists, ERROR_ALREADY_EXISTS>());
static_assert(Same<platform::kErrorMoreData, ERROR_MORE_DATA>());
static_assert(Same<platform::kErrorNoMoreItems, ERROR_NO_MORE_ITEMS>());
static_assert(Same<platform::kErrorDirectory, ERROR_DIRECTORY>());
static_assert(Same<platform::kErrorNoAccess, ERROR_NOACCESS>());
static_assert(Same<platform::kErrorRegistryCorrupt, ERROR_REGISTRY_CORRUPT>());
static_assert(Same<platform::kErrorRegistryIoFailed, ERROR_REGISTRY_IO_FAILED>());
static_assert(Same<platform::kErrorKeyDeleted, ERROR_KEY_DELETED>());
static_assert(Same<platform::kErrorChildMustBeVolatile, ERROR_CHILD_MUST_BE_VOLATILE>());
static_assert(Same<platform::kErrorNoUnicodeTranslation, ERROR_NO_UNICODE_TRANSLATION>());
static_assert(Same<platform::kErrorNotFound, ERROR_NOT_FOUND>());
static_assert(Same<platform::kErrorCancelled, ERROR_CANCELLED>());
static_assert(Same<platform::kErrorNoSystemResources, ERROR_NO_SYSTEM_RESOURCES>());
static_assert(Same<platform::kErrorXmlParseError, ERROR_XML_PARSE_ERROR>());
static_assert(Same<platform::kErrorWmiInstanceNotFound, ERROR_WMI_INSTANCE_NOT_FOUND>());
static_assert(Same<platform::kErrorCtxClosePending, ERROR_CTX_CLOSE_PENDING>());
static_assert(Same<platform::kErrorEvtInvalidEventData, ERROR_EVT_INVALID_EVENT_DATA>());
static_assert(Same<platform::kErrorTimeout, ERROR_TIMEOUT>());
static_assert(Same<platform::kErrorEvtInvalidQuery, ERROR_EVT_INVALID_QUERY>());
static_assert(Same<platform::kErrorEvtChannelNotFound, ERROR_EVT_CHANNEL_NOT_FOUND>());
static_assert(Same<platform::kTokenQuery, TOKEN_QUERY>());
static_assert(Same<platform::kTokenElevation, TokenElevation>());
static_assert(Same<platform::kCpAcp, CP_ACP>());
static_assert(Same<platform::kCpUtf8, CP_UTF8>());
static_assert(Same<platform::kEvtQueryChannelPath, EvtQueryChannelPath>());
static_assert(Same<platform::kEvtQueryFilePath, EvtQueryFilePath>());
static_assert(Same<platform::kEvtQueryForwardDirection, EvtQueryForwardDirection>());
static_assert(Same<platform::kEvtQueryReverseDirection, EvtQueryReverseDirection>());
static_assert(Same<platform::kEvtQueryTolerateQueryErrors, EvtQueryTolerateQueryErrors>());
static_assert(Same<platform::kEvtRenderEventValues, EvtRenderEventValues>());
static_assert(Same<platform::kEvtRenderEventXml, EvtRenderEventXml>());
static_assert(Same<platform::kEvtRenderBookmark, EvtRenderBookmark>());
static_assert(Same<platform::kWaitTimeout, WAIT_TIMEOUT>());

}  // namespace
}  // namespace varnel::windows
