#include "session/temp_session.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <limits>

#include "base/log.h"
#include "base/path_services.h"
#include "base/status.h"
#include "base/text.h"
#include "platform/platform.h"
#include "session/provider_table.h"

namespace varnel {
namespace {

using platform::EVENT_TRACE_PROPERTIES;
using platform::kErrorSuccess;
using platform::SystemPort;
using platform::TracePort;

constexpr std::uint8_t kLevelVerbose = 5;
constexpr std::uint64_t kAllKeywords = ~std::uint64_t{0};
constexpr std::uint32_t kFixedPart = sizeof(EVENT_TRACE_PROPERTIES);
constexpr std::uint32_t kFirstQuerySize = 1162;

/// A cleared block of the process heap that begins with EVENT_TRACE_PROPERTIES.
class PropertiesBlock {
 public:
  explicit PropertiesBlock(std::uint32_t size) : size_(size), block_(SystemPort().HeapAlloc(size)) {
    if (block_ != nullptr) std::memset(block_, 0, size);
  }
  ~PropertiesBlock() { SystemPort().HeapFree(block_); }
  PropertiesBlock(const PropertiesBlock&) = delete;
  PropertiesBlock& operator=(const PropertiesBlock&) = delete;

  bool allocated() const { return block_ != nullptr; }
  std::uint32_t size() const { return size_; }
  EVENT_TRACE_PROPERTIES* properties() const { return static_cast<EVENT_TRACE_PROPERTIES*>(block_); }
  char16_t* TextAt(std::uint32_t offset) const {
    return reinterpret_cast<char16_t*>(static_cast<std::byte*>(block_) + offset);
  }
  /// Characters from `offset` to the end of the block.
  std::uint32_t RoomAt(std::uint32_t offset) const {
    return offset < size_ ? (size_ - offset) / static_cast<std::uint32_t>(sizeof(char16_t)) : 0;
  }

