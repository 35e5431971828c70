#include "platform/embedded/eventlog/evtx_helper.h"

#include <signal.h>

#include "log_files.h"
#include "platform/embedded/eventlog/evtx_chunk.h"

namespace varnel::embedded {
namespace {

class EvtxHelperTest : public LogFiles {
 protected:
  /// The misbehaving program under the name of what it does.
  LogReaderOptions Misbehaving(const std::string& way, int timeout_ms) const {
    const std::string path = folder_ + "/" + way;
    std::filesystem::create_symlink(VARNEL_BAD_HELPER, path);
    LogReaderOptions options;
    options.helper = {path, timeout_ms};
    return options;
  }

  static Numbers AllBut(std::uint64_t last, std::uint64_t missing) {
    Numbers numbers;
    for (std::uint64_t id = 1; id <= last; ++id) {
      if (id != missing) numbers.push_back(id);
    }
    return numbers;
  }
};

TEST_F(EvtxHelperTest, ADeathCostsOneRecordAndIsCounted) {
  for (const char* way : {"die", "garble", "other"}) {
    const ReadLog read = ReadAll({Write("System.evtx", Evtx(1, 40))}, Misbehaving(way, 60'000));
    EXPECT_EQ(read.numbers, AllBut(40, 6)) << way;
    EXPECT_EQ(read.counts.skipped, 1u) << way;
    EXPECT_EQ(read.counts.helper_deaths, 1u) << way;
  }
}

TEST_F(EvtxHelperTest, AHangCostsOneRecordToo) {
  const ReadLog read = ReadAll({Write("System.evtx", Evtx(1, 40))}, Misbehaving("hang", 300));
  EXPECT_EQ(read.numbers, AllBut(40, 6));
  EXPECT_EQ(read.counts.skipped, 1u);
  EXPECT_EQ(read.counts.helper_deaths, 1u);
}

TEST_F(EvtxHelperTest, AChunkThatKillsTheHelperIsCountedWithAllItsRecords) {
  const ReadLog read = ReadAll({Write("System.evtx", Evtx(1, 40))}, Misbehaving("deaf", 60'000));
  EXPECT_TRUE(read.numbers.empty());
  EXPECT_EQ(read.counts.skipped, 40u);
}

TEST_F(EvtxHelperTest, AHelperThatIsKilledBetweenRecordsIsReplaced) {
  EvtxHelper helper({});
  const std::string chunk = Evtx(1, 20).substr(evtx::kFileHeaderBytes);
  ASSERT_TRUE(helper.LoadChunk(chunk));
  const pid_t first = helper.pid();
  ASSERT_EQ(::kill(first, SIGKILL), 0);
  const std::vector<std::uint32_t> wanted = {0, 1};
  std::vector<EvtxHelper::Outcome> outcomes;
  const auto take = [&](EvtxHelper::Outcome outcome, std::uint64_t, std::string_view) { outcomes.push_back(outcome); };
  helper.GetRecords(wanted, take);
  EXPECT_EQ(outcomes, std::vector<EvtxHelper::Outcome>{EvtxHelper::Outcome::kHelperDied});
  ASSERT_TRUE(helper.LoadChunk(chunk));
  EXPECT_NE(helper.pid(), first);
  helper.GetRecords(wanted, take);
  EXPECT_EQ(outcomes.size(), 3u);
  EXPECT_EQ(outcomes.back(), EvtxHelper::Outcome::kGood);
}

TEST_F(EvtxHelperTest, AProgramThatIsNotThereIsAnErrorAtTheOpen) {
  LogReaderOptions options;
  options.helper.path = folder_ + "/none";
  // The second one is cut inside its records, so that the helper is asked at once; a sound one needs it only later.
  for (const std::string& log : {Evtx(1, 2), Evtx(1, 2).substr(0, 5000)}) {
    const auto reader = LogReader::Open({Write("System.evtx", log)}, options);
    ASSERT_FALSE(reader.ok());
    EXPECT_NE(reader.error().message.find("System.evtx"), std::string::npos);
  }
}

TEST_F(EvtxHelperTest, ListsTheRecordsOfAChunkAsTheyCanBeSeenFromOutside) {
  EvtxHelper helper({});
  const std::string chunk = Evtx(7, 60).substr(evtx::kFileHeaderBytes);
  ASSERT_TRUE(helper.LoadChunk(chunk));
  std::vector<evtx::EvtxKey> listed;
  ASSERT_TRUE(helper.ListRecords(&listed));
  const auto seen = evtx::KeysOfSoundChunk(chunk);
  ASSERT_EQ(listed.size(), seen.size());
  for (std::size_t i = 0; i < seen.size(); ++i) EXPECT_EQ(listed[i].record_id, seen[i].record_id);
}

TEST_F(EvtxHelperTest, IsFoundWhereTheBuildPutIt) {
  EXPECT_TRUE(std::filesystem::exists(EvtxHelperPath()));
}

}  // namespace
}  // namespace varnel::embedded
