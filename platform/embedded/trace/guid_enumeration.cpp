#include "platform/embedded/trace/guid_enumeration.h"

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
                             std::uint32_t in_size, void* out, std::uint32_t out_size, std::uint32_t* needed) {
  if (out == nullptr) out_size = 0;
  const auto table = store.LookAtEnables();
  std::vector<std::byte> bytes;
  if (information_class == platform::kTraceGuidQueryList) {
    if (table) {
      for (const GUID& guid : table->Providers()) Append(bytes, guid);
    }
    return Answer(bytes, out, out_size, needed);
  }
  if (information_class != platform::kTraceGuidQueryInfo || in == nullptr || in_size < sizeof(GUID)) {
    return platform::kErrorInvalidParameter;
  }
  GUID guid;
  std::memcpy(&guid, in, sizeof guid);
  const auto entry = table ? table->Find(guid) : std::nullopt;
  if (!entry) return kErrorWmiGuidNotFound;
  const auto enables = table->EnablesOf(*entry);
  Append(bytes, GuidInfo{1, 0});
  Append(bytes, InstanceInfo{0, static_cast<std::uint32_t>(enables.size()), 0, 0});
  for (const auto& enable : enables) {
    Append(bytes, EnableInfo{1, enable.level, 0, static_cast<std::uint16_t>(enable.session & 0xFFFF), 0, 0,
                             enable.match_any, enable.match_all});
  }
  return Answer(bytes, out, out_size, needed);
}

}  // namespace varnel::embedded
