// The Trace Data Helper port by the system's tdh.dll, which is looked up at the first use. Where the system lacks a
// call it answers 127.
#pragma once

#include "platform/tdh.h"

namespace varnel::windows {

class Win32Tdh final : public platform::Tdh {
 public:
  std::uint32_t TdhLoadManifest(const char16_t* path) override;
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override;
  std::uint32_t TdhGetPropertySize(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                                   const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t* size) override;
  std::uint32_t TdhGetProperty(const platform::EVENT_RECORD* event, std::uint32_t descriptor_count,
                               const platform::PROPERTY_DATA_DESCRIPTOR* descriptors, std::uint32_t size,
                               std::uint8_t* buffer) override;
};

}  // namespace varnel::windows
