#include "platform/embedded/ring/session_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "platform/embedded/ring/processor_speed.h"
#include "platform/embedded/ring/ring.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;

class SessionFileTest : public ::testing::Test {
 protected:
  /// Writes `count` events of which some forty fill a buffer.
  static std::uint32_t Fill(Session& session, std::uint32_t count) {
    std::uint32_t written = 0;
    for (std::uint32_t i = 0; i < count; ++i) written += WriteNumbers(session, 1, i) ? 1 : 0;
    return written;
  }
  TraceMachine machine_;
};

TEST_F(SessionFileTest, WhileItIsOpenTheHeaderHasOneBufferAndNoEnd) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 100);
  session->Flush();
  const auto open = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(open.buffers_written, 1u);
  EXPECT_EQ(open.end_time, 0);
  EXPECT_EQ(open.events.size(), 100u);
  machine_.Store().Stop(*session);
  const auto closed = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(closed.buffers_written, closed.sequences.size() + 1);
  EXPECT_GE(closed.end_time, closed.events.back().file_time);
}

TEST_F(SessionFileTest, TheHeaderTellsASpeedOfTheProcessorThatReadersCanDivideBy) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  EXPECT_GT(DescribeFile(*session->map(), ReadPlace(*session->map()), 0).cpu_speed_mhz, 0u);
  machine_.Store().Stop(*session);
  std::ifstream in(machine_.FilePath("s.etl"), std::ios::binary);
  in.seekg(0x9C);  // 0x48 buffer header, 0x20 event header, 0x34 into the log header
  std::uint32_t megahertz = 0;
  in.read(reinterpret_cast<char*>(&megahertz), sizeof megahertz);
  EXPECT_EQ(megahertz, ProcessorMegahertz());
}

TEST_F(SessionFileTest, BuffersAreNumberedFromOneWithoutGapsAndNoneIsEmpty) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 1000);
  session->Flush();
  session->Flush();
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  for (std::size_t i = 0; i < file.sequences.size(); ++i) {
    EXPECT_EQ(file.sequences[i], static_cast<std::int64_t>(i + 1));
  }
  EXPECT_EQ(file.size, (file.sequences.size() + 1) * 4096);
  EXPECT_EQ(file.skipped_bytes, 0u);
}

TEST_F(SessionFileTest, PlacesThatWereNeverWrittenAreSteppedOver) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 100);
  session->Flush();
  const std::string path = machine_.FilePath("s.etl");
  const std::uint64_t filled = session->file().BuffersOnDisk();
  std::filesystem::resize_file(path, 1ULL << 40);
  EXPECT_EQ(session->file().NextPlaceOnDisk(0), 0u);
  EXPECT_EQ(session->file().NextPlaceOnDisk(filled - 1), filled - 1);
  EXPECT_GT(session->file().NextPlaceOnDisk(filled + 16), 1'000'000u) << "a system may keep a few blocks more";
  {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(4096LL * 100'000'000);
    file << "far";
  }
  EXPECT_EQ(session->file().NextPlaceOnDisk(filled + 16), 100'000'000u);
  EXPECT_EQ(session->file().NextPlaceOnDisk(~0ULL), ~0ULL);
  std::filesystem::resize_file(path, filled * 4096);
  machine_.Store().Stop(*session);
}

TEST_F(SessionFileTest, ACircularFileKeepsItsNewestBuffersAndItsSize) {
  auto parameters = machine_.Parameters("s");
  parameters.log_file_mode = 0x10002002;
  parameters.maximum_file_size = 40;
  const auto session = machine_.Start(parameters);
  EXPECT_EQ(Fill(*session, 2000), 2000u);
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(file.size, 40u * 1024);
  EXPECT_EQ(file.buffers_written, 10u);
  EXPECT_EQ(file.events_lost, 0u) << "what is overwritten is not lost";
  ASSERT_FALSE(file.events.empty());
  for (std::size_t i = 0; i < file.events.size(); ++i) {
    ASSERT_EQ(NumberOf(file.events[i]), 2000 - file.events.size() + i);
  }
}

TEST_F(SessionFileTest, ASequentialFileStopsAtItsLimitAndCountsTheRestAsLost) {
  auto parameters = machine_.Parameters("s");
  parameters.log_file_mode = 0x10002001;
  parameters.maximum_file_size = 40;
  const auto session = machine_.Start(parameters);
  Fill(*session, 2000);
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(file.size, 40u * 1024);
  EXPECT_EQ(file.events.size() + file.events_lost, 2000u);
  EXPECT_GT(file.buffers_lost, 0u);
  for (std::size_t i = 0; i < file.events.size(); ++i) ASSERT_EQ(NumberOf(file.events[i]), i);
}

TEST_F(SessionFileTest, ALimitOnFileSizesLosesCountedEventsAndNotTheWriter) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  const pid_t child = InChild([&] {
    const rlimit limit = {6 * 4096 + 100, 6 * 4096 + 100};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const auto own = Session::Open(session->folder()).value();
    Fill(*own, 1000);
    own->Flush();
  });
  EXPECT_EQ(WaitForEnd(child), 0) << "no signal of the limit ended the writer";
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(file.size, 6u * 4096);
  EXPECT_EQ(file.events.size() + file.events_lost, 1000u);
  EXPECT_GT(file.buffers_lost, 0u);
  EXPECT_EQ(file.skipped_bytes, 0u) << "what a cut write left is cut off";
}

