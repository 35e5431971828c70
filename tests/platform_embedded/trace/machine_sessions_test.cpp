#include "platform/embedded/trace/machine_sessions.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/embedded/embedded_platform.h"
#include "tests/support/trace_port_fixture.h"

namespace {

using varnel::embedded::AutoLogger;
using varnel::embedded::ListSessions;
using varnel::embedded::StartSessionFromAutoLogger;
using varnel::testing::kTestProvider;
using varnel::testing::ReadTraceFile;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

class MachineSessionsTest : public ::testing::Test {
 protected:
  AutoLogger Logger() {
    AutoLogger logger;
    logger.name = u"auto";
    logger.log_file = u"C:\\auto.etl.001";
    logger.buffer_size_kb = 80;
    logger.minimum_buffers = 2;
    logger.maximum_buffers = 16;
    logger.maximum_file_size_mb = 8;
    logger.log_file_mode = 0x18000102;
    logger.flush_timer_s = 1;
    logger.providers = {{kTestProvider, 5, ~std::uint64_t{0}, 0, 0}};
    return logger;
  }
  TracePort port_;
};

TEST_F(MachineSessionsTest, AnAutoLoggersSessionRunsWithItsProvidersEnabled) {
  ASSERT_EQ(StartSessionFromAutoLogger(port_.options(), Logger()), 0u);
  EXPECT_NE(varnel_enabled(port_.provider()), 0);
  port_.Write(7);
  const auto sessions = ListSessions(port_.machine().machine());
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0].name, u"auto");
  EXPECT_EQ(sessions[0].log_file_name, u"C:\\auto.etl.001");
  EXPECT_EQ(sessions[0].buffer_size, 80u * 1024);
  EXPECT_EQ(sessions[0].log_file_mode, 0x18000102u);
  ASSERT_EQ(sessions[0].providers.size(), 1u);
  EXPECT_TRUE(sessions[0].providers[0].guid == kTestProvider);
  EXPECT_EQ(sessions[0].providers[0].level, 5);
}

TEST_F(MachineSessionsTest, AnAutoLoggerThatCannotStartLeavesNothingRunning) {
  auto logger = Logger();
  logger.log_file = u"D:\\auto.etl.001";
  EXPECT_EQ(StartSessionFromAutoLogger(port_.options(), logger), vp::kErrorPathNotFound);
  EXPECT_TRUE(ListSessions(port_.machine().machine()).empty());
}

TEST_F(MachineSessionsTest, EndingAllSessionsWritesThemOut) {
  port_.StartSession(u"one");
  port_.StartSession(u"two");
  for (std::uint32_t i = 0; i < 30; ++i) port_.Write(i);
  EXPECT_EQ(ListSessions(port_.machine().machine()).size(), 2u);
  EXPECT_TRUE(varnel::embedded::EndAllSessions(port_.machine().machine()));
  EXPECT_TRUE(ListSessions(port_.machine().machine()).empty());
  EXPECT_EQ(varnel_enabled(port_.provider()), 0);
  for (const char* name : {"one.etl", "two.etl"}) {
    const auto file = ReadTraceFile(port_.machine().FilePath(name));
    EXPECT_EQ(file.events.size(), 30u);
    EXPECT_NE(file.end_time, 0);
  }
}

TEST_F(MachineSessionsTest, ALinkOutOfTheDriveIsReadAsATraceAndNeverWritten) {
  const auto session = port_.StartSession(u"one");
  for (std::uint32_t i = 0; i < 30; ++i) port_.Write(i);
  port_.Stop(session);
  const std::string target = port_.machine().root() + "/kept.etl";
  std::filesystem::rename(port_.machine().FilePath("one.etl"), target);
  std::filesystem::create_symlink(target, port_.machine().FilePath("one.etl"));
  std::ofstream(port_.machine().root() + "/links") << "133000000000000000\tC/one.etl\t" << target << '\n';

  const auto options = varnel::embedded::TraceOptionsOf(port_.options().machine);
  std::string path;
  ASSERT_EQ(options.resolve(u"C:\\one.etl", varnel::embedded::PathUse::kRead, &path), 0u);
  EXPECT_EQ(ReadTraceFile(path).events.size(), 30u);
  auto block = TracePort::SessionBlock(u"one");
  vp::TRACEHANDLE handle = 0;
  varnel::embedded::EmbeddedTrace trace(options);
  EXPECT_EQ(trace.StartTraceW(&handle, u"one", block.get()), vp::kErrorAccessDenied);
  EXPECT_EQ(ReadTraceFile(target).events.size(), 30u);
}

TEST_F(MachineSessionsTest, AFileIsInUseAsLongAsItsSessionRuns) {
  const auto handle = port_.StartSession(u"one");
  struct stat info {};
  ASSERT_EQ(::stat(port_.machine().FilePath("one.etl").c_str(), &info), 0);
  const auto& machine = port_.machine().machine();
  EXPECT_TRUE(varnel::embedded::InUseBySession(machine, info.st_dev, info.st_ino));
  EXPECT_FALSE(varnel::embedded::InUseBySession(machine, info.st_dev, info.st_ino + 1));
  port_.Stop(handle);
  EXPECT_FALSE(varnel::embedded::InUseBySession(machine, info.st_dev, info.st_ino));
}

TEST_F(MachineSessionsTest, ThePlatformKeepsASessionsFileFromBeingDeleted) {
  const auto platform = varnel::embedded::EmbeddedPlatform::Open(port_.machine().root());
  ASSERT_TRUE(platform.ok());
  auto& record = platform.value()->record();
  auto block = TracePort::SessionBlock(u"one");
  vp::TRACEHANDLE handle = 0;
  ASSERT_EQ(record.trace->StartTraceW(&handle, u"one", block.get()), 0u);
  EXPECT_FALSE(record.files->DeleteFileW(u"C:\\one.etl"));
  EXPECT_EQ(record.system->GetLastError(), vp::kErrorSharingViolation);
  ASSERT_EQ(record.trace->ControlTraceW(handle, nullptr, nullptr, vp::kEventTraceControlStop), 0u);
  EXPECT_TRUE(record.files->DeleteFileW(u"C:\\one.etl"));
}

}  // namespace
