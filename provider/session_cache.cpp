#include "provider/session_cache.h"

#include <algorithm>
#include <array>

#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/session_clock.h"

namespace varnel::provider {
namespace {

using embedded::ring::Session;

constexpr int kKept = 8;
constexpr std::int64_t kRetryAfter = embedded::ring::kClockFrequency;

/// Plain data, so that the fast path has no guard.
struct Kept {
  const MachineSessions* machine;
  std::uint64_t id;
  Session* session;        // null: it could not be opened
  std::int64_t failed_at;  // session clock
};
constinit thread_local Kept kept[kKept] = {};
constinit thread_local bool thread_ends = false;

struct KeptOwner {
  std::array<std::shared_ptr<Session>, kKept> sessions;

  KeptOwner() = default;
  KeptOwner(const KeptOwner&) = delete;
  KeptOwner& operator=(const KeptOwner&) = delete;
  ~KeptOwner() {
    Forget();
    thread_ends = true;
  }
  void Forget() noexcept {
    for (auto& entry : kept) entry = Kept{};
    for (auto& session : sessions) session.reset();
  }
};
thread_local KeptOwner owner;

/// The newest comes first; what has ended is let go.
Session* Keep(MachineSessions& machine, std::uint64_t id, std::shared_ptr<Session> session) noexcept {
  for (int i = 0; i < kKept; ++i) {
    const bool same = kept[i].machine == &machine && kept[i].id == id;
    const bool ended = kept[i].session != nullptr && !kept[i].session->running();
    if (!same && !ended) continue;
    kept[i] = Kept{};
    owner.sessions[i].reset();
  }
  std::rotate(kept, kept + kKept - 1, kept + kKept);
  std::rotate(owner.sessions.begin(), owner.sessions.end() - 1, owner.sessions.end());
  kept[0] = {&machine, id, session.get(), session ? 0 : embedded::ring::SessionClockNow()};
  owner.sessions[0] = std::move(session);
  return kept[0].session;
}

}  // namespace

MachineSessions& MachineSessions::Of(const std::string& folder) {
  static std::mutex mutex;
  static auto* machines = new std::map<std::string, std::unique_ptr<MachineSessions>>;
  const std::lock_guard lock(mutex);
  auto& machine = (*machines)[folder];
  if (!machine) machine.reset(new MachineSessions(folder));
  return *machine;
}

std::shared_ptr<Session> MachineSessions::Get(std::uint64_t id) {
  const std::lock_guard lock(mutex_);
  auto& known = sessions_[id];
  if (auto session = known.lock()) return session;
  std::erase_if(sessions_, [id](const auto& entry) { return entry.first != id && entry.second.expired(); });
  auto opened = Session::Open(folder_ + "/" + std::to_string(id));
  if (!opened.ok() || opened.value()->id() != id || !opened.value()->running()) return nullptr;
  // A session of an earlier boot of the host stands enabled until somebody clears it away.
  if (embedded::HostBootId() != opened.value()->map()->constants().host_boot_id) return nullptr;
  sessions_[id] = opened.value();
  return std::move(opened).value();
}

Session* ThreadSession(MachineSessions& machine, std::uint64_t id) noexcept {
  for (const auto& entry : kept) {
    if (entry.id != id || entry.machine != &machine) continue;
    if (entry.session != nullptr) return entry.session;
    if (embedded::ring::SessionClockNow() - entry.failed_at < kRetryAfter) return nullptr;
    break;
  }
  if (thread_ends) return nullptr;
  try {
    return Keep(machine, id, machine.Get(id));
  } catch (...) {  // no memory: the event is not written
    return nullptr;
  }
}

void ForgetSessionsAfterFork() noexcept {
  owner.Forget();
}

}  // namespace varnel::provider
