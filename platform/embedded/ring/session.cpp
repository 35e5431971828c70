#include "platform/embedded/ring/session.h"

#include <filesystem>

#include "platform/embedded/ring/ring.h"

namespace varnel::embedded::ring {

namespace {

/// The machine's folder, two above the session's, as the host spells it.
std::string RootOf(const std::string& folder) {
  std::error_code failed;
  const auto root = std::filesystem::canonical(std::filesystem::path(folder).parent_path() / "..", failed);
  return failed ? folder : root.string();
}

}  // namespace

Session::Session(std::shared_ptr<ControlMap> map, const std::string& folder)
    : map_(std::move(map)), file_(map_, folder + "/lock", RootOf(folder)), folder_(folder) {}

formats::Result<std::shared_ptr<Session>> Session::Open(const std::string& folder) {
  auto map = ControlMap::Open(folder + "/control");
  if (!map.ok()) return map.error();
  return std::make_shared<Session>(std::move(map).value(), folder);
}

void Session::Tend(SessionFile::Wait wait) noexcept {
  const Participant self = ThreadParticipant(map_);
  if (!self.valid()) return;
  if (running()) CloseOverdue(*map_, self);
  file_.WriteClosed(self, wait);
}

void Session::Flush() noexcept {
  const Participant self = ThreadParticipant(map_);
  if (!self.valid()) return;
  if (running()) CloseBuffer(*map_, self, map_->open());
  file_.WriteClosed(self, SessionFile::Wait::kYes);
}

}  // namespace varnel::embedded::ring
