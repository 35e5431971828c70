#include "platform/embedded/registry/registry_access.h"

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kGenericRead = 0x80000000;
constexpr std::uint32_t kGenericWrite = 0x40000000;
constexpr std::uint32_t kGenericExecute = 0x20000000;
constexpr std::uint32_t kGenericAll = 0x10000000;
constexpr std::uint32_t kMaximumAllowed = 0x02000000;

}  // namespace

std::uint32_t GrantedRights(std::uint32_t access) {
  std::uint32_t rights = access & kAllRights;
  if ((access & (kGenericRead | kGenericExecute)) != 0) rights |= platform::kKeyRead;
  if ((access & kGenericWrite) != 0) rights |= platform::kKeyWrite;
  if ((access & (kGenericAll | kMaximumAllowed)) != 0) rights |= kAllRights;
  return rights;
}

}  // namespace varnel::embedded
