#include "platform/embedded/trace/event_log_session.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/support/trace_port_fixture.h"

namespace {

using namespace varnel::embedded;
using varnel::testing::Block;
using varnel::testing::TracePort;
namespace vp = varnel::platform;

constexpr GUID kKernelPower = {0x331C3B3A, 0x2005, 0x44C2, {0xAC, 0x5E, 0x77, 0x22, 0x0C, 0x37, 0xD6, 0xB4}};
constexpr std::uint32_t kNameOffset = 120;
constexpr std::uint32_t kFileOffset = 640;

class EventLogSessionTest : public ::testing::Test {
 protected:
  /// The machine's next boot, as far as the session is concerned.
  void Boot(const std::string& host_boot_id = HostBootId()) {
    const auto machine = port_.options().machine;
    ASSERT_TRUE(machine->WriteBoot(BootRecord{2, FileTimeNow(), host_boot_id}).ok());
  }

  static Block QueryBlock(std::size_t size = 1160) {
    Block block(size);
    block->Wnode.Flags = vp::kWnodeFlagTracedGuid;
    block->LoggerNameOffset = kNameOffset;
    block->LogFileNameOffset = size > kFileOffset ? kFileOffset : 0;
    return block;
  }

  std::uint32_t Query(vp::TRACEHANDLE handle, const char16_t* name) {
    Block block = QueryBlock();
    return port_.trace().ControlTraceW(handle, name, block.get(), vp::kEventTraceControlQuery);
  }

  /// The loggers that have the provider enabled; empty when the GUID is not known.
  std::vector<std::uint16_t> LoggersOf(const GUID& guid) {
    std::uint32_t needed = 0;
    auto& trace = port_.trace();
    trace.EnumerateTraceGuidsEx(vp::kTraceGuidQueryInfo, &guid, sizeof guid, nullptr, 0, &needed);
    std::vector<std::byte> answer(needed);
    std::vector<std::uint16_t> loggers;
    if (trace.EnumerateTraceGuidsEx(vp::kTraceGuidQueryInfo, &guid, sizeof guid, answer.data(), needed, &needed) != 0) {
      return loggers;
    }
    for (std::size_t at = 24; at + 32 <= answer.size(); at += 32) {
      std::uint16_t id;
      std::memcpy(&id, answer.data() + at + 6, sizeof id);
      loggers.push_back(id);
    }
    return loggers;
  }

  TracePort port_;
};

TEST_F(EventLogSessionTest, IsNotThereBeforeTheFirstBoot) {
  EXPECT_EQ(Query(0, u"EventLog-System"), vp::kErrorWmiInstanceNotFound);
  EXPECT_EQ(Query(kEventLogSessionId, nullptr), vp::kErrorWmiInstanceNotFound);
  EXPECT_TRUE(LoggersOf(kKernelPower).empty());
}

TEST_F(EventLogSessionTest, AnswersByNameAndByNumberOnAMachineThatHasBooted) {
  Boot();
  EXPECT_EQ(Query(0, u"eventlog-SYSTEM"), 0u) << "names are met without case";
  Block block = QueryBlock();
  ASSERT_EQ(port_.trace().ControlTraceW(kEventLogSessionId, nullptr, block.get(), vp::kEventTraceControlQuery), 0u);
  EXPECT_EQ(block.Text(kNameOffset), u"EventLog-System");
  EXPECT_EQ(block.Text(kFileOffset), u"") << "it has no file";
  EXPECT_EQ(block->LogFileNameOffset, 0u);
}

TEST_F(EventLogSessionTest, HearsTheKernelsTwoProviders) {
  Boot();
  EXPECT_EQ(LoggersOf(kKernelPower), std::vector<std::uint16_t>{kEventLogSessionId});
  EXPECT_EQ(LoggersOf(*EventLogProvidersBegin()), std::vector<std::uint16_t>{kEventLogSessionId});
  EXPECT_TRUE(LoggersOf({1, 2, 3, {4}}).empty());
  std::uint32_t needed = 0;
  port_.trace().EnumerateTraceGuidsEx(vp::kTraceGuidQueryList, nullptr, 0, nullptr, 0, &needed);
  EXPECT_EQ(needed, 3 * sizeof(GUID)) << "both stand in the list, behind the test's own";
}

TEST_F(EventLogSessionTest, IsGoneWhenTheHostWasRestarted) {
  Boot("another boot of the host");
  EXPECT_EQ(Query(0, u"EventLog-System"), vp::kErrorWmiInstanceNotFound);
  EXPECT_TRUE(LoggersOf(kKernelPower).empty());
}

TEST_F(EventLogSessionTest, CanBeLookedAtAndNoMore) {
  Boot();
  Block block = QueryBlock();
  EXPECT_EQ(port_.trace().ControlTraceW(0, u"EventLog-System", nullptr, vp::kEventTraceControlStop),
            vp::kErrorAccessDenied);
  EXPECT_EQ(port_.trace().ControlTraceW(0, u"EventLog-System", block.get(), vp::kEventTraceControlFlush),
            vp::kErrorAccessDenied);
  vp::TRACEHANDLE handle = 0;
  Block start = TracePort::SessionBlock(u"EventLog-System");
  EXPECT_EQ(port_.trace().StartTraceW(&handle, u"EventLog-System", start.get()), vp::kErrorAlreadyExists);
}

TEST_F(EventLogSessionTest, ANameThatDoesNotFitIs234) {
  Boot();
  Block block(140);
  block->LoggerNameOffset = kNameOffset;
  EXPECT_EQ(port_.trace().ControlTraceW(0, u"EventLog-System", block.get(), vp::kEventTraceControlQuery),
            vp::kErrorMoreData);
}

}  // namespace
