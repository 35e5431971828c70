// The reading, the order and the pairing of crash events, held to a plain model over random logs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "crash/analyze_bsod_events.h"
#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

using testing::Hex16;

struct Event {
  bool crash = false;
  std::uint64_t time = 0;
  std::uint32_t code = 0;  // names the crash
};

struct Told {
  std::uint32_t code = 0;
  std::uint64_t time = 0;
  std::uint64_t this_boot = 0;
  std::uint64_t current_boot = 0;
  std::uint64_t previous_boot = 0;

  bool operator==(const Told&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Told& told) {
  return out << std::hex << told.code << " at " << told.time << " (" << told.this_boot << ", " << told.current_boot
             << ", " << told.previous_boot << ")";
}

/// What the module has stored and told, by rules written down anew: a sorted place is one behind the first older event.
struct Model {
  std::uint64_t mark = 0;

  std::vector<Told> Start(const std::vector<Event>& log) {
    std::vector<Event> kept;
    std::uint64_t newest = 0;
    for (const Event& event : log) {
      if (kept.size() == 2000) break;
      if (event.crash && event.time <= mark) continue;
      std::size_t at = 0;
      while (at < kept.size() && kept[at].time >= event.time) ++at;
      kept.insert(kept.begin() + static_cast<std::ptrdiff_t>(std::min(at + 1, kept.size())), event);
      newest = std::max(newest, event.time);
    }
    mark = std::max(mark, newest);

    const auto boot_at = [&kept](std::size_t i) { return i < kept.size() && !kept[i].crash ? kept[i].time : 0; };
    std::uint64_t this_boot = 0;
    for (std::size_t i = kept.size(); i-- > 0;) {
      if (!kept[i].crash) this_boot = kept[i].time;
    }
    std::vector<Told> told;
    for (std::size_t i = 0; i < kept.size(); ++i) {
      if (!kept[i].crash) continue;
      told.push_back({kept[i].code, kept[i].time, this_boot, boot_at(i + 1), boot_at(i + 2)});
    }
    return told;
  }
};

class CrashModelTest : public testing::CrashTest {
 protected:
  /// A log, newest number first, whose clock was set back now and then; few times, so that some are the same.
  std::vector<Event> RandomLog(std::size_t size) {
    std::vector<Event> log;
    std::uint64_t time = testing::At(1);
    for (std::size_t i = 0; i < size; ++i) {
      const std::uint64_t step = random_() % 4 * 10'000'000;
      time = random_() % 5 == 0 ? time - std::min(time, 3 * step) : time + step;
      log.push_back({random_() % 3 == 0, time, ++codes_});
    }
    std::reverse(log.begin(), log.end());
    return log;
  }

  void Bring(const std::vector<Event>& log) {
    machine_.event_log.ClearEvents();
    for (const Event& event : log) {
      if (event.crash) {
        AddCrash(event.time, event.code);
      } else {
        AddBoot(event.time);
      }
    }
  }

  /// What the host was told by one start.
  std::vector<Told> ToldByStart() {
    texts_.clear();
    g_ConsumerTable.bThisBootHasExecute = 1;
    EXPECT_EQ(AnalyzeBSODEvents(&g_ConsumerTable), 0u);
    std::vector<Told> told;
    for (std::size_t i = 0; i < texts_.size(); ++i) {
      const auto number = [&](const char* key) { return std::stoull(Fact(i, key), nullptr, 16); };
      // The log has the code in decimal digits, which are read as hexadecimal ones.
      const std::string digits = Hex16(number("BugcheckCode")).substr(2);
      told.push_back({static_cast<std::uint32_t>(std::stoull(digits, nullptr, 10)),
                      std::stoull(Top(i, "TimeStamp"), nullptr, 16), number("ThisBootTime"), number("CurrentBootTime"),
                      number("PreviousBootTime")});
    }
    return told;
  }

  std::mt19937 random_{20261121};
  std::uint32_t codes_ = 0;
};

TEST_F(CrashModelTest, EachStartTellsWhatAPlainModelTells) {
  for (int round = 0; round < 300; ++round) {
    machine_.registry.RemoveKey(u"SOFTWARE\\KelvoCLSID");
    Model model;
    std::vector<Event> log = RandomLog(random_() % 14);
    for (int start = 0; start < 3; ++start) {
      SCOPED_TRACE(::testing::Message() << "round " << round << ", start " << start);
      Bring(log);
      ASSERT_EQ(ToldByStart(), model.Start(log));
      // The log grows at its newer end.
      const std::vector<Event> more = RandomLog(random_() % 4);
      log.insert(log.begin(), more.begin(), more.end());
    }
  }
  ExpectNothingOpen();
}

}  // namespace
}  // namespace varnel
