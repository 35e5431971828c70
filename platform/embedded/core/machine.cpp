#include "platform/embedded/core/machine.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/embedded/core/unique_fd.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;
using formats::Error;
using formats::Result;
using formats::Status;

constexpr char kMark[] = "varnel machine 1\n";

Error Failure(const std::string& path, const std::string& what) {
  return Error{path + ": " + what};
}

Error SystemFailure(const std::string& path, int error) {
  return Failure(path, std::strerror(error));
}

Result<std::string> ReadWhole(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return SystemFailure(path, errno);
  std::ostringstream text;
  text << in.rdbuf();
  return std::move(text).str();
}

bool WriteAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

void SyncFolderOf(const std::string& path) {
  const UniqueFd folder(::open(fs::path(path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.get() >= 0) ::fsync(folder.get());
}

Status WriteWhole(const std::string& path, const std::string& text) {
  const std::string aside = path + ".new";
  {
    const UniqueFd file(::open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (file.get() < 0 || !WriteAll(file.get(), text) || ::fsync(file.get()) != 0) return SystemFailure(aside, errno);
  }
  if (::rename(aside.c_str(), path.c_str()) != 0) return SystemFailure(path, errno);
  SyncFolderOf(path);
  return formats::Ok();
}

std::string PendingPath(const Machine& machine) {
  return machine.root() + "/boot.delete";
}

/// The list of pending deletions for its one user; not valid on failure, with errno.
UniqueFd OpenLocked(const std::string& path) {
  UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
  if (file.get() >= 0 && ::flock(file.get(), LOCK_EX) != 0) return UniqueFd();
  return file;
}

}  // namespace

Result<std::shared_ptr<Machine>> Machine::Open(const std::string& root) {
  struct stat folder {};
  if (::stat(root.c_str(), &folder) != 0) return SystemFailure(root, errno);
  if (!S_ISDIR(folder.st_mode)) return SystemFailure(root, ENOTDIR);
  const auto mark = ReadWhole(root + "/machine");
  if (!mark.ok()) {
    const bool absent = ::access((root + "/machine").c_str(), F_OK) != 0 && errno == ENOENT;
    return absent ? Failure(root, "no machine folder (it has no file \"machine\")") : mark.error();
  }
  if (mark.value() != kMark) return Failure(root + "/machine", "not a machine of format version 1");
  std::error_code ignored;
  const fs::path absolute = fs::canonical(root, ignored);
  return std::shared_ptr<Machine>(new Machine(ignored ? root : absolute.string()));
}

Result<std::shared_ptr<Machine>> Machine::Create(const std::string& root) {
  auto machine = Begin(root);
  if (!machine.ok()) return machine;
  const auto finished = machine.value()->Finish();
  if (!finished.ok()) return finished.error();
  return machine;
}

Result<std::shared_ptr<Machine>> Machine::Begin(const std::string& root) {
  std::error_code error;
  if (fs::exists(root, error) && !(fs::is_directory(root, error) && fs::is_empty(root, error))) {
    return Failure(root, "exists and is not an empty folder");
  }
  for (const char* folder : {"", "/C", "/registry", "/sessions", "/locks"}) {
    fs::create_directories(root + folder, error);
    if (error) return Failure(root + folder, error.message());
  }
  std::shared_ptr<Machine> machine(new Machine(fs::canonical(root, error).string()));
  const auto boot = machine->WriteBoot(BootRecord{1, FileTimeNow(), HostBootId()});
  if (!boot.ok()) return boot.error();
  return machine;
}

Status Machine::Finish() const {
  // The mark comes last: a folder that was not finished is no machine.
  return WriteWhole(root_ + "/machine", kMark);
}

std::string Machine::DrivePath(char letter) const {
  return root_ + '/' + static_cast<char>(letter >= 'a' && letter <= 'z' ? letter - 'a' + 'A' : letter);
}

Result<BootRecord> Machine::ReadBoot() const {
  const std::string path = root_ + "/boot";
  const auto text = ReadWhole(path);
  if (!text.ok()) return text.error();
  std::istringstream in(text.value());
  BootRecord record;
  if (!(in >> record.number >> record.file_time >> record.host_boot_id)) return Failure(path, "damaged boot record");
  return record;
}

Status Machine::WriteBoot(const BootRecord& record) const {
  std::ostringstream text;
  text << record.number << ' ' << record.file_time << ' ' << record.host_boot_id << '\n';
  return WriteWhole(root_ + "/boot", text.str());
}

Status Machine::AddPendingDelete(const std::string& windows_path) const {
  const std::string path = PendingPath(*this);
  const UniqueFd file = OpenLocked(path);
  struct stat info {};
  if (file.get() < 0 || ::fstat(file.get(), &info) != 0) return SystemFailure(path, errno);
  if (WriteAll(file.get(), windows_path + "\n")) return formats::Ok();
  const int error = errno;
  // The beginning of a path names something else.
  static_cast<void>(::ftruncate(file.get(), info.st_size) == 0);
  return SystemFailure(path, error);
}

Result<std::vector<std::string>> Machine::PendingDeletes() const {
  std::vector<std::string> lines;
  const auto text = ReadWhole(PendingPath(*this));
  if (!text.ok()) return lines;
  std::istringstream in(text.value());
  // A last line without its end is what a killed process began to write.
  for (std::string line; std::getline(in, line) && !in.eof();) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

Status Machine::CarryOutPendingDeletes(const std::function<void(const std::string& path)>& carry_out) const {
  const std::string path = PendingPath(*this);
  const UniqueFd file = OpenLocked(path);
  if (file.get() < 0) return SystemFailure(path, errno);
  const auto lines = PendingDeletes();
  if (!lines.ok()) return lines.error();
  for (const std::string& line : lines.value()) carry_out(line);
  return ::ftruncate(file.get(), 0) == 0 ? formats::Ok() : Status(SystemFailure(path, errno));
}

std::string HostBootId() {
  if (const char* acted = std::getenv("VARNEL_HOST_BOOT_ID"); acted != nullptr && *acted != '\0') return acted;
  const auto text = ReadWhole("/proc/sys/kernel/random/boot_id");
  if (!text.ok()) return "unknown";
  std::istringstream in(text.value());
  std::string id;
  return in >> id ? id : "unknown";
}

std::uint64_t FileTimeNow() {
  constexpr std::uint64_t kSecondsFrom1601To1970 = 11644473600;
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return (static_cast<std::uint64_t>(now.tv_sec) + kSecondsFrom1601To1970) * 10000000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 100;
}

}  // namespace varnel::embedded
