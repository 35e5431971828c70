#include "crash/log_session.h"

#include <cstddef>
#include <cstring>
#include <span>

#include "base/heap_block.h"
#include "base/text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

using platform::TRACE_ENABLE_INFO;
using platform::TRACE_GUID_INFO;
using platform::TRACE_PROVIDER_INSTANCE_INFO;
using Bytes = std::span<const std::byte>;

constexpr std::size_t kNameCapacity = 260;

/// What a query of one session answers into.
struct SessionBlock {
  platform::EVENT_TRACE_PROPERTIES properties;
  char16_t logger_name[kNameCapacity];
  char16_t log_file_name[kNameCapacity];
};
static_assert(sizeof(SessionBlock) == 1160 && offsetof(SessionBlock, logger_name) == 120 &&
              offsetof(SessionBlock, log_file_name) == 640);

/// A record out of the answer; false when it does not stand there whole.
template <typename T>
bool Read(Bytes bytes, std::size_t at, T* record) {
  if (at > bytes.size() || bytes.size() - at < sizeof(T)) return false;
  std::memcpy(record, bytes.data() + at, sizeof(T));
  return true;
}

bool IsSystemLogSession(std::uint16_t logger_id) {
  SessionBlock block{};
  block.properties.Wnode.BufferSize = sizeof block;
  block.properties.Wnode.Flags = platform::kWnodeFlagTracedGuid;
  block.properties.LoggerNameOffset = offsetof(SessionBlock, logger_name);
  block.properties.LogFileNameOffset = offsetof(SessionBlock, log_file_name);
  const std::uint32_t error =
      platform::TracePort().ControlTraceW(logger_id, nullptr, &block.properties, platform::kEventTraceControlQuery);
  if (error != platform::kErrorSuccess) return false;
  block.logger_name[kNameCapacity - 1] = 0;
  return CompareTextNoCase(block.logger_name, kSystemLogSession) == 0;
}

bool IsEnabledByInstance(Bytes answer, std::size_t at, std::uint32_t enable_count) {
  for (std::uint32_t i = 0; i < enable_count; ++i, at += sizeof(TRACE_ENABLE_INFO)) {
    TRACE_ENABLE_INFO enable;
    if (!Read(answer, at, &enable)) return false;
    if (enable.LoggerId != 0 && IsSystemLogSession(enable.LoggerId)) return true;
  }
  return false;
}

bool IsEnabledByAny(Bytes answer) {
  TRACE_GUID_INFO info;
  if (!Read(answer, 0, &info)) return false;
  std::size_t at = sizeof info;
  for (std::uint32_t i = 0; i < info.InstanceCount; ++i) {
    TRACE_PROVIDER_INSTANCE_INFO instance;
    if (!Read(answer, at, &instance)) return false;
    if (IsEnabledByInstance(answer, at + sizeof instance, instance.EnableCount)) return true;
    if (instance.NextOffset == 0) return false;
    at += instance.NextOffset;
  }
  return false;
}

}  // namespace

std::uint32_t CheckProviderInSession(const GUID* providerGuid) {
  if (providerGuid == nullptr) return 0;
  platform::Trace& trace = platform::TracePort();
  std::uint32_t size = 0;
  const std::uint32_t asked =
      trace.EnumerateTraceGuidsEx(platform::kTraceGuidQueryInfo, providerGuid, sizeof *providerGuid, nullptr, 0, &size);
  if (asked != platform::kErrorSuccess && asked != platform::kErrorInsufficientBuffer) return 0;
  const HeapBlock block(size);
  if (block.get() == nullptr) return 0;
  std::memset(block.get(), 0, size);
  std::uint32_t needed = 0;
  if (trace.EnumerateTraceGuidsEx(platform::kTraceGuidQueryInfo, providerGuid, sizeof *providerGuid, block.get(), size,
                                  &needed) != platform::kErrorSuccess) {
    return 0;
  }
  return IsEnabledByAny(Bytes(block.as<const std::byte>(), size)) ? 1 : 0;
}

}  // namespace varnel
