#include "platform/embedded/eventlog/evtx_log_source.h"

#include <random>
#include <set>

#include "log_files.h"

namespace varnel::embedded {
namespace {

using EvtxLogSourceTest = LogFiles;

std::string ReadBytes(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST_F(EvtxLogSourceTest, GivesEveryRecordInThePlatformsShape) {
  const ReadLog read = ReadAll({Write("System.evtx", Evtx(1, 1000))});
  ASSERT_EQ(read.numbers.size(), 1000u);
  EXPECT_EQ(read.texts[2],
            "<Event xmlns='http://schemas.microsoft.com/win/2004/08/events/event'><System><Provider Name='Test'/>"
            "<EventID>7</EventID><TimeCreated SystemTime='2026-11-21T10:00:00.0000000Z'/><EventRecordID>3"
            "</EventRecordID><Channel>System</Channel><Computer>PC</Computer><Security/></System><EventData><Data "
            "Name='a'>value</Data></EventData></Event>");
  EXPECT_EQ(read.counts.skipped, 0u);
}

TEST_F(EvtxLogSourceTest, NeedsNoFileHeader) {
  std::string log = Evtx(1, 300);
  for (std::size_t i = 0; i < 4096; ++i) log[i] = static_cast<char>(i);
  EXPECT_EQ(ReadAll({Write("System.evtx", log)}).numbers.size(), 300u);
}

TEST_F(EvtxLogSourceTest, ReadsALogThatBeganAnewInItsOldestChunk) {
  // The newest records overwrote the oldest chunk, so that the numbers of the file begin in its middle.
  const std::string newest = Evtx(301, 400);
  const std::string older = Evtx(101, 200);
  const std::string oldest = Evtx(201, 300);
  const std::string log =
      testing::EvtxBuilder::FileHeader(3) + newest.substr(4096) + older.substr(4096) + oldest.substr(4096);
  const ReadLog read = ReadAll({Write("System.evtx", log)}, Descending());
  ASSERT_EQ(read.numbers.size(), 300u);
  EXPECT_EQ(read.numbers.front(), 400u);
  EXPECT_EQ(read.numbers.back(), 101u);
  EXPECT_TRUE(std::is_sorted(read.numbers.rbegin(), read.numbers.rend()));
}

TEST_F(EvtxLogSourceTest, TellsTheRestOfALogThatIsCut) {
  const std::string log = Evtx(1, 1000);
  const std::size_t before = ReadAll({Write("first.evtx", log.substr(0, 4096 + 65536))}).numbers.size();
  const ReadLog read = ReadAll({Write("System.evtx", log.substr(0, 4096 + 65536 + 30000))});
  EXPECT_GE(read.numbers.size(), before) << "the chunk before the cut";
  EXPECT_LT(read.numbers.size(), 1000u);
  EXPECT_GT(read.counts.skipped, 0u);
}

TEST_F(EvtxLogSourceTest, CountsAChunkWhoseMarkIsGone) {
  std::string log = Evtx(1, 1000);
  log[4096 + 65536] = 'X';
  const ReadLog read = ReadAll({Write("System.evtx", log)});
  EXPECT_LT(read.numbers.size(), 1000u);
  EXPECT_GE(read.counts.skipped, 1u);
}

/// Damage of real logs: nothing fails, nothing comes twice or out of order, and what stands in other chunks is told.
TEST_F(EvtxLogSourceTest, SurvivesRealLogsWithBytesChangedAndCut) {
  const std::filesystem::path folder = std::filesystem::path(VARNEL_SAMPLES_DIR) / "evtx";
  if (!std::filesystem::exists(folder / "w10_1709_system.evtx")) GTEST_SKIP() << "no sample logs in " << folder;
  std::mt19937 random(41);
  for (const char* name : {"w10_1507_dikimevi_System.evtx", "w11_EIS938N_System.evtx", "w2016tp_airsil_System.evtx"}) {
    const std::string log = ReadBytes(folder / name);
    const std::size_t whole = ReadAll({Write("whole.evtx", log)}).numbers.size();
    const std::size_t used = 4096 + 65536 * ((whole + 199) / 200);
    for (int mutant = 0; mutant < 8; ++mutant) {
      std::string changed = log;
      for (int i = 0; i < 1 << mutant; ++i) changed[random() % used] = static_cast<char>(random());
      if (mutant == 7) changed.resize(random() % used);
      const ReadLog read = ReadAll({Write("System.evtx", changed)}, Descending());
      const std::set<std::uint64_t> distinct(read.numbers.begin(), read.numbers.end());
      EXPECT_LE(read.numbers.size(), whole + 8) << name << ' ' << mutant;
      EXPECT_GE(read.numbers.size() + 8, distinct.size());
      if (mutant < 2) {
        EXPECT_GE(read.numbers.size() + read.counts.skipped, whole) << name << ' ' << mutant;
      }
    }
  }
}

}  // namespace
}  // namespace varnel::embedded