TEST_F(SessionFileTest, OnAFullDiskEventsAreCountedAndTheirPlaceGoesToTheNext) {
  const std::string folder = machine_.root() + "/disk";
  std::filesystem::create_directory(folder);
  if (::mount("none", folder.c_str(), "tmpfs", 0, "size=256k") != 0) GTEST_SKIP() << "no right to mount";
  auto parameters = machine_.Parameters("s");
  parameters.host_path = folder + "/s.etl";
  const auto session = machine_.Start(parameters);
  // Another file takes the room away and gives it back.
  const std::string other = folder + "/other";
  const int fd = ::open(other.c_str(), O_RDWR | O_CREAT, 0666);
  EXPECT_EQ(::posix_fallocate(fd, 0, 200 * 1024), 0);
  EXPECT_EQ(Fill(*session, 3000), 3000u) << "the writer notices nothing";
  session->Flush();
  const auto place = ReadPlace(*session->map());
  EXPECT_GT(place.buffers_lost, 0u);
  EXPECT_EQ(::ftruncate(fd, 0), 0);
  ::close(fd);
  for (std::uint32_t i = 3000; i < 3100; ++i) EXPECT_TRUE(WriteNumbers(*session, 1, i));
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(folder + "/s.etl");
  EXPECT_EQ(file.events.size() + file.events_lost, 3100u);
  ASSERT_GE(file.events.size(), 100u);
  EXPECT_EQ(NumberOf(file.events.back()), 3099u);
  EXPECT_EQ(file.buffers_lost, place.buffers_lost);
  EXPECT_EQ(file.size, std::uint64_t{file.buffers_written} * 4096) << "no place stays empty";
  ::umount(folder.c_str());
}

TEST_F(SessionFileTest, AFullDiskWhereTheSessionWouldStandRefusesTheStartAndLeavesNothing) {
  const std::string disk = machine_.root() + "/disk";
  std::filesystem::create_directory(disk);
  if (::mount("none", disk.c_str(), "tmpfs", 0, "size=400k") != 0) GTEST_SKIP() << "no right to mount";
  {
    const SessionStore store(disk, varnel::embedded::HostBootId(), 1);
    auto parameters = machine_.Parameters("s");
    parameters.maximum_buffers = 200;
    StartFailure failure;
    EXPECT_EQ(store.Start(parameters, &failure), nullptr);
    EXPECT_EQ(failure, StartFailure::kDiskFull);
    EXPECT_TRUE(store.RunningIds().empty());
    for (const auto& entry : std::filesystem::directory_iterator(disk)) EXPECT_FALSE(entry.is_directory());
  }
  ::umount(disk.c_str());
}

TEST_F(SessionFileTest, WhoDoesNotGetTheLockLeavesTheBuffersToItsHolder) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  const auto again = Session::Open(session->folder()).value();
  bool ran = again->file().Exclusively([&] {
    Fill(*session, 100);
    EXPECT_EQ(ReadPlace(*session->map()).buffers_written, 0u);
    // With the ring full as well there is no room left, and what does not fit is counted.
    Fill(*session, 1000);
  });
  EXPECT_TRUE(ran);
  const std::uint64_t lost = session->map()->words().events_lost.load();
  EXPECT_GT(lost, 0u);
  machine_.Store().Stop(*session);
  const auto file = ReadTraceFile(machine_.FilePath("s.etl"));
  EXPECT_EQ(file.events.size() + lost, 1100u);
  EXPECT_EQ(file.events_lost, lost);
}

TEST_F(SessionFileTest, AFileThatTookThePathIsNotWrittenTo) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  std::filesystem::rename(machine_.FilePath("s.etl"), machine_.FilePath("moved.etl"));
  ::close(::open(machine_.FilePath("s.etl").c_str(), O_RDWR | O_CREAT, 0666));
  const auto fresh = Session::Open(session->folder()).value();
  Fill(*fresh, 100);
  fresh->Flush();
  EXPECT_EQ(std::filesystem::file_size(machine_.FilePath("s.etl")), 0u);
  EXPECT_GT(ReadPlace(*session->map()).buffers_lost, 0u);
  EXPECT_EQ(ReadPlace(*session->map()).events_lost, 100u);
}

TEST_F(SessionFileTest, WhileAStoppedProcessHoldsTheLockWhatStandsInTheFileIsStillRead) {
  auto parameters = machine_.Parameters("s");
  parameters.log_file_mode = 0x10002002;
  parameters.maximum_file_size = 40;
  const auto session = machine_.Start(parameters);
  Fill(*session, 2000);
  session->Flush();
  const auto holder = Session::Open(session->folder()).value();
  std::vector<std::byte> buffer(4096);
  const std::uint64_t written = ReadPlace(*session->map()).buffers_written;
  holder->file().Exclusively([&] {
    for (std::uint64_t place = 1; place < 10; ++place) {
      const bool being_written = place == 1 + written % 9;
      EXPECT_EQ(session->file().ReadShared(place * 4096, buffer), !being_written) << place;
    }
    EXPECT_FALSE(session->file().ReadShared(10 * 4096, buffer)) << "behind the end";
  });
  EXPECT_TRUE(session->file().ReadShared((1 + written % 9) * 4096, buffer));
}

}  // namespace
