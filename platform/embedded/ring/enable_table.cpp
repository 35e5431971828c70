#include "platform/embedded/ring/enable_table.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/embedded/ring/ofd_lock.h"

namespace varnel::embedded::ring {
namespace {

using formats::Error;
using formats::Result;

constexpr std::uint64_t kFileSize = kPageSize + std::uint64_t{kProviderEntries} * sizeof(ProviderEntry);

Error SystemFailure(const std::string& path) {
  return Error{path + ": " + std::strerror(errno)};
}

bool IsTable(int fd) {
  struct stat info {};
  ProvidersHeader header;
  return ::fstat(fd, &info) == 0 && static_cast<std::uint64_t>(info.st_size) == kFileSize &&
         ::pread(fd, static_cast<void*>(&header), sizeof header, 0) == static_cast<ssize_t>(sizeof header) &&
         header.magic == kProvidersMagic && header.version == kProvidersVersion &&
         header.entry_count == kProviderEntries && header.entry_size == sizeof(ProviderEntry);
}

/// Makes an empty table aside and puts it in place whole.
bool MakeTable(const std::string& path) {
  const std::string aside = path + ".new";
  const UniqueFd fd(::open(aside.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
  if (!fd.valid()) return false;
  if (const int error = ::posix_fallocate(fd.get(), 0, static_cast<off_t>(kFileSize)); error != 0) {
    errno = error;
    return false;
  }
  ProvidersHeader header{};
  header.magic = kProvidersMagic;
  header.version = kProvidersVersion;
  header.entry_count = kProviderEntries;
  header.entry_size = sizeof(ProviderEntry);
  return ::pwrite(fd.get(), static_cast<const void*>(&header), sizeof header, 0) ==
             static_cast<ssize_t>(sizeof header) &&
         ::rename(aside.c_str(), path.c_str()) == 0;
}

/// The version is odd for the length of its scope.
class ScopedChange {
 public:
  explicit ScopedChange(ProviderEntry& entry) noexcept : entry_(entry) {
    entry_.version.fetch_add(1, std::memory_order_acq_rel);
    std::atomic_thread_fence(std::memory_order_release);
  }
  ~ScopedChange() { entry_.version.fetch_add(1, std::memory_order_release); }
  ScopedChange(const ScopedChange&) = delete;
  ScopedChange& operator=(const ScopedChange&) = delete;

 private:
  ProviderEntry& entry_;
};

/// So often an entry is looked at while it changes, which takes a few stores.
constexpr int kChangePatience = 1000;

constexpr std::uint32_t Bit(int index) noexcept {
  return std::uint32_t{1} << index;
}

}  // namespace

bool ReadEnable(const ProviderEntry& entry, int index, Enable* out) noexcept {
  const EnableWords& words = entry.enables[index];
  for (int tries = 1;; ++tries) {
    const std::uint32_t version = entry.version.load(std::memory_order_acquire);
    if ((entry.gate.load(std::memory_order_acquire) & Bit(index)) == 0) return false;
    out->session = words.session.load(std::memory_order_relaxed);
    out->match_any = words.match_any.load(std::memory_order_relaxed);
    out->match_all = words.match_all.load(std::memory_order_relaxed);
    out->level = static_cast<std::uint8_t>(words.level.load(std::memory_order_relaxed));
    std::atomic_thread_fence(std::memory_order_acquire);
    const bool same = entry.version.load(std::memory_order_relaxed) == version;
    if (same && (version & 1) == 0) return true;
    // Who changes the entry has died or been stopped. Under a bit that is on stands the session it belongs to; at worst
    // its level and keywords are the old ones beside the new.
    if (same && tries >= kChangePatience) return true;
    if (tries >= kChangePatience * kChangePatience) return false;
  }
}

Result<std::unique_ptr<EnableTable>> EnableTable::OpenOrMake(const std::string& path) {
  auto table = Open(path);
  if (!table.ok()) {
    if (!MakeTable(path)) return SystemFailure(path);
    table = Open(path);
  }
  if (table.ok()) table.value()->Mend();
  return table;
}

Result<std::unique_ptr<EnableTable>> EnableTable::Open(const std::string& path) {
  const UniqueFd fd(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  if (!fd.valid()) return SystemFailure(path);
  if (!IsTable(fd.get())) return Error{path + ": not an enable table of this version"};
  void* base = ::mmap(nullptr, kFileSize, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
  if (base == MAP_FAILED) return SystemFailure(path);
  return std::unique_ptr<EnableTable>(new EnableTable(static_cast<std::byte*>(base)));
}

EnableTable::~EnableTable() {
  ::munmap(base_, kFileSize);
}

void EnableTable::Mend() noexcept {
  // A bit goes on behind its words and off before them, so an entry that was left half changed is good once it is even.
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    if ((entry(i).version.load(std::memory_order_relaxed) & 1) != 0) {
      entry(i).version.fetch_add(1, std::memory_order_release);
    }
  }
}

std::optional<std::uint32_t> EnableTable::Find(const GUID& guid) const noexcept {
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    if (entry(i).used.load(std::memory_order_acquire) == 0) break;
    if (std::memcmp(&entry(i).guid, &guid, sizeof guid) == 0) return i;
  }
  return std::nullopt;
}

std::optional<std::uint32_t> EnableTable::FindOrAdd(const GUID& guid) noexcept {
  if (const auto found = Find(guid)) return found;
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    if (entry(i).used.load(std::memory_order_relaxed) != 0) continue;
    std::memcpy(&entry(i).guid, &guid, sizeof guid);
    entry(i).used.store(1, std::memory_order_release);
    return i;
  }
  return std::nullopt;
}

bool EnableTable::Set(std::uint32_t index, const Enable& enable) noexcept {
  ProviderEntry& target = entry(index);
  const std::uint32_t gate = target.gate.load(std::memory_order_relaxed);
  int place = -1;
  for (int i = kEnablesPerProvider - 1; i >= 0; --i) {
    if ((gate & Bit(i)) == 0) place = i;
  }
  for (int i = 0; i < kEnablesPerProvider; ++i) {
    const bool own = target.enables[i].session.load(std::memory_order_relaxed) == enable.session;
    if ((gate & Bit(i)) != 0 && own) place = i;
  }
  if (place < 0) return false;
  // The bit of an enable that is replaced stays on: an event that is written meanwhile passes the old one or the new.
  const ScopedChange change(target);
  EnableWords& words = target.enables[place];
  words.session.store(enable.session, std::memory_order_relaxed);
  words.match_any.store(enable.match_any, std::memory_order_relaxed);
  words.match_all.store(enable.match_all, std::memory_order_relaxed);
  words.level.store(enable.level, std::memory_order_relaxed);
  target.gate.fetch_or(Bit(place), std::memory_order_release);
  return true;
}

void EnableTable::Clear(std::uint32_t index, std::uint64_t session) noexcept {
  ProviderEntry& target = entry(index);
  for (int i = 0; i < kEnablesPerProvider; ++i) {
    if (target.enables[i].session.load(std::memory_order_relaxed) != session) continue;
    const ScopedChange change(target);
    target.gate.fetch_and(~Bit(i), std::memory_order_acq_rel);
  }
}

void EnableTable::ClearSession(std::uint64_t session) noexcept {
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    if (entry(i).used.load(std::memory_order_relaxed) == 0) break;
    Clear(i, session);
  }
}

void EnableTable::KeepSessions(std::span<const std::uint64_t> sessions) noexcept {
  // Beyond entries that are not used too: a page of the table may be lost and the next one not.
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    for (int place = 0; place < kEnablesPerProvider; ++place) {
      ProviderEntry& target = entry(i);
      if ((target.gate.load(std::memory_order_relaxed) & Bit(place)) == 0) continue;
      const std::uint64_t session = target.enables[place].session.load(std::memory_order_relaxed);
      if (std::find(sessions.begin(), sessions.end(), session) != sessions.end()) continue;
      const ScopedChange change(target);
      target.gate.fetch_and(~Bit(place), std::memory_order_acq_rel);
    }
  }
}

