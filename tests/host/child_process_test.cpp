#include "host/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

namespace varnel::host {
namespace {

using Output = ChildProcess::Output;

ChildProcess Shell(const std::string& script, Output output = Output::kPiped) {
  auto child = ChildProcess::Start({"/bin/sh", "-c", script}, output);
  EXPECT_TRUE(child.ok());
  return std::move(child).value();
}

TEST(ChildProcess, GivesTheExitCode) {
  EXPECT_EQ(Shell("exit 7").Wait(), 7);
}

TEST(ChildProcess, GivesTheSignalThatEndedItAsAShellDoes) {
  EXPECT_EQ(Shell("kill -TERM $$").Wait(), 128 + SIGTERM);
}

TEST(ChildProcess, GivesItsOutputLineByLineAndALastOneThatWasCut) {
  ChildProcess child = Shell("printf 'one\\n\\ntwo'");
  EXPECT_EQ(child.ReadLine(), "one");
  EXPECT_EQ(child.ReadLine(), "");
  EXPECT_EQ(child.ReadLine(), "two");
  EXPECT_EQ(child.ReadLine(), std::nullopt);
  EXPECT_EQ(child.Wait(), 0);
}

TEST(ChildProcess, AWaitForOutputRunsOutWhileTheChildIsSilent) {
  ChildProcess child = Shell("exec sleep 1000");
  EXPECT_FALSE(child.WaitForOutput(std::chrono::milliseconds(1)));
  child.Signal(SIGKILL);
  EXPECT_EQ(child.Wait(), 128 + SIGKILL);
}

TEST(ChildProcess, AProgramThatIsNotThereIsToldByName) {
  const auto child = ChildProcess::Start({"/nowhere/program"}, Output::kDropped);
  ASSERT_FALSE(child.ok());
  EXPECT_EQ(child.error().message, "/nowhere/program: No such file or directory");
}

TEST(ChildProcess, IsKilledWhenItsOwnerGoes) {
  pid_t pid = 0;
  {
    const ChildProcess child = Shell("exec sleep 1000", Output::kDropped);
    pid = child.pid();
    EXPECT_EQ(::kill(pid, 0), 0);
  }
  EXPECT_NE(::kill(pid, 0), 0);
}

TEST(ChildProcess, NamesTheRunningProgram) {
  EXPECT_EQ(std::filesystem::path(OwnProgram()).filename(), "host_test");
}

}  // namespace
}  // namespace varnel::host
