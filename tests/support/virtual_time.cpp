#include "tests/support/virtual_time.h"

#include <algorithm>
#include <chrono>
#include <deque>
#include <map>
#include <utility>
#include <vector>

namespace varnel::testing {
namespace {

constexpr auto kStalled = std::chrono::seconds(2);
constexpr std::size_t kSpinningYields = 100;  // in a row by each thread, while nothing else happens

enum class Kind { kWait, kWhenIdle };

struct Waiter {
  Kind kind = Kind::kWait;
  const std::function<bool()>* ready = nullptr;
  std::optional<std::uint64_t> deadline;
  bool counted = false;  // its thread takes part
  bool granted = false;
  bool was_ready = false;
  std::uint64_t turn = 0;  // one at a time: its place among those who may run
  std::condition_variable* wake = nullptr;
};

/// What a blocked thread is woken by, alone, when it may go on. Lent again and again, and never destroyed: where a
/// system makes each of several of its objects, making one costs more than waiting for it.
class Wakes {
 public:
  std::condition_variable* Take() {
    const std::lock_guard lock(mutex_);
    if (free_.empty()) return new std::condition_variable;
    std::condition_variable* const wake = free_.back();
    free_.pop_back();
    return wake;
  }

  void Give(std::condition_variable* wake) {
    const std::lock_guard lock(mutex_);
    free_.push_back(wake);
  }

 private:
  std::mutex mutex_;
  std::vector<std::condition_variable*> free_;
};

Wakes& WakesOfTheProcess() {
  static auto* const wakes = new Wakes;
  return *wakes;
}

thread_local const void* g_part_of = nullptr;
thread_local std::uint64_t g_turn = 0;

}  // namespace

struct VirtualTime::State {
  std::mutex mutex;
  std::uint64_t now = 0;
  std::uint64_t moves = 0;  // grows with everything that happens
  int computing = 0;
  std::list<Waiter*> waiters;  // in the order of arrival
  std::function<void()> on_deadlock;
  std::function<void()> on_spin;
  bool one_at_a_time = false;
  std::deque<std::uint64_t> turns;  // of the computing threads; the first one runs
  std::uint64_t last_turn = 0;
  std::size_t idle_yields = 0;
  std::uint64_t moves_at_yield = 0;
  std::map<std::uint64_t, std::condition_variable*> asleep;  // who waits to be the first, by turn

  std::uint64_t NewTurn() {
    if (!one_at_a_time) return 0;
    turns.push_back(++last_turn);
    return last_turn;
  }

  void AwaitTurn(std::unique_lock<std::mutex>* lock, std::uint64_t turn) {
    g_turn = turn;
    if (!one_at_a_time || turns.front() == turn) return;
    std::condition_variable* const wake = WakesOfTheProcess().Take();
    asleep[turn] = wake;
    wake->wait(*lock, [&] { return turns.front() == turn; });
    asleep.erase(turn);
    WakesOfTheProcess().Give(wake);
  }

  void GiveUpTurn() {
    std::erase(turns, g_turn);
    WakeFirst();
  }

  void WakeFirst() {
    const auto first = turns.empty() ? asleep.end() : asleep.find(turns.front());
    if (first != asleep.end()) first->second->notify_one();
  }

  void Grant(std::list<Waiter*>::iterator at, bool ready) {
    Waiter* const waiter = *at;
    waiters.erase(at);
    waiter->granted = true;
    waiter->was_ready = ready;
    if (waiter->counted) {
      ++computing;
      waiter->turn = NewTurn();
    }
    ++moves;
    if (!one_at_a_time || !waiter->counted) return waiter->wake->notify_one();
    asleep[waiter->turn] = waiter->wake;
    WakeFirst();
  }

  bool GrantReady(Kind kind) {
    bool any = false;
    for (auto at = waiters.begin(); at != waiters.end();) {
      const auto next = std::next(at);
      if ((*at)->kind == kind && (*(*at)->ready)()) {
        Grant(at, true);
        any = true;
      }
      at = next;
    }
    return any;
  }

  /// Moves the clock to the earliest deadline and lets those through whose time is over.
  bool Jump() {
    std::optional<std::uint64_t> earliest;
    for (const Waiter* waiter : waiters) {
      if (waiter->deadline && (!earliest || *waiter->deadline < *earliest)) earliest = waiter->deadline;
    }
    if (!earliest) return false;
    if (*earliest > now) now = *earliest;
    for (auto at = waiters.begin(); at != waiters.end();) {
      const auto next = std::next(at);
      if ((*at)->deadline && *(*at)->deadline <= now) Grant(at, false);
      at = next;
    }
    return true;
  }

  /// Called whenever a thread blocks or ends.
  void GoOnIfIdle() {
    if (computing == 0) GoOn(&on_deadlock);
  }

  /// Nothing moves by itself any more: the tests' threads first, then the clock, else it is for ever.
  void GoOn(std::function<void()>* for_ever) {
    if (GrantReady(Kind::kWhenIdle) || Jump()) return;
    bool tested = false;
    for (auto at = waiters.begin(); at != waiters.end();) {
      const auto next = std::next(at);
      if ((*at)->kind == Kind::kWhenIdle) {
        Grant(at, false);
        tested = true;
      }
      at = next;
    }
    if (!tested && !waiters.empty() && *for_ever) std::exchange(*for_ever, nullptr)();
  }

