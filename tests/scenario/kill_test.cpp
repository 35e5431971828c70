// The module's process is killed at random moments while a provider runs on: every event arrives once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/scenario/kill_machine.h"

namespace varnel::scenario {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VARNEL_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(undefined_behavior_sanitizer)
#define VARNEL_SANITIZED 1
#endif
#endif

#if defined(VARNEL_SANITIZED)
constexpr bool kSanitized = true;
constexpr int kKills = 20;
constexpr int kSlower = 4;  // all that a run does takes so much longer
#else
constexpr bool kSanitized = false;
constexpr int kKills = 200;
constexpr int kSlower = 1;
#endif
constexpr int kKillsOfAMachine = 20;
constexpr int kSideBySide = 4;

int KillsAskedFor() {
  const char* text = std::getenv("VARNEL_KILLS");
  return text == nullptr ? kKills : std::max(1, std::atoi(text));
}

std::uint64_t Seed() {
  const char* text = std::getenv("VARNEL_SEED");
  return text == nullptr ? 1 : std::strtoull(text, nullptr, 10);
}

KillPlan PlanOf(int machine, int kills) {
  KillPlan plan;
  plan.seed = Seed() * 1000 + static_cast<std::uint64_t>(machine);
  plan.kills = std::min(kKillsOfAMachine, kills - machine * kKillsOfAMachine);
  plan.auto_logger = machine % 2 == 0;
  plan.shortest *= kSlower;
  plan.longest *= kSlower;
  return plan;
}

TEST(KillTest, EveryEventArrivesOnceThoughTheModuleIsKilledAtRandomMoments) {
  const int kills = KillsAskedFor();
  const int machines = (kills + kKillsOfAMachine - 1) / kKillsOfAMachine;
  std::atomic<int> next{0};
  std::mutex mutex;
  std::vector<std::thread> workers;
  for (int i = 0; i < std::min(kSideBySide, machines); ++i) {
    workers.emplace_back([&] {
      for (int machine = next++; machine < machines; machine = next++) {
        const KillPlan plan = PlanOf(machine, kills);
        const KillVerdict verdict = Judge(KillMachine(plan).Play());
        const std::lock_guard lock(mutex);
        for (const std::string& failure : verdict.failures) {
          ADD_FAILURE() << "machine " << machine + 1 << " (seed " << plan.seed << "): " << failure;
        }
        std::printf(
            "machine %d, %d kills: %llu events written, %llu delivered, %llu again; lost by the order %llu, "
            "unread at a kill %llu, between file and live trace %llu\n",
            machine + 1, plan.kills, static_cast<unsigned long long>(verdict.written),
            static_cast<unsigned long long>(verdict.delivered), static_cast<unsigned long long>(verdict.repeats),
            static_cast<unsigned long long>(verdict.lost_by_order),
            static_cast<unsigned long long>(verdict.lost_unread),
            static_cast<unsigned long long>(verdict.lost_between));
        std::fflush(stdout);
        // The verdict accounts for every event. How many the order loses is a matter of speed: a few of them as a rule,
        // half of them where a sanitizer and other work keep the file from being read before the live events come.
        EXPECT_GT(verdict.delivered, kSanitized ? 0 : verdict.written / 2);
      }
    });
  }
  for (std::thread& worker : workers) worker.join();
}

}  // namespace
}  // namespace varnel::scenario
