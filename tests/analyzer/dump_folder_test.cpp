#include "analyzer/dump_folder.h"

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

class DumpFolder : public AnalyzerTest {
 protected:
  static std::u16string Of(std::uint32_t type, const std::u16string& text) {
    CrashDumpConfig config;
    config.enabled = type != 0 ? 1 : 0;
    config.dumpType = type;
    (type == 3 ? config.minidumpDir : config.dumpPath) = text;
    return DumpFolderOf(config);
  }
};

TEST_F(DumpFolder, OfSmallDumpsIsTheirFolderExpandedOrAsItStands) {
  EXPECT_EQ(Of(3, u"%SystemRoot%\\Minidump"), u"C:\\Windows\\Minidump");
  plan.FailForEver("ExpandEnvironmentStringsW", 8);
  EXPECT_EQ(Of(3, u"%SystemRoot%\\Minidump"), u"%SystemRoot%\\Minidump");
}

TEST_F(DumpFolder, OfTheOtherKnownTypesHoldsTheDumpFile) {
  for (const std::uint32_t type : {1u, 2u, 7u}) {
    EXPECT_EQ(Of(type, u"C:\\Windows\\MEMORY.DMP"), u"C:\\Windows");
    EXPECT_EQ(Of(type, u"%SystemRoot%\\Full\\MEMORY.DMP"), u"C:\\Windows\\Full");
    EXPECT_EQ(Of(type, u"C:\\MEMORY.DMP"), u"C:");
    EXPECT_EQ(Of(type, u"MEMORY.DMP"), u"") << "without a backslash";
    EXPECT_EQ(Of(type, u""), u"");
  }
  plan.FailForEver("ExpandEnvironmentStringsW", 8);
  EXPECT_EQ(Of(2, u"C:\\Windows\\MEMORY.DMP"), u"") << "that cannot be expanded";
}

TEST_F(DumpFolder, OfAnyOtherTypeIsNone) {
  for (const std::uint32_t type : {0u, 4u, 5u, 6u, 8u, ~0u}) EXPECT_EQ(Of(type, u"C:\\Windows\\MEMORY.DMP"), u"");
}

TEST_F(DumpFolder, ItsDumpsAreAllFilesOfThatEndingAndNoFoldersOrWhatIsBelow) {
  AddDump(u"b.dmp", "1", 1);
  AddDump(u"A.DMP", "2", 1);
  AddDump(u"c.txt", "3", 1);
  machine.files.AddFolder(kDumpFolder + u"\\folder.dmp");
  machine.files.AddFile(kDumpFolder + u"\\below\\d.dmp", "4");
  TextList paths;
  EXPECT_EQ(FindDumpFiles(kDumpFolder, &paths), 0u);
  EXPECT_EQ(paths, (TextList{kDumpFolder + u"\\A.DMP", kDumpFolder + u"\\b.dmp"}));
  paths.clear();
  EXPECT_EQ(FindDumpFiles(kDumpFolder + u"\\", &paths), 0u);
  EXPECT_EQ(paths.size(), 2u) << "a separator at the end is not doubled";
  EXPECT_EQ(paths[1], kDumpFolder + u"\\b.dmp");
  EXPECT_EQ(machine.handles.open_count(), 0u);
}

TEST_F(DumpFolder, WithoutANameIsTheOneThatTheProcessStandsIn) {
  machine.files.AddFile(u"here.dmp", "1");
  TextList paths;
  EXPECT_EQ(FindDumpFiles(u"", &paths), 0u);
  EXPECT_EQ(paths, TextList{u"here.dmp"}) << "no separator stands before it";
}

TEST_F(DumpFolder, ThatCannotBeSearchedGivesItsError) {
  TextList paths;
  EXPECT_EQ(FindDumpFiles(kDumpFolder, &paths), platform::kErrorFileNotFound);
  EXPECT_EQ(FindDumpFiles(u"C:\\None", &paths), platform::kErrorPathNotFound);
  EXPECT_TRUE(paths.empty());
}

TEST_F(DumpFolder, AWalkThatBreaksOffKeepsWhatItFound) {
  AddDumps(4);
  plan.Fail({"FindNextFileW", 2, false, 1117});
  TextList paths;
  EXPECT_EQ(FindDumpFiles(kDumpFolder, &paths), 0u);
  EXPECT_EQ(paths.size(), 2u);
  EXPECT_EQ(plan.CountOf("FindClose"), 1u);
}

}  // namespace
}  // namespace varnel
