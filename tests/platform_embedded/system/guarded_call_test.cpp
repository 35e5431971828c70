#include "platform/embedded/system/guarded_call.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

namespace varnel::embedded {
namespace {

void Touch(void* place) {
  (void)*static_cast<volatile char*>(place);
}

/// A page that nobody may touch.
class ForbiddenPage {
 public:
  ForbiddenPage() : place_(::mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {}
  ~ForbiddenPage() { ::munmap(place_, 4096); }
  void* get() const { return place_; }

 private:
  void* place_;
};

TEST(GuardedCall, AForbiddenPageIsAnAccessViolation) {
  const ForbiddenPage page;
  EXPECT_EQ(RunGuarded(&Touch, page.get()), kStatusAccessViolation);
}

TEST(GuardedCall, AMappingBehindTheEndOfItsFileIsAnInPageError) {
  char path[] = "/tmp/varnel-guard-XXXXXX";
  const int file = ::mkstemp(path);
  void* const place = ::mmap(nullptr, 8192, PROT_READ, MAP_SHARED, file, 0);
  EXPECT_EQ(RunGuarded(&Touch, static_cast<char*>(place) + 4096), kStatusInPageError);
  ::munmap(place, 8192);
  ::close(file);
  ::unlink(path);
}

TEST(GuardedCall, AnIllegalInstructionComesBackAsItsCode) {
  EXPECT_EQ(RunGuarded([](void*) { __builtin_trap(); }, nullptr), kStatusIllegalInstruction);
}

TEST(GuardedCall, AnExceptionOfAnyTypeComesBackAsOneCode) {
  EXPECT_EQ(RunGuarded([](void*) { throw 1; }, nullptr), kCppException);
}

TEST(GuardedCall, ThreadsFaultSideBySide) {
  const ForbiddenPage page;
  const auto run = [&] {
    for (int i = 0; i < 100; ++i) EXPECT_EQ(RunGuarded(&Touch, page.get()), kStatusAccessViolation);
  };
  std::thread first(run);
  std::thread second(run);
  first.join();
  second.join();
}

TEST(GuardedCall, AfterAFaultAnExceptionIsStillCaughtAndTheOtherWayRound) {
  const ForbiddenPage page;
  EXPECT_EQ(RunGuarded(&Touch, page.get()), kStatusAccessViolation);
  EXPECT_EQ(RunGuarded([](void*) { throw 1; }, nullptr), kCppException);
  EXPECT_EQ(RunGuarded(&Touch, page.get()), kStatusAccessViolation);
}

/// A process of its own in which nothing was guarded before.
class GuardedCallDeathTest : public ::testing::Test {
 protected:
  void SetUp() override { ::testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(GuardedCallDeathTest, AFaultOutsideOfAGuardedCallEndsTheProcessAsEver) {
  EXPECT_EXIT(
      {
        ::signal(SIGSEGV, SIG_DFL);
        const ForbiddenPage page;
        if (RunGuarded(&Touch, page.get()) != kStatusAccessViolation) std::_Exit(1);
        Touch(page.get());
      },
      ::testing::KilledBySignal(SIGSEGV), "");
}

TEST_F(GuardedCallDeathTest, AFaultOutsideReachesTheHandlerThatWasThereBefore) {
  EXPECT_EXIT(
      {
        struct sigaction action {};
        action.sa_sigaction = [](int, siginfo_t*, void*) { std::_Exit(42); };
        action.sa_flags = SA_SIGINFO;
        ::sigaction(SIGSEGV, &action, nullptr);
        const ForbiddenPage page;
        if (RunGuarded(&Touch, page.get()) != kStatusAccessViolation) std::_Exit(1);
        Touch(page.get());
      },
      ::testing::ExitedWithCode(42), "");
}

TEST_F(GuardedCallDeathTest, ASignalThatSomebodySentIsNoFaultOfTheGuardedCode) {
  EXPECT_EXIT(
      {
        ::signal(SIGFPE, SIG_DFL);
        RunGuarded(
            [](void*) {
              ::kill(::getpid(), SIGFPE);
              ::kill(::getpid(), SIGFPE);  // the first put the ordinary way back
            },
            nullptr);
        std::_Exit(1);
      },
      ::testing::KilledBySignal(SIGFPE), "");
}

}  // namespace
}  // namespace varnel::embedded
