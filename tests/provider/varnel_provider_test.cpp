#include "provider/varnel_provider.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/trace_fixture.h"

namespace {

using varnel::testing::kTestProvider;
using varnel::testing::ReadTraceFile;
using varnel::testing::TraceMachine;

constexpr std::uint64_t kModule = 0x80;
constexpr std::uint64_t kOtherModule = 0x100;

varnel_guid GuidOf(const ::GUID& guid) {
  varnel_guid result;
  std::memcpy(&result, &guid, sizeof result);
  return result;
}

class Registered {
 public:
  explicit Registered(const TraceMachine& machine, const ::GUID& guid = kTestProvider) {
    const varnel_guid id = GuidOf(guid);
    EXPECT_EQ(varnel_register(machine.root().c_str(), &id, &registration_), 0);
  }
  ~Registered() { varnel_unregister(registration_); }
  Registered(const Registered&) = delete;
  Registered& operator=(const Registered&) = delete;
  varnel_registration* get() const { return registration_; }

 private:
  varnel_registration* registration_ = nullptr;
};

class ProviderTest : public ::testing::Test {
 protected:
  TraceMachine machine_;
};

TEST_F(ProviderTest, IsDisabledUntilASessionEnablesItAndAfterTheSessionStops) {
  const Registered provider(machine_);
  EXPECT_EQ(varnel_enabled(provider.get()), 0);
  const auto session = machine_.Start(machine_.Parameters("s"));
  EXPECT_EQ(varnel_enabled(provider.get()), 0);
  machine_.Enable(*session, kTestProvider);
  EXPECT_NE(varnel_enabled(provider.get()), 0);
  EXPECT_TRUE(machine_.Store().Stop(*session));
  EXPECT_EQ(varnel_enabled(provider.get()), 0);
}

TEST_F(ProviderTest, RegisteredAfterTheEnableItIsEnabledAtOnce) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  EXPECT_NE(varnel_enabled(provider.get()), 0);
}

TEST_F(ProviderTest, WritesHeaderAndPayloadAsGiven) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  const varnel_event_descriptor descriptor = {7, 1, 9, 3, 2, 5, kModule | 1};
  const varnel_data pieces[] = {{"ab", 2}, {nullptr, 0}, {"cde", 3}};
  EXPECT_EQ(varnel_write(provider.get(), &descriptor, pieces, 3), 0);
  machine_.Store().Stop(*session);

  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  ASSERT_TRUE(file.ok);
  ASSERT_EQ(file.events.size(), 1u);
  const auto& event = file.events[0];
  EXPECT_TRUE(event.provider == kTestProvider);
  EXPECT_EQ(event.id, 7);
  EXPECT_EQ(event.keyword, kModule | 1);
  EXPECT_EQ(event.process, static_cast<std::uint32_t>(::getpid()));
  EXPECT_EQ(event.thread, static_cast<std::uint32_t>(::gettid()));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(event.payload.data()), event.payload.size()), "abcde");
  EXPECT_GE(event.file_time, file.start_time);
  EXPECT_LE(event.file_time, file.end_time);
  EXPECT_EQ(file.skipped_bytes, 0u);
}

TEST_F(ProviderTest, LevelAndKeywordsOfTheEnableDecideWhatIsWritten) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Store().ChangeEnables([&](varnel::embedded::ring::EnableTable& table) {
    table.Set(*table.FindOrAdd(kTestProvider), {session->id(), 3, 0xF0, 0x10});
  });
  const Registered provider(machine_);
  const struct {
    std::uint8_t level;
    std::uint64_t keyword;
    bool passes;
  } rows[] = {{3, 0x10, true}, {4, 0x10, false}, {0, 0x10, true},   {3, 0x20, false},
              {3, 0x30, true}, {3, 0x00, true},  {3, 0x100, false}, {3, 0x110, true}};
  std::size_t expected = 0;
  for (const auto& row : rows) {
    const varnel_event_descriptor descriptor = {1, 0, 0, row.level, 0, 0, row.keyword};
    EXPECT_EQ(varnel_enabled_for(provider.get(), row.level, row.keyword) != 0, row.passes) << row.keyword;
    EXPECT_EQ(varnel_write(provider.get(), &descriptor, nullptr, 0), 0);
    if (row.passes) ++expected;
  }
  machine_.Store().Stop(*session);
  EXPECT_EQ(ReadTraceFile(machine_.FilePath("s.etl")).events.size(), expected);
}

