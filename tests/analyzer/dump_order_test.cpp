#include "analyzer/dump_order.h"

#include <algorithm>

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class DumpOrder : public AnalyzerTest {
 protected:
  TextList Sorted(TextList paths) {
    EXPECT_EQ(SortDumpsNewestFirst(&paths), 0);
    return paths;
  }
};

TEST_F(DumpOrder, TheNewestCreatedStandsFirstWhateverItsLastWrite) {
  const std::u16string oldest = AddDump(u"b.dmp", "1", 10);
  const std::u16string newest = AddDump(u"a.dmp", "2", 30);
  const std::u16string middle = AddDump(u"c.dmp", "3", 20);
  machine.files.SetTimes(oldest, 10, kWritten + 1000);
  EXPECT_EQ(Sorted({oldest, newest, middle}), (TextList{newest, middle, oldest}));
}

TEST_F(DumpOrder, AtEqualTimesTheLesserPathStandsFirstByItsCodeUnits) {
  const std::u16string upper = AddDump(u"Z.dmp", "1", 10);
  const std::u16string lower = AddDump(u"a.dmp", "2", 10);
  const std::u16string umlaut = AddDump(u"\u00e4.dmp", "3", 10);
  const std::u16string high = AddDump(u"\uff21.dmp", "4", 10);
  const std::u16string pair = AddDump(u"\U0001F4A5.dmp", "5", 10);
  EXPECT_EQ(Sorted({high, pair, lower, umlaut, upper}), (TextList{upper, lower, umlaut, pair, high}));
}

TEST_F(DumpOrder, ThoseWithoutATimeStandBehindAllOthers) {
  const std::u16string gone = kDumpFolder + u"\\0.dmp";
  const std::u16string also_gone = kDumpFolder + u"\\1.dmp";
  const std::u16string old = AddDump(u"z.dmp", "1", 0);
  const std::u16string recent = AddDump(u"y.dmp", "2", 9);
  TextList sorted = Sorted({gone, old, also_gone, recent});
  EXPECT_EQ((TextList{sorted[0], sorted[1]}), (TextList{recent, old}));
  std::sort(sorted.begin() + 2, sorted.end());
  EXPECT_EQ((TextList{sorted[2], sorted[3]}), (TextList{gone, also_gone}));
}

TEST_F(DumpOrder, OfNothingIsNothing) {
  EXPECT_EQ(Sorted({}), TextList{});
}

}  // namespace
}  // namespace varnel
