#include "crash/log_session.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

constexpr GUID kProvider = {0x331C3B3A, 0x2005, 0x44C2, {0xAC, 0x5E, 0x77, 0x22, 0x0C, 0x37, 0xD6, 0xB4}};

/// The sessions that each instance of the provider is enabled by.
using Instances = std::vector<std::vector<std::uint16_t>>;

template <typename T>
void Append(std::vector<std::uint8_t>* bytes, const T& value) {
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(&value);
  bytes->insert(bytes->end(), begin, begin + sizeof value);
}

/// The answer, with its numbers written one by one. `gap`: bytes between one instance's entries and the next instance.
std::vector<std::uint8_t> Answer(const Instances& instances, std::uint32_t gap = 0) {
  std::vector<std::uint8_t> bytes;
  Append(&bytes, static_cast<std::uint32_t>(instances.size()));
  Append(&bytes, std::uint32_t{0});
  for (std::size_t i = 0; i < instances.size(); ++i) {
    const auto entries = static_cast<std::uint32_t>(instances[i].size());
    const bool last = i + 1 == instances.size();
    Append(&bytes, last ? 0u : 16 + 32 * entries + gap);
    Append(&bytes, entries);
    Append(&bytes, std::uint64_t{0});
    for (const std::uint16_t logger : instances[i]) {
      Append(&bytes, std::uint32_t{1});
      Append(&bytes, std::uint16_t{0x0005});
      Append(&bytes, logger);
      bytes.insert(bytes.end(), 24, 0);
    }
    if (!last) bytes.insert(bytes.end(), gap, 0xEE);
  }
  return bytes;
}

class LogSessionTest : public testing::CrashTest {
 protected:
  void GiveAnswer(std::vector<std::uint8_t> bytes) {
    machine_.trace.enumerate_guids = [bytes = std::move(bytes)](std::uint32_t information_class, const void* in,
                                                                std::uint32_t in_size, void* out,
                                                                std::uint32_t out_size, std::uint32_t* needed) {
      EXPECT_EQ(information_class, 1u);
      EXPECT_EQ(in_size, 16u);
      EXPECT_EQ(std::memcmp(in, &kProvider, 16), 0);
      *needed = static_cast<std::uint32_t>(bytes.size());
      if (out_size < bytes.size()) return platform::kErrorInsufficientBuffer;
      if (!bytes.empty()) std::memcpy(out, bytes.data(), bytes.size());
      return platform::kErrorSuccess;
    };
  }
  std::uint16_t AddSession(const char16_t* name, const char16_t* log_file = u"") {
    return static_cast<std::uint16_t>(machine_.trace.AddSession(name, log_file));
  }
};

TEST_F(LogSessionTest, AProviderThatTheSessionHasEnabledIsFound) {
  GiveAnswer(Answer({{AddSession(u"EventLog-System")}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
  ExpectNothingOpen();
}

TEST_F(LogSessionTest, TheSessionsNameIsComparedWithoutCase) {
  GiveAnswer(Answer({{AddSession(u"EVENTLOG-SYSTEM")}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
}

TEST_F(LogSessionTest, EachEntryOfEachInstanceIsLookedAt) {
  const std::uint16_t other = AddSession(u"Other");
  const std::uint16_t system = AddSession(u"EventLog-System");
  GiveAnswer(Answer({{other, 0}, {}, {other, system}}, /*gap=*/8));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
}

TEST_F(LogSessionTest, AnotherSessionsEnableIsNotEnough) {
  AddSession(u"EventLog-System");
  GiveAnswer(Answer({{AddSession(u"EventLog-System2"), AddSession(u"Log")}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 0u);
}

TEST_F(LogSessionTest, AnEntryWithoutASessionIsNotAskedFor) {
  GiveAnswer(Answer({{0}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 0u);
  EXPECT_EQ(faults_.CountOf("ControlTraceW"), 0u);
}

TEST_F(LogSessionTest, ASessionThatIsGoneIsPassedOver) {
  const std::uint16_t system = AddSession(u"EventLog-System");
  GiveAnswer(Answer({{0x7777, system}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
}

TEST_F(LogSessionTest, ASizeThatComesWithASuccessIsAsGoodAsOneThatComesWithAFailure) {
  GiveAnswer(Answer({{AddSession(u"EventLog-System")}}));
  machine_.trace.enumerate_guids = [give = machine_.trace.enumerate_guids](
                                       std::uint32_t information_class, const void* in, std::uint32_t in_size,
                                       void* out, std::uint32_t out_size, std::uint32_t* needed) {
    const std::uint32_t result = give(information_class, in, in_size, out, out_size, needed);
    return out == nullptr ? platform::kErrorSuccess : result;
  };
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
  ExpectNothingOpen();
}

TEST_F(LogSessionTest, ANullGuidGives0) {
  EXPECT_EQ(CheckProviderInSession(nullptr), 0u);
  EXPECT_EQ(faults_.CountOf("EnumerateTraceGuidsEx"), 0u);
}

TEST_F(LogSessionTest, AProviderWithoutInstancesGives0) {
  GiveAnswer(Answer({}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 0u);
}

TEST_F(LogSessionTest, EachCallThatFailsGives0) {
  GiveAnswer(Answer({{AddSession(u"EventLog-System")}}));
  for (const testing::Fault& fault :
       {testing::Fault{"EnumerateTraceGuidsEx", 1, false, 4200}, testing::Fault{"EnumerateTraceGuidsEx", 2, false, 122},
        testing::Fault{"HeapAlloc", 1, false, 8}, testing::Fault{"ControlTraceW", 1, false, 234}}) {
    faults_.Fail(fault);
    EXPECT_EQ(CheckProviderInSession(&kProvider), 0u) << fault.operation << " " << fault.nth;
    faults_.Clear();
  }
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
  ExpectNothingOpen();
}

TEST_F(LogSessionTest, AnAnswerThatIsCutShortGives0) {
  const std::vector<std::uint8_t> whole = Answer({{AddSession(u"Other")}, {AddSession(u"EventLog-System")}});
  for (std::size_t size = 0; size < whole.size(); ++size) {
    GiveAnswer({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
    EXPECT_EQ(CheckProviderInSession(&kProvider), 0u) << size;
  }
  GiveAnswer(whole);
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
}

TEST_F(LogSessionTest, TheSessionIsAskedForByItsNumberIntoABlockOf1160Bytes) {
  class Watched : public testing::FaultyTrace {
   public:
    using FaultyTrace::FaultyTrace;
    std::uint32_t ControlTraceW(platform::TRACEHANDLE session, const char16_t* name,
                                platform::EVENT_TRACE_PROPERTIES* properties, std::uint32_t control) override {
      EXPECT_EQ(name, nullptr);
      EXPECT_EQ(control, 0u);
      EXPECT_EQ(properties->Wnode.BufferSize, 1160u);
      EXPECT_EQ(properties->Wnode.Flags, 0x20000u);
      EXPECT_EQ(properties->LoggerNameOffset, 120u);
      EXPECT_EQ(properties->LogFileNameOffset, 640u);
      return FaultyTrace::ControlTraceW(session, name, properties, control);
    }
  };
  Watched trace(&machine_.trace, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.trace = &trace;
  const platform::ScopedPlatform in_force(&ports);
  GiveAnswer(Answer({{AddSession(u"EventLog-System", u"C:\\log.etl")}}));
  EXPECT_EQ(CheckProviderInSession(&kProvider), 1u);
  EXPECT_EQ(faults_.CountOf("ControlTraceW"), 1u);
}

}  // namespace
}  // namespace varnel