TEST_F(ProviderTest, TheThreeTemplatesLayOutTheirFieldsAndShareTheModulesCounter) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  const std::uint16_t wide[] = {'h', 0x20AC, 0};
  EXPECT_EQ(varnel_transfer_msg_ansi(provider.get(), kModule, 8, "Fn", 11, 22, "hey"), 0);
  EXPECT_EQ(varnel_transfer_msg_wide(provider.get(), kModule, 9, "Fn", 12, 23, wide), 0);
  EXPECT_EQ(varnel_transfer_binary(provider.get(), kModule, 10, "Fn", 13, 24, "\1\2\3", 3), 0);
  EXPECT_EQ(varnel_transfer_msg_ansi(provider.get(), kOtherModule, 8, nullptr, 14, 25, nullptr), 0);
  machine_.Store().Stop(*session);

  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  ASSERT_EQ(file.events.size(), 4u);
  const auto& ansi = file.events[0];
  EXPECT_EQ(ansi.id, 1);
  EXPECT_EQ(ansi.keyword, kModule | 1);
  EXPECT_EQ(ansi.U32(0), 1u);
  EXPECT_EQ(ansi.U32(4), 8u);
  EXPECT_EQ(std::memcmp(ansi.payload.data() + 8, "Fn", 3), 0);
  EXPECT_EQ(ansi.U32(11), 11u);
  EXPECT_EQ(ansi.U32(15), 22u);
  EXPECT_EQ(std::memcmp(ansi.payload.data() + 19, "hey", 4), 0);
  EXPECT_EQ(ansi.payload.size(), 23u);
  const auto& wide_event = file.events[1];
  EXPECT_EQ(wide_event.id, 2);
  EXPECT_EQ(wide_event.keyword, kModule | 2);
  EXPECT_EQ(wide_event.U32(0), 2u);
  EXPECT_EQ(std::memcmp(wide_event.payload.data() + 19, wide, sizeof wide), 0);
  const auto& binary = file.events[2];
  EXPECT_EQ(binary.id, 3);
  EXPECT_EQ(binary.keyword, kModule | 4);
  EXPECT_EQ(binary.U32(0), 3u);
  EXPECT_EQ(binary.U32(19), 3u);
  EXPECT_EQ(binary.payload.size(), 26u);
  EXPECT_EQ(file.events[3].U32(0), 1u) << "another module counts for itself";
  EXPECT_EQ(file.events[3].payload.size(), 18u) << "null texts are empty texts";
}

TEST_F(ProviderTest, TheCounterCanBeSetForActedGaps) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  EXPECT_EQ(varnel_set_counter(provider.get(), kModule, 0xFFFFFFFF), 0);
  varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "");
  varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "");
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  ASSERT_EQ(file.events.size(), 2u);
  EXPECT_EQ(file.events[0].U32(0), 0xFFFFFFFFu);
  EXPECT_EQ(file.events[1].U32(0), 0u) << "the counter wraps";
}

TEST_F(ProviderTest, AKeywordThatIsNoSingleModuleBitIsRefused) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  for (const std::uint64_t keyword : {0x0ull, 0x4ull, 0x18ull, 0x400000000ull}) {
    EXPECT_EQ(varnel_transfer_msg_ansi(provider.get(), keyword, 8, "F", 1, 0, ""), EINVAL) << keyword;
  }
}

TEST_F(ProviderTest, AnEventTooLargeForABufferIsCountedAsLost) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  const std::string large(5000, 'x');
  const varnel_event_descriptor descriptor = {1, 0, 0, 4, 0, 0, 0};
  const varnel_data piece = {large.data(), static_cast<std::uint32_t>(large.size())};
  EXPECT_EQ(varnel_write(provider.get(), &descriptor, &piece, 1), EMSGSIZE);
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(file.events.size(), 0u);
  EXPECT_EQ(file.events_lost, 1u);
}

