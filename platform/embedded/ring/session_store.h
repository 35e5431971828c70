// SessionStore: the sessions of one machine folder: which run, starting one, ending them. Stateless over the folder but
// for the paths, so that any number of processes can have one. Any thread may call.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "formats/result.h"
#include "platform/embedded/ring/enable_table.h"
#include "platform/embedded/ring/session.h"

namespace varnel::embedded::ring {

/// Why a session could not be started.
enum class StartFailure {
  kNone,
  kNameTaken,
  kFileInUse,     // another session writes that file
  kFileNotFound,  // the folder of the file is not there
  kFileDenied,    // the file can't be made
  kDiskFull,
  kBadParameters,  // names too long for the buffer size
  kTooMany,        // as many sessions as a machine can have
  kSystem,
};

/// As many as the platform allows.
inline constexpr std::size_t kMaximumSessions = 64;

class SessionStore {
 public:
  /// `folder` is the machine's folder of sessions; `host_boot_id` and `boot_number` name the present boot.
  SessionStore(std::string folder, std::string host_boot_id, std::uint64_t boot_number)
      : folder_(std::move(folder)), host_boot_id_(std::move(host_boot_id)), boot_number_(boot_number) {}

  const std::string& folder() const noexcept { return folder_; }

  /// The ids of the sessions of this host boot that run, ascending.
  std::vector<std::uint64_t> RunningIds() const;
  /// Null when it does not run.
  std::shared_ptr<Session> Open(std::uint64_t id) const;
  /// Names are compared without case. Null when there is none.
  std::shared_ptr<Session> FindByName(std::u16string_view name) const;
  /// By the handle, or by the logger id alone (its low half).
  std::shared_ptr<Session> FindByHandle(std::uint64_t handle) const;
  /// The running session that writes this file. One that is being stopped is waited for first, and stopped for good if
  /// its stopper died, so that the file of null is whole.
  std::shared_ptr<Session> FindByFile(std::uint64_t device, std::uint64_t inode) const;
  /// Whether a running session writes this file, whoever lives. Waits as FindByFile does.
  bool IsFileInUse(std::uint64_t device, std::uint64_t inode) const;

  /// Starts a session; `*failure` says why not when null comes back.
  std::shared_ptr<Session> Start(const SessionParameters& parameters, StartFailure* failure) const;
  /// Ends a session and writes everything out. @return false when it was not running any more.
  bool Stop(Session& session) const;
  /// Ends every session of the machine. @return false when one still runs.
  bool StopAll() const;

  /// Runs `work` on the enable table under the session lock. @return false when the table could not be had.
  bool ChangeEnables(const std::function<void(EnableTable&)>& work) const;
  /// The table as it stands, to look; null when there is none.
  std::unique_ptr<EnableTable> LookAtEnables() const;

 private:
  std::string LockPath() const { return folder_ + "/lock"; }
  std::string TablePath() const { return folder_ + "/providers"; }
  std::string FolderOf(std::uint64_t id) const { return folder_ + "/" + std::to_string(id); }
  std::optional<ControlGlance> Glance(std::uint64_t id) const;
  std::optional<ControlGlance> GlanceBeforeEnd(std::uint64_t id) const;
  std::optional<ControlGlance> UserOf(std::uint64_t device, std::uint64_t inode) const;
  std::optional<ControlGlance> RunningUserOf(std::uint64_t device, std::uint64_t inode) const;
  template <typename Wanted>
  std::shared_ptr<Session> FindWhere(Wanted wanted) const;
  bool IsOfThisBoot(const SessionConstants& constants) const;
  void SweepLocked(EnableTable& table) const;
  bool StopLocked(EnableTable& table, Session& session) const;
  friend void FinishStop(Session& session);
  std::shared_ptr<Session> MakeLocked(EnableTable& table, const SessionParameters& parameters,
                                      StartFailure* failure) const;
  void SetClock(EnableTable& table, SessionConstants* constants) const;

  const std::string folder_;
  const std::string host_boot_id_;
  const std::uint64_t boot_number_;
};

/// Ends a session that a killed process was stopping. Does nothing while somebody else changes sessions.
void FinishStop(Session& session);

}  // namespace varnel::embedded::ring
