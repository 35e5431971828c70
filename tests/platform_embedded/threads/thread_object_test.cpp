#include "platform/embedded/threads/thread_object.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace varnel::embedded {
namespace {

constexpr std::uint32_t kForever = ~0u;

std::shared_ptr<ThreadObject> Start(platform::ThreadStart start, void* parameter) {
  auto thread = std::make_shared<ThreadObject>(start, parameter);
  EXPECT_EQ(ThreadObject::Start(thread), 0u);
  return thread;
}

void Join(const std::shared_ptr<ThreadObject>& thread) {
  Waitable* const one = thread.get();
  EXPECT_EQ(ThreadObject::Wait({&one, 1}, false, kForever), 0u);
}

TEST(ThreadObjects, AThreadThatIsEndedWhileItWorksGoesOnToWhereItLeavesAndNoFurther) {
  struct Shared {
    std::atomic<bool> begun{false};
    std::atomic<bool> ended{false};
    std::atomic<int> steps{0};
  } shared;
  const auto thread = Start(
      [](void* parameter) -> std::uint32_t {
        auto* all = static_cast<Shared*>(parameter);
        all->begun.store(true);
        while (!all->ended.load()) std::this_thread::yield();
        all->steps.store(1);
        if (ThreadObject::CurrentWasEnded()) ThreadObject::Leave();
        all->steps.store(2);
        return 3;
      },
      &shared);
  while (!shared.begun.load()) std::this_thread::yield();
  thread->End(1223);
  EXPECT_EQ(thread->exit_code(), 1223u);
  EXPECT_FALSE(thread->TryTake());  // it has not left yet
  shared.ended.store(true);
  Join(thread);
  EXPECT_EQ(shared.steps.load(), 1);
  EXPECT_EQ(thread->exit_code(), 1223u);
}

TEST(ThreadObjects, TheExitCodeIsWrittenOnceByWhoeverIsFirst) {
  const auto returned = Start([](void*) -> std::uint32_t { return 4; }, nullptr);
  Join(returned);
  returned->End(5);
  EXPECT_EQ(returned->exit_code(), 4u);

  std::atomic<bool> go{false};
  const auto ended = Start(
      [](void* parameter) -> std::uint32_t {
        while (!static_cast<std::atomic<bool>*>(parameter)->load()) std::this_thread::yield();
        return 6;
      },
      &go);
  ended->End(7);
  ended->End(8);
  go.store(true);
  Join(ended);
  EXPECT_EQ(ended->exit_code(), 7u);
}

TEST(ThreadObjects, AThreadThatEndsItselfGoesNoFurther) {
  std::atomic<int> steps{0};
  const auto thread = Start(
      [](void* parameter) -> std::uint32_t {
        static_cast<std::atomic<int>*>(parameter)->fetch_add(1);
        ThreadObject::Current()->End(9);
        static_cast<std::atomic<int>*>(parameter)->fetch_add(1);
        return 10;
      },
      &steps);
  Join(thread);
  EXPECT_EQ(thread->exit_code(), 9u);
  EXPECT_EQ(steps.load(), 1);
}

TEST(ThreadObjects, EndingRacesWithReturningWithoutHarm) {
  for (int i = 0; i < 300; ++i) {
    const auto thread = Start([](void*) -> std::uint32_t { return 1; }, nullptr);
    thread->End(2);
    Join(thread);
    EXPECT_TRUE(thread->exit_code() == 1 || thread->exit_code() == 2);
  }
}

TEST(ThreadObjects, AThreadThatIsEndedBeforeItBeginsRunsNothing) {
  std::atomic<int> steps{0};
  const auto thread = std::make_shared<ThreadObject>(
      [](void* parameter) -> std::uint32_t {
        static_cast<std::atomic<int>*>(parameter)->fetch_add(1);
        return 11;
      },
      &steps);
  thread->End(12);
  EXPECT_EQ(ThreadObject::Start(thread), 0u);
  Join(thread);
  EXPECT_EQ(steps.load(), 0);
  EXPECT_EQ(thread->exit_code(), 12u);
}

TEST(ThreadObjects, AThreadThatNobodyMadeHereIsNeverEnded) {
  EXPECT_EQ(ThreadObject::Current(), nullptr);
  EXPECT_FALSE(ThreadObject::CurrentWasEnded());
}

TEST(ThreadObjects, AnExitCodeOfStillActiveIsGivenAsItIs) {
  const auto thread = Start([](void*) -> std::uint32_t { return platform::kStillActive; }, nullptr);
  Join(thread);
  thread->End(1);
  EXPECT_EQ(thread->exit_code(), platform::kStillActive);
}

}  // namespace
}  // namespace varnel::embedded