  void Yield(std::unique_lock<std::mutex>* lock) {
    if (std::exchange(moves_at_yield, moves) != moves) idle_yields = 0;
    if (++idle_yields >= kSpinningYields * turns.size()) {
      idle_yields = 0;
      GoOn(&on_spin);
    }
    if (turns.size() == 1) return;
    const std::uint64_t turn = NewTurn();
    GiveUpTurn();
    AwaitTurn(lock, turn);
  }

  bool Wait(std::unique_lock<std::mutex>* lock, Waiter* waiter) {
    waiter->wake = WakesOfTheProcess().Take();
    waiters.push_back(waiter);
    if (waiter->counted) {
      --computing;
      GiveUpTurn();
    }
    ++moves;
    GoOnIfIdle();
    if (one_at_a_time) {
      const bool in_turn = waiter->counted;
      waiter->wake->wait(*lock, [&] { return waiter->granted && (!in_turn || turns.front() == waiter->turn); });
      if (in_turn) asleep.erase(waiter->turn);
      if (in_turn) g_turn = waiter->turn;
    }
    while (!waiter->granted) {
      const std::uint64_t before = moves;
      const bool woken = waiter->wake->wait_for(*lock, kStalled, [&] { return waiter->granted; });
      if (!woken && moves == before && !GrantReady(Kind::kWhenIdle)) Jump();
    }
    WakesOfTheProcess().Give(waiter->wake);
    return waiter->was_ready;
  }
};

VirtualTime::VirtualTime() : state_(std::make_shared<State>()) {
  state_->computing = 1;
  g_part_of = state_.get();
}

VirtualTime::~VirtualTime() {
  if (g_part_of == state_.get()) g_part_of = nullptr;
}

std::uint64_t VirtualTime::now_ms() const {
  const std::lock_guard lock(state_->mutex);
  return state_->now;
}

bool VirtualTime::Block(const std::function<bool()>& ready, std::optional<std::uint64_t> timeout_ms) {
  const auto state = state_;
  std::unique_lock lock(state->mutex);
  if (ready()) return true;
  if (timeout_ms == 0) return false;
  Waiter waiter;
  waiter.ready = &ready;
  if (timeout_ms) waiter.deadline = state->now + *timeout_ms;
  waiter.counted = g_part_of == state.get();
  return state->Wait(&lock, &waiter);
}

void VirtualTime::Change(const std::function<void()>& change) {
  const std::lock_guard lock(state_->mutex);
  change();
  ++state_->moves;
  state_->GrantReady(Kind::kWait);
}

bool VirtualTime::RunUntil(const std::function<bool()>& done, std::uint64_t most_ms) {
  const auto state = state_;
  std::unique_lock lock(state->mutex);
  Waiter waiter;
  waiter.kind = Kind::kWhenIdle;
  waiter.ready = &done;
  waiter.deadline = state->now + most_ms;
  waiter.counted = g_part_of == state.get();
  return state->Wait(&lock, &waiter) || done();
}

void VirtualTime::Settle() {
  RunUntil([] { return true; });
}

void VirtualTime::Advance(std::uint64_t milliseconds) {
  Block([] { return false; }, milliseconds);
  Settle();
}

void VirtualTime::OneAtATime() {
  const std::lock_guard lock(state_->mutex);
  state_->one_at_a_time = true;
  g_turn = state_->NewTurn();
}

void VirtualTime::Yield() {
  const auto state = state_;
  std::unique_lock lock(state->mutex);
  if (state->one_at_a_time && g_part_of == state.get()) state->Yield(&lock);
}

std::uint64_t VirtualTime::Enter() {
  const std::lock_guard lock(state_->mutex);
  ++state_->computing;
  ++state_->moves;
  return state_->NewTurn();
}

void VirtualTime::BeginThread(std::uint64_t turn) {
  const auto state = state_;
  g_part_of = state.get();
  std::unique_lock lock(state->mutex);
  state->AwaitTurn(&lock, turn);
}

void VirtualTime::Leave() {
  g_part_of = nullptr;
  const std::lock_guard lock(state_->mutex);
  --state_->computing;
  state_->GiveUpTurn();
  ++state_->moves;
  state_->GoOnIfIdle();
}

void VirtualTime::BlockForEver() {
  const auto state = state_;
  if (g_part_of == state.get()) Leave();
  std::mutex nothing;
  std::condition_variable never;
  std::unique_lock lock(nothing);
  for (;;) never.wait(lock);
}

void VirtualTime::OnDeadlock(std::function<void()> handler) {
  const std::lock_guard lock(state_->mutex);
  state_->on_deadlock = std::move(handler);
}

void VirtualTime::OnSpin(std::function<void()> handler) {
  const std::lock_guard lock(state_->mutex);
  state_->on_spin = std::move(handler);
}

}  // namespace varnel::testing
