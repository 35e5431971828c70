// The sessions that a provider's process has met. A machine's sessions are shared by all registrations and threads;
// each thread keeps the ones it writes to, so that the road of an event takes no lock to find them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "platform/embedded/ring/session.h"

namespace varnel::provider {

/// The sessions of one machine folder, by number. Never freed: threads compare its address.
class MachineSessions {
 public:
  /// The process's one for the folder of sessions `folder`.
  static MachineSessions& Of(const std::string& folder);

  /// Opens a session, or gives the one that another thread has open. Null when it is gone.
  std::shared_ptr<embedded::ring::Session> Get(std::uint64_t id);

 private:
  explicit MachineSessions(std::string folder) : folder_(std::move(folder)) {}

  const std::string folder_;
  std::mutex mutex_;
  std::map<std::uint64_t, std::weak_ptr<embedded::ring::Session>> sessions_;  // guarded by mutex_
};

/// The calling thread's session `id`; null when it can't be opened (tried again after a second). It stays valid until
/// the thread's next call.
embedded::ring::Session* ThreadSession(MachineSessions& machine, std::uint64_t id) noexcept;

/// Called in a child made by fork.
void ForgetSessionsAfterFork() noexcept;

}  // namespace varnel::provider
