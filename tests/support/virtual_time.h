// VirtualTime runs real threads on a clock that moves only when every taking-part thread is blocked: then it jumps to
// the earliest deadline. So a test with waits of seconds takes no time and always runs in the same order of time.
//
// Who takes part: the thread that made the VirtualTime, and threads made through FakeThreads. Time stands still while
// one of them computes. A test thread that only wants to let the others work calls RunUntil, Settle or Advance; an own
// condition variable there would hold the clock for ever.
//
// A thread blocked outside (on a lock whose holder sleeps) looks as if it computed. If nothing at all moves for two
// seconds of real time, the clock moves on anyway.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>

namespace varnel::testing {

class VirtualTime {
 public:
  VirtualTime();
  /// The threads must have ended or be blocked for ever.
  ~VirtualTime();
  VirtualTime(const VirtualTime&) = delete;
  VirtualTime& operator=(const VirtualTime&) = delete;

  /// Milliseconds since the start.
  std::uint64_t now_ms() const;

  /// Blocks the calling thread until `ready` says yes, or `timeout_ms` of virtual time have passed. `ready` is asked
  /// under the lock, in the order of arrival, and may take what it found (an auto-reset signal). True when it was
  /// ready.
  bool Block(const std::function<bool()>& ready, std::optional<std::uint64_t> timeout_ms);
  /// Runs `change` under the lock and wakes whoever is then ready.
  void Change(const std::function<void()>& change);

  /// For tests. Lets the others run, with time moving, until `done` says yes; it is asked whenever all are blocked.
  /// False when `most_ms` of virtual time have passed or all wait for ever.
  bool RunUntil(const std::function<bool()>& done, std::uint64_t most_ms = 3'600'000);
  /// For tests. Lets the others run until all are blocked; time stands still.
  void Settle();
  /// For tests. Lets the others run for so much virtual time.
  void Advance(std::uint64_t milliseconds);

  /// From now on only one of the threads that take part computes at any moment: it goes on until it blocks, yields or
  /// ends, and whoever became ready first comes next. So every run makes the same calls in the same order. A thread
  /// must not block or yield with a lock held that another one wants. Called by the maker while it is alone.
  void OneAtATime();
  /// One at a time: lets the others go first. Threads that do nothing else spin: when all others are blocked, the clock
  /// moves on as if they were idle.
  void Yield();

  /// Counts a new thread as computing, before it is started; BeginThread takes what this gives. Leave is called on it
  /// at its end.
  std::uint64_t Enter();
  void BeginThread(std::uint64_t turn);
  void Leave();
  /// Never comes back: the thread is no longer part of anything.
  [[noreturn]] void BlockForEver();

  /// Called, once, when every thread waits without a deadline and none is a test's: the process would hang. Runs under
  /// the lock; it may end the process.
  void OnDeadlock(std::function<void()> handler);
  /// Called, once, when threads yield again and again while every other one waits without a deadline. As above.
  void OnSpin(std::function<void()> handler);

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace varnel::testing
