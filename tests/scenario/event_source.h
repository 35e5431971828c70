// EventSource: providers of this process that write into a machine, at most 200 events a second over all, until they
// are stopped or the session's file is nearly full: it is circular, and what it overwrites would look lost. The text of
// an event is "#NUMBER cCONSUMER"; the number runs from 1 for each consumer, as the counter does.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "provider/varnel_provider.h"
#include "tests/scenario/kill_verdict.h"

namespace varnel::scenario {

class EventSource {
 public:
  /// Registers the providers; writes nothing yet. `seed` is that of texts and pauses.
  EventSource(const std::string& machine, std::uint64_t seed);
  /// Stops and unregisters.
  ~EventSource();
  EventSource(const EventSource&) = delete;
  EventSource& operator=(const EventSource&) = delete;

  /// Provider, keyword and name of each consumer; no events.
  static std::vector<WrittenConsumer> Consumers();

  /// Whether a session has all the providers enabled.
  bool AllEnabled() const;
  void Start();
  void Stop();

  /// How many events of each consumer were written. REQUIRES: stopped.
  const std::vector<std::uint32_t>& written() const { return written_; }
  /// Writes that answered an error. REQUIRES: stopped.
  std::uint64_t refused() const { return refused_; }

 private:
  void WriteUntilStopped();
  bool FileIsNearlyFull() const;

  const std::string machine_;
  const std::uint64_t seed_;
  std::vector<varnel_registration*> registrations_;
  std::vector<std::uint32_t> written_;
  std::uint64_t refused_ = 0;
  std::atomic<bool> stopping_{false};
  std::thread thread_;
};

/// The consumer and running number of a text; false when it is none of a source's.
bool ParseSourceText(const std::string& json_text, std::size_t* consumer, std::uint32_t* number);

}  // namespace varnel::scenario
