#include "platform/embedded/ring/session_store.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>

#include "formats/etl_writer.h"
#include "platform/embedded/core/casefold.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/ring/ofd_lock.h"
#include "platform/embedded/ring/process_identity.h"
#include "platform/embedded/ring/ring.h"
#include "platform/embedded/ring/session_clock.h"

namespace varnel::embedded::ring {
namespace {

namespace fs = std::filesystem;
constexpr std::uint64_t kSecondTicks = kClockFrequency;

std::vector<std::string> Entries(const std::string& folder) {
  std::vector<std::string> names;
  DIR* dir = ::opendir(folder.c_str());
  if (dir == nullptr) return names;
  while (const dirent* entry = ::readdir(dir)) names.emplace_back(entry->d_name);
  ::closedir(dir);
  return names;
}

/// 0 for a name that is no id.
std::uint64_t IdOf(const std::string& name) {
  if (name.empty() || name.size() > 18 || name[0] == '0') return 0;
  if (!std::all_of(name.begin(), name.end(), [](unsigned char c) { return std::isdigit(c) != 0; })) return 0;
  return std::stoull(name);
}

void RemoveFolder(const std::string& path) {
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

/// The latest stamp that anything in the session's memory bears.
std::int64_t LatestStamp(const ControlMap& map) {
  std::int64_t latest = ReadPlace(map).last_stamp;
  for (std::uint32_t slot = 0; slot < map.descriptors().size(); ++slot) {
    latest = std::max(latest, Survey(map, slot, WordOf(map, slot)).last_stamp);
  }
  // Bytes that no writer of ours left don't take the machine into another century.
  const std::int64_t start = map.constants().start_stamp;
  const std::int64_t year = std::int64_t{366} * 86400 * kSecondTicks;
  return std::clamp(latest, start, start + year);
}

std::uint32_t Processors() {
  const long count = ::sysconf(_SC_NPROCESSORS_CONF);
  return static_cast<std::uint32_t>(std::clamp(count, 1L, 2047L));
}

SessionConstants ConstantsOf(const SessionParameters& parameters) {
  SessionConstants constants{};
  constants.buffer_size = std::clamp(parameters.buffer_size_kb * 1024, kMinimumBufferSize, kMaximumBufferSize);
  constants.buffer_count = std::clamp(parameters.maximum_buffers, kMinimumBufferCount, kMaximumBufferCount);
  constants.guid = parameters.guid;
  constants.log_file_mode = parameters.log_file_mode;
  constants.minimum_buffers = parameters.minimum_buffers;
  constants.maximum_buffers = parameters.maximum_buffers;
  constants.maximum_file_size = parameters.maximum_file_size;
  constants.creator_process = CurrentProcess();
  constants.creator_thread = CurrentThread();
  constants.processors = Processors();
  constants.has_file = parameters.host_path.empty() ? 0 : 1;
  constants.name_length = static_cast<std::uint32_t>(parameters.name.size());
  std::copy(parameters.name.begin(), parameters.name.end(), constants.name);
  return constants;
}

/// The opener's own trouble says nothing about the session.
bool IsOwnShortage(int error) {
  return error == EMFILE || error == ENFILE || error == ENOMEM || error == EACCES || error == EPERM;
}

StartFailure FailureOf(int error) {
  if (error == ENOSPC || error == EDQUOT || error == EFBIG) return StartFailure::kDiskFull;
  if (error == ENOENT || error == ENOTDIR) return StartFailure::kFileNotFound;
  if (error == EACCES || error == EROFS || error == EISDIR || error == EPERM) return StartFailure::kFileDenied;
  return StartFailure::kSystem;
}

}  // namespace

bool SessionStore::IsOfThisBoot(const SessionConstants& constants) const {
  return host_boot_id_ == constants.host_boot_id;
}

std::optional<ControlGlance> SessionStore::GlanceBeforeEnd(std::uint64_t id) const {
  auto glance = GlanceAt(FolderOf(id) + "/control");
  if (!glance.ok() || glance.value().constants.id != id || !IsOfThisBoot(glance.value().constants)) return std::nullopt;
  const SessionState state = glance.value().state;
  if (state != SessionState::kRunning && state != SessionState::kStopping) return std::nullopt;
  return std::move(glance).value();
}

std::optional<ControlGlance> SessionStore::Glance(std::uint64_t id) const {
  auto glance = GlanceBeforeEnd(id);
  return glance && glance->state == SessionState::kRunning ? glance : std::nullopt;
}

std::vector<std::uint64_t> SessionStore::RunningIds() const {
  std::vector<std::uint64_t> ids;
  for (const auto& name : Entries(folder_)) {
    const std::uint64_t id = IdOf(name);
    if (id != 0 && Glance(id)) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::shared_ptr<Session> SessionStore::Open(std::uint64_t id) const {
  auto session = Session::Open(FolderOf(id));
  if (!session.ok()) return nullptr;
  if (session.value()->id() != id || !session.value()->running()) return nullptr;
  return IsOfThisBoot(session.value()->map()->constants()) ? std::move(session).value() : nullptr;
}

template <typename Wanted>
std::shared_ptr<Session> SessionStore::FindWhere(Wanted wanted) const {
  for (const auto& entry : Entries(folder_)) {
    const std::uint64_t id = IdOf(entry);
    if (id == 0) continue;
    const auto glance = Glance(id);
    if (glance && wanted(*glance)) {
      if (auto session = Open(id)) return session;
    }
  }
  return nullptr;
}

std::shared_ptr<Session> SessionStore::FindByName(std::u16string_view name) const {
  return FindWhere([&](const ControlGlance& glance) { return EqualFolded(glance.name(), name); });
}

std::shared_ptr<Session> SessionStore::FindByHandle(std::uint64_t handle) const {
  if (auto session = Open(handle)) return session;
  if (handle == 0 || handle > 0xFFFF) return nullptr;
  return FindWhere([&](const ControlGlance& glance) { return glance.constants.logger_id == handle; });
}

std::optional<ControlGlance> SessionStore::UserOf(std::uint64_t device, std::uint64_t inode) const {
  for (const auto& entry : Entries(folder_)) {
    const std::uint64_t id = IdOf(entry);
    if (id == 0) continue;
    auto glance = GlanceBeforeEnd(id);
    if (glance && glance->constants.has_file != 0 && glance->device == device && glance->inode == inode) return glance;
  }
  return std::nullopt;
}

std::optional<ControlGlance> SessionStore::RunningUserOf(std::uint64_t device, std::uint64_t inode) const {
  auto user = UserOf(device, inode);
  if (user && user->state == SessionState::kStopping) {
    ChangeEnables([this](EnableTable& table) { SweepLocked(table); });
    user = UserOf(device, inode);
  }
  return user;
}

std::shared_ptr<Session> SessionStore::FindByFile(std::uint64_t device, std::uint64_t inode) const {
  const auto user = RunningUserOf(device, inode);
  return user ? Open(user->constants.id) : nullptr;
}

bool SessionStore::IsFileInUse(std::uint64_t device, std::uint64_t inode) const {
  return RunningUserOf(device, inode).has_value();
}

bool SessionStore::ChangeEnables(const std::function<void(EnableTable&)>& work) const {
  const ScopedFileLock lock(LockPath());
  if (!lock.held()) return false;
  const auto table = EnableTable::OpenOrMake(TablePath());
  if (!table.ok()) return false;
  work(*table.value());
  return true;
}

std::unique_ptr<EnableTable> SessionStore::LookAtEnables() const {
  auto table = EnableTable::Open(TablePath());
  return table.ok() ? std::move(table).value() : nullptr;
}

void SessionStore::SweepLocked(EnableTable& table) const {
  bool sees_all = true;
  for (const auto& name : Entries(folder_)) {
    const std::string path = folder_ + "/" + name;
    if (name.starts_with(".new-") || name.starts_with(".gone-")) RemoveFolder(path);
    const std::uint64_t id = IdOf(name);
    if (id == 0) continue;
    errno = 0;
    auto session = Session::Open(path);
    if (!session.ok() && IsOwnShortage(errno)) {
      sees_all = false;
      continue;
    }
    if (session.ok() && IsOfThisBoot(session.value()->map()->constants())) {
      // One that a killed process was stopping is stopped for good.
      if (!session.value()->running()) StopLocked(table, *session.value());
      continue;
    }
    if (session.ok()) {
      const auto& map = *session.value()->map();
      map.words().state.store(static_cast<std::uint32_t>(SessionState::kEnded), std::memory_order_seq_cst);
      table.RaiseLastTime(map.clock().ToFileTime(LatestStamp(map)));
    }
    RemoveFolder(path);
  }
  if (sees_all) table.KeepSessions(RunningIds());
}

void SessionStore::SetClock(EnableTable& table, SessionConstants* constants) const {
  constants->clock_frequency = kClockFrequency;
  const auto now = static_cast<std::int64_t>(FileTimeNow());
  // A time further ahead was handed out by no session, so it stands in a damaged table.
  const std::int64_t year = std::int64_t{366} * 86400 * 10'000'000;
  const bool sane = table.last_time() >= 0 && table.last_time() < now + 10 * year;
  std::int64_t earliest = sane ? std::max(now, table.last_time() + 1) : now;
  for (const std::uint64_t id : RunningIds()) {
    const auto session = Open(id);
    if (!session) continue;
    earliest = std::max(earliest, session->map()->clock().ToFileTime(SessionClockNow()) + 1);
  }
  constants->start_stamp = SessionClockNow();
  constants->start_time = earliest;
  constants->boot_time = earliest - constants->start_stamp;
}

std::shared_ptr<Session> SessionStore::Start(const SessionParameters& parameters, StartFailure* failure) const {
  *failure = StartFailure::kSystem;
  const ScopedFileLock lock(LockPath());
  if (!lock.held()) return nullptr;
  const auto table = EnableTable::OpenOrMake(TablePath());
  if (!table.ok()) {
    *failure = FailureOf(errno);
    return nullptr;
  }
  SweepLocked(*table.value());
  if (parameters.name.empty() || parameters.name.size() > kMaximumName ||
      parameters.log_file_name.size() > kMaximumName || parameters.host_path.size() >= kMaximumHostPath) {
    *failure = StartFailure::kBadParameters;
  } else if (FindByName(parameters.name)) {
    *failure = StartFailure::kNameTaken;
  } else if (RunningIds().size() >= kMaximumSessions) {
    *failure = StartFailure::kTooMany;
  } else {
    *failure = StartFailure::kNone;
    return MakeLocked(*table.value(), parameters, failure);
  }
  return nullptr;
}

std::shared_ptr<Session> SessionStore::MakeLocked(EnableTable& table, const SessionParameters& parameters,
                                                  StartFailure* failure) const {
  const auto fail = [&](StartFailure why) {
    *failure = why;
    return nullptr;
  };
  SessionFileNames names{};
  UniqueFd file;
  if (!parameters.host_path.empty()) {
    file = UniqueFd(::open(parameters.host_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666));
    struct stat info {};
    if (!file.valid() || ::fstat(file.get(), &info) != 0) return fail(FailureOf(errno));
    if (UserOf(info.st_dev, info.st_ino)) return fail(StartFailure::kFileInUse);
    names.device = info.st_dev;
    names.inode = info.st_ino;
    names.log_file_name_length = static_cast<std::uint32_t>(parameters.log_file_name.size());
    std::copy(parameters.log_file_name.begin(), parameters.log_file_name.end(), names.log_file_name);
    std::copy(parameters.host_path.begin(), parameters.host_path.end(), names.host_path);
  }
  const auto ids = RunningIds();
  SessionConstants constants = ConstantsOf(parameters);
  constants.id = table.NewSessionId(ids.empty() ? 0 : ids.back());
  constants.logger_id = static_cast<std::uint32_t>(constants.id & 0xFFFF);
  constants.boot_number = boot_number_;
  std::strncpy(constants.host_boot_id, host_boot_id_.c_str(), sizeof constants.host_boot_id - 1);
  SetClock(table, &constants);

  const std::string aside = folder_ + "/.new-" + std::to_string(constants.id);
  if (::mkdir(aside.c_str(), 0777) != 0) return fail(FailureOf(errno));
  const auto made =
      ControlMap::Create(aside + "/control", constants, names, parameters.flush_timer_seconds * kSecondTicks);
  const UniqueFd lock(::open((aside + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  const int error = errno;
  auto map = ControlMap::Open(aside + "/control");
  if (!made.ok() || !lock.valid() || !map.ok()) {
    RemoveFolder(aside);
    return fail(FailureOf(error));
  }
  if (file.valid()) {
    std::vector<std::byte> buffer(constants.buffer_size);
    const auto header = DescribeFile(*map.value(), ReadPlace(*map.value()), 0);
    const bool fits = formats::FillEtlHeaderBuffer(header, static_cast<std::uint16_t>(constants.logger_id), buffer);
    const bool written = fits && ::ftruncate(file.get(), 0) == 0 && WriteWhole(file.get(), 0, buffer);
    if (!written) {
      RemoveFolder(aside);
      return fail(fits ? StartFailure::kDiskFull : StartFailure::kBadParameters);
    }
  }
  if (::rename(aside.c_str(), FolderOf(constants.id).c_str()) != 0) return fail(FailureOf(errno));
  return std::make_shared<Session>(std::move(map).value(), FolderOf(constants.id));
}

bool SessionStore::Stop(Session& session) const {
  const ScopedFileLock lock(LockPath());
  if (!lock.held() || !session.running()) return false;
  const auto table = EnableTable::OpenOrMake(TablePath());
  return table.ok() && StopLocked(*table.value(), session);
}

bool SessionStore::StopLocked(EnableTable& table, Session& session) const {
  const ControlMap& map = *session.map();
  auto& state = map.words().state;
  if (map.state() == SessionState::kEnded) {
    RemoveFolder(session.folder());
    return false;
  }
  state.store(static_cast<std::uint32_t>(SessionState::kStopping), std::memory_order_seq_cst);
  table.ClearSession(session.id());
  const Participant self = ThreadParticipant(session.map());
  if (self.valid()) {
    CloseLastBuffer(map, self);
    session.file().WriteClosed(self, SessionFile::Wait::kYes);
  }
  const std::int64_t end_time = map.clock().ToFileTime(SessionClockNow());
  table.RaiseLastTime(end_time);
  session.file().WriteEnd(end_time);
  state.store(static_cast<std::uint32_t>(SessionState::kEnded), std::memory_order_seq_cst);
  WakeReaders(map);
  RemoveFolder(session.folder());
  return true;
}

bool SessionStore::StopAll() const {
  const ScopedFileLock lock(LockPath());
  if (!lock.held()) return false;
  const auto table = EnableTable::OpenOrMake(TablePath());
  if (!table.ok()) return RunningIds().empty();
  SweepLocked(*table.value());
  for (const std::uint64_t id : RunningIds()) {
    if (const auto session = Open(id)) StopLocked(*table.value(), *session);
  }
  return RunningIds().empty();
}

void FinishStop(Session& session) {
  const SessionConstants& constants = session.map()->constants();
  const SessionStore store(fs::path(session.folder()).parent_path(), constants.host_boot_id, constants.boot_number);
  const UniqueFd lock(::open(store.LockPath().c_str(), O_RDWR | O_CLOEXEC));
  if (!lock.valid() || !TryLock(lock.get(), LockKind::kExclusive)) return;
  if (session.map()->state() != SessionState::kStopping) return;
  const auto table = EnableTable::OpenOrMake(store.TablePath());
  if (table.ok()) store.StopLocked(*table.value(), session);
}

}  // namespace varnel::embedded::ring
