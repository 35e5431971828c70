// A provider's registration: two pages side by side. The first is the shared page of the enable table with the
// provider's entry, whose first word is the gate that callers test; the second leads to what this process keeps.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>

#include "interfaces/guid.h"
#include "platform/embedded/ring/enable_table.h"
#include "platform/embedded/ring/event_writer.h"
#include "provider/session_cache.h"
#include "provider/varnel_provider.h"

namespace varnel::provider {

inline constexpr int kFirstModuleBit = 3;
inline constexpr int kModules = 31;  // bits 3 to 33

class Registration {
 public:
  /// 0 and the gate's address, or an errno value.
  static int Create(const char* machine, const GUID& guid, varnel_registration** gate);
  static Registration& From(varnel_registration* gate) noexcept;
  static const Registration& From(const varnel_registration* gate) noexcept;
  ~Registration();
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;

  bool EnabledFor(std::uint8_t level, std::uint64_t keyword) const noexcept;

  /// Writes an event whose payload is `pieces`, `payload` bytes in all.
  int Write(const varnel_event_descriptor& descriptor, std::span<const embedded::ring::Piece> pieces,
            std::uint32_t payload) noexcept;

  /// Writes an event whose payload begins with the module's counter: `*counter`, which pieces[0] points at, is set
  /// between taking the module's lock and reserving. REQUIRES: module < kModules.
  int WriteCounted(int module, const varnel_event_descriptor& descriptor, std::span<const embedded::ring::Piece> pieces,
                   std::uint32_t payload, std::uint32_t* counter) noexcept;

  void SetCounter(int module, std::uint32_t next) noexcept;

 private:
  struct Module {
    std::mutex mutex;
    std::uint32_t next = 1;  // guarded by mutex
  };
  struct Reserved {
    std::array<embedded::ring::Reservation, embedded::ring::kEnablesPerProvider> rooms;
    int count = 0;
    int error = 0;
  };

  Registration(std::byte* pages, std::uint32_t entry, const GUID& guid, MachineSessions& sessions);
  void ReserveAll(const varnel_event_descriptor& descriptor, std::uint32_t payload, Reserved* out) noexcept;
  int CommitAll(const varnel_event_descriptor& descriptor, std::span<const embedded::ring::Piece> pieces,
                const Reserved& reserved) noexcept;
  void Disable() noexcept;
  static void AfterForkInChild() noexcept;

  std::byte* const pages_;
  const std::size_t entry_in_page_;
  const GUID guid_;
  MachineSessions& sessions_;
  std::array<Module, kModules> modules_;
};

}  // namespace varnel::provider
