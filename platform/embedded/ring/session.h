// Session: a running trace session as one process has it: its mapping and its file. Kept alive by its users; the memory
// stays valid after the session has ended. Any thread may call.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "formats/result.h"
#include "platform/embedded/ring/control_map.h"
#include "platform/embedded/ring/session_file.h"

namespace varnel::embedded::ring {

class Session {
 public:
  /// Opens the session in `folder`, whatever its state.
  static formats::Result<std::shared_ptr<Session>> Open(const std::string& folder);

  /// `folder` is <machine>/sessions/<id>.
  Session(std::shared_ptr<ControlMap> map, const std::string& folder);

  std::uint64_t id() const noexcept { return map_->constants().id; }
  const std::shared_ptr<ControlMap>& map() const noexcept { return map_; }
  SessionFile& file() noexcept { return file_; }
  const std::string& folder() const noexcept { return folder_; }
  bool running() const noexcept { return map_->state() == SessionState::kRunning; }
  std::u16string_view name() const noexcept { return {map_->constants().name, map_->constants().name_length}; }

  /// Closes what is overdue and writes out what is closed.
  void Tend(SessionFile::Wait wait) noexcept;
  /// Closes the open buffer if there is anything in it and writes everything out.
  void Flush() noexcept;

 private:
  const std::shared_ptr<ControlMap> map_;
  SessionFile file_;
  const std::string folder_;
};

/// What one has to say to start a session.
struct SessionParameters {
  std::u16string name;
  GUID guid{};
  std::uint32_t buffer_size_kb = 64;
  std::uint32_t minimum_buffers = 2;
  std::uint32_t maximum_buffers = 22;
  std::uint32_t maximum_file_size = 0;  // MiB, or KiB with the mode bit
  std::uint32_t log_file_mode = 0;
  std::uint32_t flush_timer_seconds = 0;
  std::string host_path;         // of the .etl; empty: a session without a file
  std::u16string log_file_name;  // what a query answers
};

}  // namespace varnel::embedded::ring
