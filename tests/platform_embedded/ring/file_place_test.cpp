#include "platform/embedded/ring/file_place.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::embedded::ring;
using namespace varnel::testing;

class FilePlaceTest : public ::testing::Test {
 protected:
  TraceMachine machine_;
};

TEST_F(FilePlaceTest, APlaceIsReadWholeAndTheCopyInUseIsNotTouchedByTheNext) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  FilePlace place = ReadPlace(*session->map());
  EXPECT_EQ(place.next_sequence, 1u);
  const std::uint64_t version = session->map()->words().place_version.load();
  place.next_sequence = 9;
  place.events_lost = 3;
  StorePlace(*session->map(), place);
  EXPECT_EQ(ReadPlace(*session->map()).next_sequence, 9u);
  EXPECT_EQ(ReadPlace(*session->map()).events_lost, 3u);
  EXPECT_EQ(session->map()->words().places[version & 1].next_sequence.load(), 1u);
}

TEST_F(FilePlaceTest, AShapeTellsWhereBuffersStand) {
  SessionConstants constants{};
  constants.buffer_size = 65536;
  constants.log_file_mode = 2;
  constants.maximum_file_size = 1;
  const auto circle = FileShape::Of(constants);
  EXPECT_EQ(circle.capacity, 16u);
  EXPECT_EQ(circle.OffsetAfter(0), 65536u);
  EXPECT_EQ(circle.OffsetAfter(14), 15u * 65536);
  EXPECT_EQ(circle.OffsetAfter(15), 65536u) << "behind the header buffer again";
  EXPECT_FALSE(circle.IsFull(1000));
  EXPECT_EQ(circle.BuffersInFile(1000), 16u);
  constants.log_file_mode = 1;
  const auto line = FileShape::Of(constants);
  EXPECT_FALSE(line.IsFull(14));
  EXPECT_TRUE(line.IsFull(15));
  constants.maximum_file_size = 0;
  EXPECT_FALSE(FileShape::Of(constants).IsFull(1'000'000)) << "no limit";
}

TEST_F(FilePlaceTest, AReaderBesideTheWriterNeverSeesHalfAPlace) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  const ControlMap& map = *session->map();
  std::atomic<bool> done{false};
  StorePlace(map, {1, 1, 1, 1, 1, 1});
  std::thread writer([&] {
    for (std::uint64_t i = 2; i <= 20000; ++i) StorePlace(map, {i, i, i, i, static_cast<std::int64_t>(i), i});
    done = true;
  });
  std::uint64_t last = 0;
  do {
    const FilePlace place = ReadPlace(map);
    EXPECT_EQ(place.buffers_written, place.next_sequence);
    EXPECT_EQ(place.events_lost, place.next_sequence);
    EXPECT_EQ(place.buffers_lost, place.next_sequence);
    EXPECT_EQ(place.last_stamp, static_cast<std::int64_t>(place.next_sequence));
    EXPECT_EQ(place.total_written, place.next_sequence);
    EXPECT_GE(place.next_sequence, last);
    last = place.next_sequence;
  } while (!done);
  writer.join();
  EXPECT_EQ(ReadPlace(map).next_sequence, 20000u);
}

TEST_F(FilePlaceTest, ACircleHasRoomForTheHeaderAndOneBufferHoweverSmallItsLimit) {
  SessionConstants constants{};
  constants.buffer_size = 65536;
  constants.log_file_mode = 0x2002;  // circular, its limit in KiB
  constants.maximum_file_size = 1;
  const auto shape = FileShape::Of(constants);
  EXPECT_EQ(shape.capacity, 2u);
  EXPECT_EQ(shape.OffsetAfter(0), 65536u);
  EXPECT_EQ(shape.OffsetAfter(5), 65536u);
}

}  // namespace
