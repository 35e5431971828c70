#include "platform/embedded/trace/event_log_session.h"

#include <array>
#include <string_view>

#include "platform/embedded/core/casefold.h"

namespace varnel::embedded {
namespace {

constexpr std::u16string_view kName = u"EventLog-System";
constexpr std::uint32_t kBufferKb = 64;

constexpr std::array<GUID, 2> kProviders = {{
    {0xA68CA8B7, 0x004F, 0xD7B6, {0xA6, 0x98, 0x07, 0xE2, 0xDE, 0x0F, 0x1F, 0x5D}},  // Kernel-General
    {0x331C3B3A, 0x2005, 0x44C2, {0xAC, 0x5E, 0x77, 0x22, 0x0C, 0x37, 0xD6, 0xB4}},  // Kernel-Power
}};

}  // namespace

EventLogSession EventLogSessionOf(const Machine& machine) {
  const auto boot = machine.ReadBoot();
  const bool runs = boot.ok() && boot.value().number > 1 && boot.value().host_boot_id == HostBootId();
  return runs ? EventLogSession::kRuns : EventLogSession::kNone;
}

bool MeansEventLogSession(platform::TRACEHANDLE handle, const char16_t* name) {
  if (handle != 0) return handle == kEventLogSessionId;
  return name != nullptr && EqualFolded(name, kName);
}

const GUID* EventLogProvidersBegin() {
  return kProviders.data();
}

const GUID* EventLogProvidersEnd() {
  return kProviders.data() + kProviders.size();
}

std::uint32_t DescribeEventLogSession(PropertiesBlock block) {
  const std::uint32_t name_offset = block->LoggerNameOffset != 0
                                        ? block->LoggerNameOffset
                                        : static_cast<std::uint32_t>(sizeof(platform::EVENT_TRACE_PROPERTIES));
  if (!block.Fits(name_offset, kName)) return platform::kErrorMoreData;
  block->Wnode.HistoricalContext = kEventLogSessionId;
  block->Wnode.ClientContext = 1;
  block->Wnode.Flags |= platform::kWnodeFlagTracedGuid;
  block->BufferSize = kBufferKb;
  block->LogFileMode = platform::kEventTraceRealTimeMode;
  block->FlushTimer = 1;
  block.Put(name_offset, kName);
  block->LoggerNameOffset = name_offset;
  const std::uint32_t file_offset = block->LogFileNameOffset;
  if (file_offset != 0 && block.Fits(file_offset, u"")) block.Put(file_offset, u"");
  block->LogFileNameOffset = 0;
  return platform::kErrorSuccess;
}

}  // namespace varnel::embedded
