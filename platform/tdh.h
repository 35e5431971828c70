// The Trace Data Helper port: from an event record to its schema and property values. Public records of tdh.h of the
// Windows SDK. Results are Win32 error numbers. Any thread may call; loaded manifests are the process's.
#pragma once

#include <cstddef>

#include "platform/trace.h"

namespace varnel::platform {

// EVENT_PROPERTY_INFO::Flags.
inline constexpr std::uint32_t kPropertyStruct = 0x1;
inline constexpr std::uint32_t kPropertyParamLength = 0x2;
inline constexpr std::uint32_t kPropertyParamCount = 0x4;
inline constexpr std::uint32_t kPropertyParamFixedLength = 0x10;
inline constexpr std::uint32_t kPropertyParamFixedCount = 0x20;

struct EVENT_PROPERTY_INFO {
  std::uint32_t Flags;
  std::uint32_t NameOffset;  // bytes from the start of TRACE_EVENT_INFO to NUL-terminated UTF-16
  std::uint16_t InType;      // or, of a structure, StructStartIndex
  std::uint16_t OutType;     // or NumOfStructMembers
  std::uint32_t MapNameOffset;
  std::uint16_t Count;   // or the index of the property that holds it
  std::uint16_t Length;  // likewise
  std::uint32_t Reserved;
};
static_assert(sizeof(EVENT_PROPERTY_INFO) == 24);

struct TRACE_EVENT_INFO {
  GUID ProviderGuid;
  GUID EventGuid;
  EVENT_DESCRIPTOR EventDescriptor;
  std::uint32_t DecodingSource;  // 0 manifest, 1 WMI class, 2 trace message, 3 TraceLogging
  std::uint32_t ProviderNameOffset;
  std::uint32_t LevelNameOffset;
  std::uint32_t ChannelNameOffset;
  std::uint32_t KeywordsNameOffset;
  std::uint32_t TaskNameOffset;
  std::uint32_t OpcodeNameOffset;
  std::uint32_t EventMessageOffset;
  std::uint32_t ProviderMessageOffset;
  std::uint32_t BinaryXmlOffset;
  std::uint32_t BinaryXmlSize;
  std::uint32_t EventNameOffset;              // ActivityIdNameOffset of older systems
  std::uint32_t RelatedActivityIdNameOffset;  // EventAttributesOffset
  std::uint32_t PropertyCount;
  std::uint32_t TopLevelPropertyCount;
  std::uint32_t Flags;
  EVENT_PROPERTY_INFO EventPropertyInfoArray[1];
};
static_assert(offsetof(TRACE_EVENT_INFO, PropertyCount) == 100 &&
              offsetof(TRACE_EVENT_INFO, EventPropertyInfoArray) == 112 && sizeof(TRACE_EVENT_INFO) == 136);

struct PROPERTY_DATA_DESCRIPTOR {
  std::uint64_t PropertyName;  // address of NUL-terminated UTF-16
  std::uint32_t ArrayIndex;    // 0xFFFFFFFF: the whole property
  std::uint32_t Reserved;
};
static_assert(sizeof(PROPERTY_DATA_DESCRIPTOR) == 16);

class Tdh {
 public:
  virtual ~Tdh() = default;

  virtual std::uint32_t TdhLoadManifest(const char16_t* path) = 0;
  /// `size` in bytes, in and out. 122 with the size needed when the buffer is null or too small; 1168 for an event that
  /// no loaded manifest knows. The context arguments of the platform's call are not used and left out.
  virtual std::uint32_t TdhGetEventInformation(const EVENT_RECORD* event, TRACE_EVENT_INFO* buffer,
                                               std::uint32_t* size) = 0;
  /// One descriptor names a top-level property, two a member of a structure.
  virtual std::uint32_t TdhGetPropertySize(const EVENT_RECORD* event, std::uint32_t descriptor_count,
                                           const PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) = 0;
  virtual std::uint32_t TdhGetProperty(const EVENT_RECORD* event, std::uint32_t descriptor_count,
                                       const PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                                       std::uint8_t* buffer) = 0;
};

}  // namespace varnel::platform
