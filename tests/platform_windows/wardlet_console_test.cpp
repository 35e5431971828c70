// wardlet.exe on a console: what it does when it is interrupted, and that the console has its own code page back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/platform_windows/waiting_module.h"
#include "tests/platform_windows/wardlet_program.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

namespace varnel::host {
namespace {

using ::testing::HasSubstr;

constexpr UINT kOwnCodePage = 850;  // neither UTF-8 nor the one that consoles here begin with
constexpr DWORD kMostMs = 120'000;
constexpr int kHung = 99;
constexpr unsigned kEndedByControl = 0xC000013A;

BOOL WINAPI IsNotMeant(DWORD /*control*/) {
  return TRUE;
}

class WardletConsole : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    ASSERT_TRUE(InstallPackage());
    ASSERT_NE(::SetConsoleCtrlHandler(&IsNotMeant, TRUE), 0);
  }
  static void TearDownTestSuite() { ::SetConsoleCtrlHandler(&IsNotMeant, FALSE); }

  WardletConsole() {
    SetVariable("VARNEL_MODULE", "Z:" VARNEL_WAITING_MODULE);
    EXPECT_NE(::SetConsoleOutputCP(kOwnCodePage), 0);
  }
  ~WardletConsole() override {
    SetVariable("VARNEL_MODULE", "");
    ::CloseHandle(inside_);
    ::CloseHandle(may_go_);
  }

  /// Waits until the module tells that it has come to its start, its stop or its installation.
  void WaitUntilInside() { ASSERT_EQ(::WaitForSingleObject(inside_, kMostMs), WAIT_OBJECT_0); }
  void LetGo() { ::SetEvent(may_go_); }
  static void Interrupt(DWORD control) { ASSERT_NE(::GenerateConsoleCtrlEvent(control, 0), 0); }

 private:
  const HANDLE inside_ = ::CreateEventW(nullptr, FALSE, FALSE, WAITING_MODULE_IS_INSIDE);
  const HANDLE may_go_ = ::CreateEventW(nullptr, TRUE, FALSE, WAITING_MODULE_MAY_GO);
};

TEST_F(WardletConsole, ShowsUtf8UntilTheProgramEnds) {
  WardletProcess process({"install"});
  WaitUntilInside();
  EXPECT_EQ(::GetConsoleOutputCP(), static_cast<UINT>(CP_UTF8));
  LetGo();
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

TEST_F(WardletConsole, HasItsCodePageBackBehindWrongUse) {
  EXPECT_EQ(WardletProcess({"frob"}).Wait().exit_code, 2);
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

class WardletControl : public WardletConsole, public ::testing::WithParamInterface<DWORD> {};

TEST_P(WardletControl, EndsARunOnceTheModuleHasStopped) {
  WardletProcess process({"run"});
  WaitUntilInside();
  Interrupt(GetParam());
  WaitUntilInside();
  EXPECT_TRUE(process.IsRunning());
  LetGo();
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "{\"Function\":\"Start\"}\n");
  EXPECT_THAT(outcome.err, HasSubstr("1 text"));
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

TEST_P(WardletControl, ASecondOneEndsARunAtOnce) {
  WardletProcess process({"run"});
  WaitUntilInside();
  Interrupt(GetParam());
  WaitUntilInside();
  Interrupt(GetParam());
  EXPECT_EQ(static_cast<unsigned>(process.Wait().exit_code), kEndedByControl);
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

TEST_P(WardletControl, EndsACommandThatDoesNotListenForIt) {
  WardletProcess process({"install"});
  WaitUntilInside();
  Interrupt(GetParam());
  EXPECT_NE(process.Wait().exit_code, kHung);  // the code is the system's: Windows has one for it, Wine says 0
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

INSTANTIATE_TEST_SUITE_P(CtrlC, WardletControl, ::testing::Values(CTRL_C_EVENT));
INSTANTIATE_TEST_SUITE_P(CtrlBreak, WardletControl, ::testing::Values(CTRL_BREAK_EVENT));

TEST_F(WardletConsole, HasItsCodePageBackBehindATextThatCantBeWritten) {
  WardletProcess process({"run"}, WardletProcess::Reader::kGone);
  const Outcome outcome = process.Wait();
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.err, HasSubstr("ends here, before the text counts as delivered"));
  EXPECT_EQ(::GetConsoleOutputCP(), kOwnCodePage);
}

}  // namespace
}  // namespace varnel::host
