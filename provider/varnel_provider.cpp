#include "provider/varnel_provider.h"

#include <bit>
#include <cerrno>
#include <cstring>
#include <limits>

#include "provider/registration.h"

namespace {

using varnel::embedded::ring::Piece;
using varnel::provider::kFirstModuleBit;
using varnel::provider::kModules;
using varnel::provider::Registration;

/// What a failed registration hands out; its gate never opens.
varnel_registration never_enabled = {0};

constexpr std::uint8_t kLevelInformational = 4;
constexpr std::uint8_t kChannelApplication = 9;
constexpr std::uint64_t kLargestPayload = 0xFFFF - 80;

/// What the three kinds of event have in front, but for the counter, as it stands in the payload.
struct Common {
  std::uint32_t counter;
  std::uint32_t flags;
};
struct Place {
  std::uint32_t code_line;
  std::uint32_t status;
};

/// The kinds of event and the keyword bit of each.
enum class Kind : std::uint16_t { kMsgAnsi = 1, kMsgWide = 2, kBinary = 3 };

/// -1 for what is no single module bit.
int ModuleOf(std::uint64_t keyword) noexcept {
  if (!std::has_single_bit(keyword)) return -1;
  const int module = std::countr_zero(keyword) - kFirstModuleBit;
  return module >= 0 && module < kModules ? module : -1;
}

int Transfer(varnel_registration* registration, std::uint64_t module_keyword, Kind kind, std::uint32_t flags,
             const char* function, Place place, const Piece& count, const Piece& text) noexcept {
  const int module = ModuleOf(module_keyword);
  if (module < 0) return EINVAL;
  if (function == nullptr) function = "";
  const std::size_t function_size = std::strlen(function) + 1;
  const std::uint64_t payload = sizeof(Common) + function_size + sizeof(Place) + count.size + std::uint64_t{text.size};
  if (payload > kLargestPayload) return EMSGSIZE;
  varnel_event_descriptor descriptor{};
  descriptor.id = static_cast<std::uint16_t>(kind);
  descriptor.channel = kChannelApplication;
  descriptor.level = kLevelInformational;
  descriptor.keyword = module_keyword | (std::uint64_t{1} << (static_cast<int>(kind) - 1));
  Common common{0, flags};
  const Piece pieces[] = {{&common, sizeof common},
                          {function, static_cast<std::uint32_t>(function_size)},
                          {&place, sizeof place},
                          count,
                          text};
  return Registration::From(registration)
      .WriteCounted(module, descriptor, pieces, static_cast<std::uint32_t>(payload), &common.counter);
}

}  // namespace

extern "C" {

int varnel_register(const char* machine, const varnel_guid* provider, varnel_registration** registration) {
  *registration = &never_enabled;
  if (provider == nullptr) return EINVAL;
  GUID guid;
  static_assert(sizeof guid == sizeof *provider);
  std::memcpy(&guid, provider, sizeof guid);
  try {
    return Registration::Create(machine, guid, registration);
  } catch (...) {
    *registration = &never_enabled;
    return ENOMEM;
  }
}

void varnel_unregister(varnel_registration* registration) {
  if (registration == nullptr || registration == &never_enabled) return;
  delete &Registration::From(registration);
}

int varnel_enabled_for(const varnel_registration* registration, uint8_t level, uint64_t keyword) {
  if (varnel_enabled(registration) == 0) return 0;
  return Registration::From(registration).EnabledFor(level, keyword) ? 1 : 0;
}

int varnel_write(varnel_registration* registration, const varnel_event_descriptor* descriptor,
                 const varnel_data* pieces, uint32_t piece_count) {
  if (varnel_enabled(registration) == 0) return 0;
  static_assert(sizeof(varnel_data) == sizeof(Piece) && offsetof(varnel_data, size) == offsetof(Piece, size));
  std::uint64_t payload = 0;
  for (uint32_t i = 0; i < piece_count; ++i) payload += pieces[i].size;
  if (payload > std::numeric_limits<std::uint32_t>::max() / 2) payload = std::numeric_limits<std::uint32_t>::max() / 2;
  return Registration::From(registration)
      .Write(*descriptor, {reinterpret_cast<const Piece*>(pieces), piece_count}, static_cast<std::uint32_t>(payload));
}

int varnel_transfer_msg_ansi(varnel_registration* registration, uint64_t module_keyword, uint32_t flags,
                             const char* function, uint32_t code_line, uint32_t status, const char* message) {
  if (varnel_enabled(registration) == 0) return 0;
  if (message == nullptr) message = "";
  const std::size_t size = std::strlen(message) + 1;
  if (size > kLargestPayload) return EMSGSIZE;
  return Transfer(registration, module_keyword, Kind::kMsgAnsi, flags, function, {code_line, status}, {},
                  {message, static_cast<std::uint32_t>(size)});
}

int varnel_transfer_msg_wide(varnel_registration* registration, uint64_t module_keyword, uint32_t flags,
                             const char* function, uint32_t code_line, uint32_t status, const uint16_t* message) {
  if (varnel_enabled(registration) == 0) return 0;
  static constexpr std::uint16_t kEmpty = 0;
  if (message == nullptr) message = &kEmpty;
  std::size_t length = 0;
  while (message[length] != 0) ++length;
  const std::size_t size = (length + 1) * sizeof *message;
  if (size > kLargestPayload) return EMSGSIZE;
  return Transfer(registration, module_keyword, Kind::kMsgWide, flags, function, {code_line, status}, {},
                  {message, static_cast<std::uint32_t>(size)});
}

int varnel_transfer_binary(varnel_registration* registration, uint64_t module_keyword, uint32_t flags,
                           const char* function, uint32_t code_line, uint32_t status, const void* bytes,
                           uint32_t count) {
  if (varnel_enabled(registration) == 0) return 0;
  return Transfer(registration, module_keyword, Kind::kBinary, flags, function, {code_line, status},
                  {&count, sizeof count}, {bytes, count});
}

int varnel_set_counter(varnel_registration* registration, uint64_t module_keyword, uint32_t next) {
  const int module = ModuleOf(module_keyword);
  if (module < 0) return EINVAL;
  if (registration != &never_enabled) Registration::From(registration).SetCounter(module, next);
  return 0;
}

}  // extern "C"