std::vector<Enable> EnableTable::EnablesOf(std::uint32_t index) const {
  std::vector<Enable> enables;
  for (int i = 0; i < kEnablesPerProvider; ++i) {
    Enable enable;
    if (ReadEnable(entry(index), i, &enable)) enables.push_back(enable);
  }
  return enables;
}

std::vector<GUID> EnableTable::Providers() const {
  std::vector<GUID> guids;
  for (std::uint32_t i = 0; i < kProviderEntries; ++i) {
    if (entry(i).used.load(std::memory_order_acquire) == 0) break;
    guids.push_back(entry(i).guid);
  }
  return guids;
}

std::uint64_t EnableTable::NewSessionId(std::uint64_t above) noexcept {
  std::uint64_t id = std::max(header().last_session_id.load(std::memory_order_relaxed), above) + 1;
  if ((id & 0xFFFF) == 0) ++id;  // its low half is the logger id, and 0 is none
  header().last_session_id.store(id, std::memory_order_relaxed);
  return id;
}

std::int64_t EnableTable::last_time() const noexcept {
  return static_cast<std::int64_t>(header().last_time.load(std::memory_order_relaxed));
}

void EnableTable::RaiseLastTime(std::int64_t time) noexcept {
  if (time > last_time()) header().last_time.store(static_cast<std::uint64_t>(time), std::memory_order_relaxed);
}

}  // namespace varnel::embedded::ring
