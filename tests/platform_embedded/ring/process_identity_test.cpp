#include "platform/embedded/ring/process_identity.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace {

using namespace varnel::embedded::ring;

// A child that waits until it is killed; its owner word.
class WaitingChild {
 public:
  WaitingChild() {
    int told[2];
    EXPECT_EQ(::pipe(told), 0);
    process_ = ::fork();
    if (process_ == 0) {
      ForgetIdentityAfterFork();
      ::prctl(PR_SET_NAME, ") R 1 (");  // what stands in parentheses may hold anything
      const std::uint64_t word = OwnOwnerWord();
      static_cast<void>(::write(told[1], &word, sizeof word) == sizeof word);
      for (;;) ::pause();
    }
    ::close(told[1]);
    EXPECT_EQ(::read(told[0], &owner_, sizeof owner_), static_cast<ssize_t>(sizeof owner_));
    ::close(told[0]);
  }
  ~WaitingChild() {
    Kill();
    Reap();
  }
  WaitingChild(const WaitingChild&) = delete;
  WaitingChild& operator=(const WaitingChild&) = delete;

  std::uint64_t owner() const { return owner_; }
  pid_t process() const { return process_; }
  // Leaves a zombie behind.
  void Kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    siginfo_t info{};
    ::waitid(P_PID, static_cast<id_t>(process_), &info, WEXITED | WNOWAIT);
  }
  void Reap() {
    if (process_ > 0) ::waitpid(process_, nullptr, 0);
    process_ = -1;
  }

 private:
  pid_t process_ = -1;
  std::uint64_t owner_ = 0;
};

TEST(ProcessIdentityTest, TheOwnWordNamesTheProcessAndStaysTheSame) {
  const std::uint64_t word = OwnOwnerWord();
  EXPECT_NE(word, 0u);
  EXPECT_EQ(OwnerProcess(word), static_cast<std::uint32_t>(::getpid()));
  EXPECT_EQ(CurrentProcess(), static_cast<std::uint32_t>(::getpid()));
  EXPECT_EQ(OwnOwnerWord(), word);
  EXPECT_TRUE(OwnerLives(word));
}

TEST(ProcessIdentityTest, NobodyOwnsZero) {
  EXPECT_FALSE(OwnerLives(0));
}

TEST(ProcessIdentityTest, AnotherProcessLivesUntilItIsKilledWhateverItIsCalled) {
  WaitingChild child;
  EXPECT_EQ(OwnerProcess(child.owner()), static_cast<std::uint32_t>(child.process()));
  EXPECT_NE(child.owner(), OwnOwnerWord());
  EXPECT_TRUE(OwnerLives(child.owner()));
  child.Kill();
  EXPECT_FALSE(OwnerLives(child.owner())) << "a zombie writes nothing any more";
  child.Reap();
  EXPECT_FALSE(OwnerLives(child.owner()));
}

TEST(ProcessIdentityTest, AProcessThatGotTheNumberOfADeadOneIsNotTakenForIt) {
  const WaitingChild child;
  EXPECT_FALSE(OwnerLives(child.owner() ^ 1)) << "another start time";
}

TEST(ProcessIdentityTest, AProcessWhoseFirstThreadEndedLivesOn) {
  int told[2];
  ASSERT_EQ(::pipe(told), 0);
  const pid_t process = ::fork();
  if (process == 0) {
    ForgetIdentityAfterFork();
    std::thread([owner = OwnOwnerWord(), out = told[1]] {
      static_cast<void>(::write(out, &owner, sizeof owner) == sizeof owner);
      for (;;) ::pause();
    }).detach();
    ::syscall(SYS_exit, 0);  // this thread alone, and without unwinding into the test program
  }
  ::close(told[1]);  // so that a child that dies is an end and no wait
  std::uint64_t owner = 0;
  ASSERT_EQ(::read(told[0], &owner, sizeof owner), static_cast<ssize_t>(sizeof owner));
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(OwnerLives(owner));
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
  EXPECT_FALSE(OwnerLives(owner));
  ::close(told[0]);
}

TEST(ProcessIdentityTest, EachThreadHasANumberOfItsOwn) {
  EXPECT_EQ(CurrentThread(), static_cast<std::uint32_t>(::gettid()));
  std::uint32_t other = 0;
  std::thread([&] { other = CurrentThread(); }).join();
  EXPECT_NE(other, CurrentThread());
  EXPECT_NE(other, 0u);
}

TEST(ProcessIdentityTest, AChildThatForgotHasAnIdentityOfItsOwn) {
  const std::uint64_t parent = OwnOwnerWord();
  const pid_t child = ::fork();
  if (child == 0) {
    ForgetIdentityAfterFork();
    const bool good = OwnOwnerWord() != parent && CurrentProcess() == static_cast<std::uint32_t>(::getpid()) &&
                      CurrentThread() == static_cast<std::uint32_t>(::gettid()) && OwnerLives(parent);
    ::_exit(good ? 0 : 1);
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

}  // namespace
