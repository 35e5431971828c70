#include "platform/embedded/trace/guid_enumeration.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/trace.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kErrorWmiGuidNotFound = 4200;

// The public structures of evntrace.h, in the order in which they stand in the answer.
struct GuidInfo {
  std::uint32_t instance_count;
  std::uint32_t reserved;
};
struct InstanceInfo {
  std::uint32_t next_offset;
  std::uint32_t enable_count;
  std::uint32_t process;
  std::uint32_t flags;
};
struct EnableInfo {
  std::uint32_t is_enabled;
  std::uint8_t level;
  std::uint8_t reserved1;
  std::uint16_t logger_id;
  std::uint32_t property;
  std::uint32_t reserved2;
  std::uint64_t match_any;
  std::uint64_t match_all;
};
static_assert(sizeof(GuidInfo) == 8 && sizeof(InstanceInfo) == 16 && sizeof(EnableInfo) == 32);

constexpr std::uint8_t kEveryLevel = 0xFF;

bool Runs(EventLogSession session) {
  return session == EventLogSession::kRuns;
}

template <typename T>
void Append(std::vector<std::byte>& bytes, const T& value) {
  const auto* begin = reinterpret_cast<const std::byte*>(&value);
  bytes.insert(bytes.end(), begin, begin + sizeof value);
}

std::uint32_t Answer(const std::vector<std::byte>& bytes, void* out, std::uint32_t out_size, std::uint32_t* needed) {
  if (needed != nullptr) *needed = static_cast<std::uint32_t>(bytes.size());
  if (out_size < bytes.size()) return platform::kErrorInsufficientBuffer;
  if (!bytes.empty()) std::memcpy(out, bytes.data(), bytes.size());
  return 0;
}

}  // namespace

std::uint32_t EnumerateGuids(const ring::SessionStore& store, std::uint32_t information_class, const void* in,
                             std::uint32_t in_size, void* out, std::uint32_t out_size, std::uint32_t* needed,
                             EventLogSession event_log) {
  if (out == nullptr) out_size = 0;
  const auto table = store.LookAtEnables();
  std::vector<std::byte> bytes;
  if (information_class == platform::kTraceGuidQueryList) {
    std::vector<GUID> guids = table ? table->Providers() : std::vector<GUID>();
    for (const GUID* guid = EventLogProvidersBegin(); Runs(event_log) && guid != EventLogProvidersEnd(); ++guid) {
      if (std::find(guids.begin(), guids.end(), *guid) == guids.end()) guids.push_back(*guid);
    }
    for (const GUID& guid : guids) Append(bytes, guid);
    return Answer(bytes, out, out_size, needed);
  }
  if (information_class != platform::kTraceGuidQueryInfo || in == nullptr || in_size < sizeof(GUID)) {
    return platform::kErrorInvalidParameter;
  }
  GUID guid;
  std::memcpy(&guid, in, sizeof guid);
  const auto entry = table ? table->Find(guid) : std::nullopt;
  const bool heard =
      Runs(event_log) && std::find(EventLogProvidersBegin(), EventLogProvidersEnd(), guid) != EventLogProvidersEnd();
  if (!entry && !heard) return kErrorWmiGuidNotFound;
  std::vector<EnableInfo> enables;
  if (entry) {
    for (const auto& enable : table->EnablesOf(*entry)) {
      enables.push_back({1, enable.level, 0, static_cast<std::uint16_t>(enable.session & 0xFFFF), 0, 0,
                         enable.match_any, enable.match_all});
    }
  }
  if (heard) enables.push_back({1, kEveryLevel, 0, kEventLogSessionId, 0, 0, ~std::uint64_t{0}, 0});
  Append(bytes, GuidInfo{1, 0});
  Append(bytes, InstanceInfo{0, static_cast<std::uint32_t>(enables.size()), 0, 0});
  for (const EnableInfo& enable : enables) Append(bytes, enable);
  return Answer(bytes, out, out_size, needed);
}

}  // namespace varnel::embedded
