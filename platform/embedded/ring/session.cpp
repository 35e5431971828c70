#include "platform/embedded/ring/session.h"

#include "platform/embedded/ring/ring.h"

namespace varnel::embedded::ring {

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
