#include "platform/embedded/trace/sequence_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "platform/embedded/ring/ring.h"
#include "tests/support/trace_fixture.h"

namespace {

using namespace varnel::testing;
using varnel::embedded::SequenceReader;
using varnel::embedded::ring::Session;
using From = SequenceReader::From;
using Outcome = SequenceReader::Outcome;

constexpr std::uint32_t kFiller = 3000;  // one event a buffer of 4 KiB
constexpr std::size_t kFirstNumber = 72 + 80 + 4;

class SequenceReaderTest : public ::testing::Test {
 protected:
  /// Writes and closes `count` buffers, each with one event that carries its buffer's number.
  static void Fill(Session& session, std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      ASSERT_TRUE(WriteNumbers(session, 1, ++written_, kFiller));
      session.Flush();
    }
  }
  void SetUp() override { written_ = 0; }
  std::shared_ptr<Session> Circular() const {
    auto parameters = machine_.Parameters("s");
    parameters.log_file_mode = 0x10002002;  // circular, its limit in KiB
    parameters.maximum_file_size = 24;      // the header buffer and five others
    return machine_.Start(parameters);
  }
  static std::uint32_t NumberIn(const SequenceReader& reader) {
    std::uint32_t number = 0;
    std::memcpy(&number, reader.buffer().data() + kFirstNumber, sizeof number);
    return number;
  }

  TraceMachine machine_;
  static inline std::uint32_t written_ = 0;
};

TEST_F(SequenceReaderTest, ABufferIsTheSameFromTheRingAndFromTheFile) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 3);
  SequenceReader ring(session);
  SequenceReader file(session);
  for (std::uint64_t sequence = 1; sequence <= 3; ++sequence) {
    ASSERT_EQ(ring.Read(sequence, From::kRingFirst), Outcome::kRead);
    ASSERT_EQ(file.Read(sequence, From::kFileOnly), Outcome::kRead);
    EXPECT_EQ(ring.info().sequence, static_cast<std::int64_t>(sequence));
    EXPECT_EQ(NumberIn(ring), sequence);
    EXPECT_TRUE(std::equal(ring.buffer().begin(), ring.buffer().end(), file.buffer().begin(), file.buffer().end()));
  }
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, WhatLeftTheRingComesFromTheFileInAnyOrder) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 30);  // the ring has eight
  SequenceReader reader(session);
  for (const std::uint64_t sequence : {1u, 2u, 3u, 20u, 5u, 30u, 1u}) {
    ASSERT_EQ(reader.Read(sequence, From::kRingFirst), Outcome::kRead) << sequence;
    EXPECT_EQ(NumberIn(reader), sequence);
  }
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, WhatTheFileOverwroteIsGoneAndTheNextThatIsThereIsTold) {
  const auto session = Circular();
  Fill(*session, 30);
  SequenceReader reader(session);
  EXPECT_EQ(reader.Read(3, From::kRingFirst), Outcome::kGone);
  EXPECT_EQ(reader.Read(3, From::kFileOnly), Outcome::kGone);
  EXPECT_EQ(reader.NextAvailable(3, 31, From::kFileOnly), 26u);
  EXPECT_LE(reader.NextAvailable(3, 31, From::kRingFirst), 26u);
  EXPECT_EQ(reader.NextAvailable(28, 31, From::kFileOnly), 28u);
  for (std::uint64_t sequence = 26; sequence <= 30; ++sequence) {
    EXPECT_EQ(reader.Read(sequence, From::kFileOnly), Outcome::kRead) << sequence;
  }
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, BehindTheLastBufferTheLimitIsTold) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 2);
  SequenceReader reader(session);
  EXPECT_EQ(reader.NextAvailable(3, 3, From::kFileOnly), 3u);
  EXPECT_EQ(reader.NextAvailable(9, 12, From::kFileOnly), 12u);
  EXPECT_EQ(reader.Read(9, From::kFileOnly), Outcome::kGone);
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, ASessionWithoutAFileHasTheRingAlone) {
  auto parameters = machine_.Parameters("s");
  parameters.host_path.clear();
  parameters.log_file_name.clear();
  parameters.log_file_mode = 0x10000100;
  const auto session = machine_.Start(parameters);
  Fill(*session, 30);
  SequenceReader reader(session);
  EXPECT_EQ(reader.Read(1, From::kRingFirst), Outcome::kGone);
  EXPECT_EQ(reader.Read(30, From::kFileOnly), Outcome::kGone);
  EXPECT_EQ(reader.Read(30, From::kRingFirst), Outcome::kRead);
  EXPECT_EQ(NumberIn(reader), 30u);
  EXPECT_FALSE(reader.ReadHeaderBuffer());
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, TheHeaderBufferIsTheFilesFirst) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 1);
  SequenceReader reader(session);
  ASSERT_TRUE(reader.ReadHeaderBuffer());
  EXPECT_EQ(reader.info().sequence, 0);
  std::ifstream in(machine_.FilePath("s.etl"), std::ios::binary);
  std::vector<char> first(reader.buffer().size());
  in.read(first.data(), static_cast<std::streamsize>(first.size()));
  EXPECT_EQ(std::memcmp(first.data(), reader.buffer().data(), first.size()), 0);
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, AFileThatLostItsEndIsReadAsFarAsItGoes) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 20);
  ASSERT_EQ(::truncate(machine_.FilePath("s.etl").c_str(), 6 * 4096 + 100), 0);
  SequenceReader reader(session);
  EXPECT_EQ(reader.Read(5, From::kFileOnly), Outcome::kRead);
  EXPECT_EQ(reader.Read(7, From::kFileOnly), Outcome::kGone);
  EXPECT_EQ(reader.NextAvailable(1, 21, From::kFileOnly), 1u);
  machine_.Store().Stop(*session);
}

TEST_F(SequenceReaderTest, AHeaderThatWasSpoiledInTheFileIsNoBuffer) {
  const auto session = machine_.Start(machine_.Parameters("s"));
  Fill(*session, 20);
  {
    std::fstream file(machine_.FilePath("s.etl"), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(3 * 4096);
    const std::string noise(72, '\xFF');
    file.write(noise.data(), static_cast<std::streamsize>(noise.size()));
  }
  SequenceReader reader(session);
  EXPECT_EQ(reader.Read(3, From::kFileOnly), Outcome::kGone);
  EXPECT_EQ(reader.NextAvailable(3, 21, From::kFileOnly), 4u);
  EXPECT_EQ(reader.Read(4, From::kFileOnly), Outcome::kRead);
  machine_.Store().Stop(*session);
}

}  // namespace
