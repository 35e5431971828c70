// The enable table of a machine: which providers are enabled in which sessions. Registrations map the page of their
// provider's entry, so that the test of a disabled one is a load and a branch. It also holds what outlives sessions:
// the next session number and the last FILETIME handed out. Foreign bytes to whoever opens it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/result.h"
#include "interfaces/guid.h"
#include "platform/embedded/ring/layout.h"

namespace varnel::embedded::ring {

inline constexpr std::uint64_t kProvidersMagic = 0x31305652504B4D56;  // "VMKPRV01"
inline constexpr std::uint32_t kProvidersVersion = 1;
inline constexpr std::uint32_t kProviderEntries = 512;
inline constexpr int kEnablesPerProvider = 8;

struct EnableWords {
  Word64 session;
  Word64 match_any;
  Word64 match_all;
  Word64 level;
};

struct alignas(512) ProviderEntry {
  Word32 gate;     // bit n: enable n is in force
  Word32 version;  // odd while the entry changes
  Word32 used;     // 1 once the GUID stands
  std::uint32_t reserved;
  GUID guid;
  EnableWords enables[kEnablesPerProvider];
};
static_assert(sizeof(ProviderEntry) == 512 && offsetof(ProviderEntry, gate) == 0);

struct ProvidersHeader {
  std::uint64_t magic;
  std::uint32_t version;
  std::uint32_t entry_count;
  std::uint32_t entry_size;
  std::uint32_t reserved;
  Word64 last_time;  // FILETIME
  Word64 last_session_id;
};
static_assert(sizeof(ProvidersHeader) <= kPageSize);

/// One enable of a provider.
struct Enable {
  std::uint64_t session = 0;
  std::uint8_t level = 0;
  std::uint64_t match_any = 0;
  std::uint64_t match_all = 0;

  /// Level 0 of the enable lets every level through, level 0 of the event passes always; an event without keywords
  /// passes every mask, and a mask of 0 lets all keywords through.
  bool Passes(std::uint8_t event_level, std::uint64_t keyword) const noexcept {
    if (level != 0 && event_level > level) return false;
    if (keyword == 0) return true;
    return (match_any == 0 || (keyword & match_any) != 0) && (keyword & match_all) == match_all;
  }
};

/// Reads enable `index` of an entry. @return false when it is not in force. A change of the entry is waited out, and
/// one that never ends, because who made it died, takes nothing away from the enables that stand.
bool ReadEnable(const ProviderEntry& entry, int index, Enable* out) noexcept;

/// Where the page with entry `index` stands in the file, and the entry in the page.
constexpr std::uint64_t EntryPage(std::uint32_t index) noexcept {
  return kPageSize + std::uint64_t{index} * sizeof(ProviderEntry) / kPageSize * kPageSize;
}
constexpr std::size_t EntryInPage(std::uint32_t index) noexcept {
  return index * sizeof(ProviderEntry) % kPageSize;
}

/// All calls that change anything need the machine's session lock.
class EnableTable {
 public:
  /// Opens the table, making it when it is missing or no table of this version. REQUIRES: the session lock.
  static formats::Result<std::unique_ptr<EnableTable>> OpenOrMake(const std::string& path);
  /// Opens what is there, to look.
  static formats::Result<std::unique_ptr<EnableTable>> Open(const std::string& path);
  ~EnableTable();
  EnableTable(const EnableTable&) = delete;
  EnableTable& operator=(const EnableTable&) = delete;

  std::optional<std::uint32_t> Find(const GUID& guid) const noexcept;
  /// Finds the entry or makes one. Nothing when the table is full.
  std::optional<std::uint32_t> FindOrAdd(const GUID& guid) noexcept;
  /// Puts an enable in force, replacing the session's own. @return false when eight sessions have it enabled.
  bool Set(std::uint32_t index, const Enable& enable) noexcept;
  void Clear(std::uint32_t index, std::uint64_t session) noexcept;
  void ClearSession(std::uint64_t session) noexcept;
  /// Clears every enable of any other session. A power failure can keep an enable and lose its session's folder; its
  /// number may be given again.
  void KeepSessions(std::span<const std::uint64_t> sessions) noexcept;

  /// The enables of an entry that are in force.
  std::vector<Enable> EnablesOf(std::uint32_t index) const;
  std::vector<GUID> Providers() const;

  std::uint64_t NewSessionId(std::uint64_t above) noexcept;
  std::int64_t last_time() const noexcept;
  void RaiseLastTime(std::int64_t time) noexcept;

 private:
  explicit EnableTable(std::byte* base) noexcept : base_(base) {}
  ProvidersHeader& header() const noexcept { return *reinterpret_cast<ProvidersHeader*>(base_); }
  ProviderEntry& entry(std::uint32_t index) const noexcept {
    return reinterpret_cast<ProviderEntry*>(base_ + kPageSize)[index];
  }
  void Mend() noexcept;

  std::byte* const base_;
};

}  // namespace varnel::embedded::ring
