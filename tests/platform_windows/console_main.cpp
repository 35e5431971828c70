// The main file of tests on a console: the program runs itself once more, on a console of its own that nobody sees, so
// that an interruption reaches nobody else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdio>
#include <string>

#include "tests/support/not_checkable.h"

namespace {

constexpr wchar_t kHasConsole[] = L"VARNEL_TEST_HAS_CONSOLE";

/// Goes with this process, however that ends.
void TieTo(HANDLE process) {
  const HANDLE job = ::CreateJobObjectW(nullptr, nullptr);
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  ::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  ::AssignProcessToJobObject(job, process);
}

int RunOnAConsole() {
  ::SetEnvironmentVariableW(kHasConsole, L"1");
  std::wstring line = ::GetCommandLineW();
  STARTUPINFOW start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = ::GetStdHandle(STD_INPUT_HANDLE);
  start.hStdOutput = ::GetStdHandle(STD_OUTPUT_HANDLE);
  start.hStdError = ::GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process{};
  if (::CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &start,
                       &process) == 0) {
    std::fprintf(stderr, "cannot be started on a console (%lu)\n", ::GetLastError());
    return 1;
  }
  TieTo(process.hProcess);
  ::WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 1;
  ::GetExitCodeProcess(process.hProcess, &code);
  return static_cast<int>(code);
}

}  // namespace

int main(int argc, char** argv) {
  if (::GetEnvironmentVariableW(kHasConsole, nullptr, 0) == 0) return RunOnAConsole();
  ::testing::InitGoogleMock(&argc, argv);
  varnel::testing::LeaveOutWhatCannotBeChecked();
  return RUN_ALL_TESTS();
}
