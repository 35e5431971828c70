// The event log port on a machine folder: queries over the channel "System", or over one log file of the machine.
// Result sets are read as they are asked for; what is damaged is passed over and counted and never fails a call. Any
// thread may call; a result set is for one thread at a time.
#pragma once

#include <memory>
#include <string>

#include "platform/embedded/core/machine.h"
#include "platform/embedded/eventlog/log_reader.h"
#include "platform/eventlog.h"

namespace varnel::embedded {

class EmbeddedEventLog : public platform::EventLog {
 public:
  explicit EmbeddedEventLog(std::shared_ptr<Machine> machine, EvtxHelperOptions helper = {})
      : machine_(std::move(machine)), helper_(std::move(helper)) {}

  /// Beside the port's results: 1500 when a file of the log can't be opened, or its reader can't be started; 2 and 3
  /// for a file that is not there. A structured query ("<QueryList>…") is outside the language: 15001.
  platform::EVT_HANDLE EvtQuery(platform::EVT_HANDLE session, const char16_t* path, const char16_t* query,
                                std::uint32_t flags) override;
  bool EvtNext(platform::EVT_HANDLE result_set, std::uint32_t count, platform::EVT_HANDLE* events,
               std::uint32_t timeout_ms, std::uint32_t flags, std::uint32_t* returned) override;
  /// XML only: other forms answer 50.
  bool EvtRender(platform::EVT_HANDLE context, platform::EVT_HANDLE event, std::uint32_t flags,
                 std::uint32_t buffer_size, void* buffer, std::uint32_t* used, std::uint32_t* property_count) override;
  bool EvtClose(platform::EVT_HANDLE object) override;

  /// What the result set has read, and passed over, so far; nothing for a handle that is none.
  static std::optional<LogCounts> CountsOf(platform::EVT_HANDLE result_set);

 private:
  std::uint32_t FilesOf(const char16_t* path, std::uint32_t flags, std::vector<std::string>* files) const;
  std::uint32_t Query(const char16_t* path, const char16_t* query, std::uint32_t flags,
                      platform::EVT_HANDLE* handle) const;

  const std::shared_ptr<Machine> machine_;
  const EvtxHelperOptions helper_;
};

}  // namespace varnel::embedded