 private:
  const std::uint32_t size_;
  void* const block_;
};

std::uint32_t BytesWithNul(const char16_t* text) {
  return static_cast<std::uint32_t>((TextLength(text) + 1) * sizeof(char16_t));
}

void FillProperties(const PropertiesBlock& block, const GUID& session_guid, const char16_t* session_name,
                    const char16_t* log_file_name) {
  EVENT_TRACE_PROPERTIES* properties = block.properties();
  properties->Wnode.BufferSize = block.size();
  properties->Wnode.Guid = session_guid;
  properties->Wnode.ClientContext = 1;  // performance counter
  properties->Wnode.Flags = platform::kWnodeFlagTracedGuid;
  properties->BufferSize = 64;
  properties->MinimumBuffers = 20;
  properties->MaximumBuffers = 50;
  properties->MaximumFileSize = 100;
  properties->LogFileMode = 0x18000102;  // circular, real time, independent session, no buffering by processor
  properties->FlushTimer = 1;
  properties->LoggerNameOffset = kFixedPart;
  properties->LogFileNameOffset = kFixedPart + BytesWithNul(session_name);
  std::memcpy(block.TextAt(properties->LoggerNameOffset), session_name, BytesWithNul(session_name));
  std::memcpy(block.TextAt(properties->LogFileNameOffset), log_file_name, BytesWithNul(log_file_name));
}

/// Starts the session without providers. The block is freed whatever the outcome.
std::uint32_t StartBareSession(platform::TRACEHANDLE* handle, const GUID& session_guid, const char16_t* session_name,
                               const char16_t* log_file_name) {
  const PropertiesBlock block(kFixedPart + BytesWithNul(session_name) + BytesWithNul(log_file_name));
  if (!block.allocated()) return platform::kErrorOutOfMemory;
  FillProperties(block, session_guid, session_name, log_file_name);
  return TracePort().StartTraceW(handle, session_name, block.properties());
}

/// Disables the first `enabled` entries of the list, stops the session and clears the handle. The entries are counted
/// from the front, null ones among them, while only the enabled ones were counted before.
void RollBack(platform::TRACEHANDLE* handle, const GUID* const* providers, std::uint32_t enabled) {
  for (std::uint32_t i = 0; i < enabled; ++i) {
    TracePort().EnableTraceEx2(*handle, providers[i], platform::kEventControlCodeDisableProvider, 0, 0, 0, 0, nullptr);
  }
  TracePort().ControlTraceW(*handle, nullptr, nullptr, platform::kEventTraceControlStop);
  *handle = 0;
}

std::uint32_t QuerySession(const PropertiesBlock& block, const char16_t* session_name) {
  EVENT_TRACE_PROPERTIES* properties = block.properties();
  properties->Wnode.BufferSize = block.size();
  properties->LoggerNameOffset = kFixedPart;
  CopyText(block.TextAt(kFixedPart), block.RoomAt(kFixedPart), session_name);
  return TracePort().ControlTraceW(0, session_name, properties, platform::kEventTraceControlQuery);
}

void TakeLogPath(const PropertiesBlock& block, const char16_t* session_name, char16_t* log_path,
                 std::uint32_t capacity) {
  const std::uint32_t offset = block.properties()->LogFileNameOffset;
  const std::uint32_t room = block.RoomAt(offset);
  if (offset == 0 || room == 0) return;
  char16_t* path = block.TextAt(offset);
  path[room - 1] = 0;  // a text that fills the block to its last character is cut, not read past
  if (log_path != nullptr) CopyText(log_path, capacity, path);
  WrapLogPrint(LOG_DETAIL, u"CheckTraceSessionExists func Session(%s) logpath(%s) exists\n", session_name, path);
}

}  // namespace

std::uint32_t CreateTempSession(platform::TRACEHANDLE* outHandle) {
  if (outHandle == nullptr) return kStatusUnsuccessful;
  char16_t log_file_name[kMaxPath] = {};
  if (GenericUniqueTempSessionLogFile(log_file_name, kMaxPath, kTempSessionLogFileFormat, &GUID_WARDLET_TOOL) !=
      kErrorSuccess) {
    WrapLogPrint(LOG_ERROR, u"CreateTempSession func call GenericUniqueTempSessionLogFile failed!\r\n");
    return kStatusUnsuccessful;
  }
  char16_t session_name[256] = {};
  GenericSessionNameByGuid(&GUID_WARDLET_TOOL, session_name, std::size(session_name));
  std::array<const GUID*, kProviderTable.size()> providers;
  for (std::size_t i = 0; i < providers.size(); ++i) providers[i] = &kProviderTable[i].guid;
  return StartTraceSessionWithProviders(outHandle, providers.data(), static_cast<std::uint32_t>(providers.size()),
                                        &GUID_WARDLET_TOOL, session_name, log_file_name, kLevelVerbose, kAllKeywords);
}

std::uint32_t StartTraceSessionWithProviders(platform::TRACEHANDLE* outHandle, const GUID* const* providers,
                                             std::uint32_t count, const GUID* sessionGuid, const char16_t* sessionName,
                                             const char16_t* logFileName, std::uint8_t level, std::uint64_t keywords) {
  if (outHandle == nullptr || providers == nullptr || sessionGuid == nullptr || sessionName == nullptr ||
      logFileName == nullptr || count == 0) {
    return platform::kErrorInvalidParameter;
  }
  std::uint32_t result = StartBareSession(outHandle, *sessionGuid, sessionName, logFileName);
  if (result != kErrorSuccess) return result;
  std::uint32_t enabled = 0;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (providers[i] == nullptr) continue;
    result = TracePort().EnableTraceEx2(*outHandle, providers[i], platform::kEventControlCodeEnableProvider, level,
                                        keywords, 0, 0, nullptr);
    if (result != kErrorSuccess) {
      RollBack(outHandle, providers, enabled);
      return result;
    }
    ++enabled;
  }
  return kErrorSuccess;
}

std::uint32_t CheckTraceSessionExists(const char16_t* sessionName, char16_t* logPath, std::uint32_t capacity) {
  if (sessionName == nullptr || sessionName[0] == 0) return 0;
  for (std::uint32_t size = kFirstQuerySize;; size *= 2) {
    const PropertiesBlock block(size);
    if (!block.allocated()) return 0;
    const std::uint32_t result = QuerySession(block, sessionName);
    if (result == kErrorSuccess) {
      TakeLogPath(block, sessionName, logPath, capacity);
      return 1;
    }
    if (result == platform::kErrorMoreData && size <= std::numeric_limits<std::uint32_t>::max() / 2) continue;
    if (result == platform::kErrorWmiInstanceNotFound) {
      WrapLogPrint(LOG_INFO, u"CheckTraceSessionExists func Session(%s) not found\n", sessionName);
    } else {
      WrapLogPrint(LOG_INFO, u"CheckTraceSessionExists func Failed to query Session(%s): 0x%08X\n", sessionName,
                   result);
    }
    return 0;
  }
}

}  // namespace varnel