TEST_F(ProviderTest, SeveralSessionsEachGetTheEvent) {
  const auto one = machine_.Start(machine_.Parameters("one"));
  const auto two = machine_.Start(machine_.Parameters("two"));
  machine_.Enable(*one, kTestProvider);
  machine_.Enable(*two, kTestProvider);
  const Registered provider(machine_);
  for (int i = 0; i < 100; ++i) varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "text");
  machine_.Store().Stop(*one);
  varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "text");
  machine_.Store().Stop(*two);
  EXPECT_EQ(ReadTraceFile(machine_.FilePath("one.etl")).events.size(), 100u);
  const auto file = ReadTraceFile(machine_.FilePath("two.etl"));
  ASSERT_EQ(file.events.size(), 101u);
  EXPECT_EQ(file.events.back().U32(0), 101u);
}

TEST_F(ProviderTest, CountersAndTimesRiseTogetherWhateverThreadsWrite) {
  auto parameters = machine_.Parameters("s");
  parameters.buffer_size_kb = 64;
  parameters.maximum_buffers = 32;
  const auto session = machine_.Start(parameters);
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  constexpr int kThreads = 4;
  constexpr std::uint32_t kEach = 5000;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (std::uint32_t i = 0; i < kEach; ++i) {
        varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", i, 0, "some text");
      }
    });
  }
  for (auto& thread : threads) thread.join();
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  ASSERT_EQ(file.events.size() + file.events_lost, kThreads * kEach);
  std::uint32_t last = 0;
  std::int64_t last_stamp = 0;
  for (const auto& event : file.events) {
    ASSERT_GT(event.U32(0), last);
    ASSERT_GE(event.stamp, last_stamp);
    last = event.U32(0);
    last_stamp = event.stamp;
  }
  EXPECT_EQ(file.skipped_bytes, 0u);
}

TEST_F(ProviderTest, AFolderThatIsNoMachineIsRefusedAndTheRegistrationStaysUsable) {
  const varnel_guid id = GuidOf(kTestProvider);
  varnel_registration* registration = nullptr;
  EXPECT_EQ(varnel_register("/nowhere/at/all", &id, &registration), ENOENT);
  ASSERT_NE(registration, nullptr);
  EXPECT_EQ(varnel_enabled(registration), 0);
  EXPECT_EQ(varnel_transfer_msg_ansi(registration, kModule, 8, "F", 1, 0, ""), 0);
  EXPECT_EQ(varnel_set_counter(registration, kModule, 1), 0);
  varnel_unregister(registration);
}

TEST_F(ProviderTest, TheMachineIsTakenFromTheEnvironmentWhenNoneIsGiven) {
  ::setenv("VARNEL_MACHINE", machine_.root().c_str(), 1);
  const varnel_guid id = GuidOf(kTestProvider);
  varnel_registration* registration = nullptr;
  EXPECT_EQ(varnel_register(nullptr, &id, &registration), 0);
  varnel_unregister(registration);
  ::unsetenv("VARNEL_MACHINE");
  EXPECT_EQ(varnel_register(nullptr, &id, &registration), ENOENT);
}

TEST_F(ProviderTest, NothingIsWrittenIntoASessionOfAnEarlierBootOfTheHost) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  ::setenv("VARNEL_HOST_BOOT_ID", "another boot", 1);
  const varnel_event_descriptor descriptor = {7, 1, 9, 3, 2, 5, kModule | 1};
  EXPECT_EQ(varnel_write(provider.get(), &descriptor, nullptr, 0), 0);
  ::unsetenv("VARNEL_HOST_BOOT_ID");
  EXPECT_TRUE(machine_.Store().Stop(*session));
  EXPECT_TRUE(ReadTraceFile(machine_.FilePath("s.etl")).events.empty());
}

TEST_F(ProviderTest, AForkedChildIsDisabledAndTheParentGoesOn) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  machine_.Enable(*session, kTestProvider);
  const Registered provider(machine_);
  varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "before");
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    if (varnel_enabled(provider.get()) != 0) ::_exit(1);
    varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "never");
    varnel_registration* own = nullptr;
    const varnel_guid id = GuidOf(kTestProvider);
    if (varnel_register(machine_.root().c_str(), &id, &own) != 0) ::_exit(2);
    if (varnel_transfer_msg_ansi(own, kModule, 8, "F", 1, 0, "child") != 0) ::_exit(3);
    ::_exit(0);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  varnel_transfer_msg_ansi(provider.get(), kModule, 8, "F", 1, 0, "after");
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  ASSERT_EQ(file.events.size(), 3u);
  EXPECT_EQ(file.events[1].process, static_cast<std::uint32_t>(child));
  EXPECT_EQ(file.events[2].U32(0), 2u);
}

}  // namespace
