#include "analyzer/crash_dump_config_manager.h"
#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

const std::u16string kA = u"0123456789ABCDEF0123456789ABCDEF";
const std::u16string kB = u"FEDCBA9876543210FEDCBA9876543210";

class MarkerFile : public AnalyzerTest {
 protected:
  MarkerFile() { plan.Clear(); }

  std::int32_t Read() {
    list = {u"of an earlier call"};
    const std::int32_t result = manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &list);
    ExpectNothingHeld();
    return result;
  }
  std::int32_t Write(const TextList& identities) {
    const std::int32_t result = manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, identities);
    ExpectNothingHeld();
    return result;
  }
  void Put(const std::string& bytes) { machine.files.AddFile(MarkerPath(kMarkerNoSymbol), bytes); }

  CrashDumpConfigManager manager;
  TextList list;
};

TEST_F(MarkerFile, IsAByteOrderMarkAndALineOf68BytesForEachDump) {
  EXPECT_EQ(Write({kA, kB}), 0);
  const std::string bytes = Marker(kMarkerNoSymbol);
  EXPECT_EQ(bytes.size(), 2u + 2 * 68);
  EXPECT_EQ(bytes.substr(0, 6), std::string("\xFF\xFE\x30\x00\x31\x00", 6));
  EXPECT_EQ(bytes.substr(66, 4), std::string("\x0D\x00\x0A\x00", 4));
  EXPECT_EQ(bytes, MarkerBytes({kA, kB}));
}

TEST_F(MarkerFile, ThatIsEmptyIsExactlyTheTwoMarkBytes) {
  EXPECT_EQ(Write({}), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), "\xFF\xFE");
  EXPECT_EQ(Read(), 0);
  EXPECT_TRUE(list.empty());
}

TEST_F(MarkerFile, ReadsBackInItsOrder) {
  EXPECT_EQ(Write({kB, kA}), 0);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(list, (TextList{kB, kA}));
}

TEST_F(MarkerFile, ReplacesALongerOne) {
  EXPECT_EQ(Write({kA, kB, kA}), 0);
  EXPECT_EQ(Write({kB}), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({kB}));
}

TEST_F(MarkerFile, ThatIsNotThereReadsAsEmpty) {
  EXPECT_EQ(Read(), 0) << "no folder";
  EXPECT_TRUE(list.empty());
  machine.files.AddFolder(kMarkerFolder);
  EXPECT_EQ(Read(), 0) << "no file";
  EXPECT_TRUE(list.empty());
  Put("");
  EXPECT_EQ(Read(), 0) << "a file without a byte";
  EXPECT_TRUE(list.empty());
}

TEST_F(MarkerFile, OfOneByteReadsAsEmpty) {
  Put("\xFF");
  EXPECT_EQ(Read(), 0);
  EXPECT_TRUE(list.empty());
}

TEST_F(MarkerFile, IsReadBesideOtherReadersAndNotBesideAWriter) {
  Put(MarkerBytes({kA}));
  const auto open = [this](std::uint32_t access, std::uint32_t share) {
    return machine.files.CreateFileW(MarkerPath(kMarkerNoSymbol).c_str(), access, share, platform::kOpenExisting, 0);
  };
  const auto reader = open(platform::kGenericRead, platform::kFileShareRead);
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &list), 0);
  EXPECT_EQ(list, TextList{kA});
  machine.system.CloseHandle(reader);
  const auto writer = open(platform::kGenericWrite, 7);
  EXPECT_EQ(manager.ReadMarkerFile(kProduct, kMarkerNoSymbol, &list), HrOf(32));
  EXPECT_TRUE(list.empty());
  machine.system.CloseHandle(writer);
}

TEST_F(MarkerFile, OfAnOddNumberOfBytesReadsItsWholeCharacters) {
  Put(MarkerBytes({kA}) + std::string("B\0C", 3));
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(list, (TextList{kA, u"B"}));
}

TEST_F(MarkerFile, WithoutAMarkOrWithLfEndsOrBlankLinesReadsCorrectly) {
  std::string bytes;
  for (const char16_t c : u"\n" + kA + u"\n\n" + kB) {
    bytes.push_back(static_cast<char>(c & 0xFF));
    bytes.push_back(static_cast<char>(c >> 8));
  }
  Put(bytes);
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(list, (TextList{kA, kB}));
}

TEST_F(MarkerFile, ThatCannotBeReadGivesItsError) {
  Put(MarkerBytes({kA}));
  plan.Fail("CreateFileW", 32);
  EXPECT_EQ(Read(), HrOf(32));
  plan.Fail("GetFileSizeEx", 1117);
  EXPECT_EQ(Read(), HrOf(1117));
  plan.Fail("ReadFile", 1117);
  EXPECT_EQ(Read(), HrOf(1117));
  machine.system.FailAllocation(1);
  EXPECT_EQ(Read(), kEOutOfMemory);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(MarkerFile, IsReadWholeInOneRead) {
  TextList many(3000, kA);
  Put(MarkerBytes(many));
  EXPECT_EQ(Read(), 0);
  EXPECT_EQ(plan.CountOf("ReadFile"), 1u);
  EXPECT_EQ(list, many);
}

TEST_F(MarkerFile, WhoseFolderCannotBeMadeIsLogged) {
  machine.files.AddFile(u"C:\\ProgramData\\KelvoVarnels", "a file");
  EXPECT_EQ(Write({kA}), kEFail);
  EXPECT_TRUE(Logged("[Error] EnsureDirectoryExists failed: 0x80004005\n"));
}

TEST_F(MarkerFile, WhereAFolderStandsIsRefusedByTheOpen) {
  machine.files.AddFolder(MarkerPath(kMarkerNoSymbol));
  EXPECT_EQ(Write({kA}), kEAccessDenied);
  EXPECT_EQ(Read(), kEAccessDenied);
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(MarkerFile, IsWrittenWithOneWriteForEachLineAndSharedWithNobody) {
  const auto reader_of = [this] {
    Put("x");
    return machine.files.CreateFileW(MarkerPath(kMarkerNoSymbol).c_str(), platform::kGenericRead, 7,
                                     platform::kOpenExisting, 0);
  };
  const auto reader = reader_of();
  EXPECT_EQ(manager.WriteMarkerFile(kProduct, kMarkerNoSymbol, {kA}), HrOf(32));
  machine.system.CloseHandle(reader);
  plan.Clear();
  EXPECT_EQ(Write({kA, kB}), 0);
  EXPECT_EQ(plan.CountOf("WriteFile"), 3u);
}

TEST_F(MarkerFile, WhoseMarkCannotBeWrittenGoesOn) {
  plan.Fail("WriteFile", 112);
  EXPECT_EQ(Write({kA}), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({kA}).substr(2));
}

TEST_F(MarkerFile, ALineThatCannotBeWrittenLeavesAShortenedFile) {
  plan.Fail({"WriteFile", 3, false, 112});
  EXPECT_EQ(Write({kA, kB, kA}), HrOf(112));
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({kA}));
  EXPECT_EQ(plan.CountOf("WriteFile"), 3u);
}

TEST_F(MarkerFile, ADumpIsAddedAtItsEndOnce) {
  const TextList dumps = AddDumps(2);
  EXPECT_EQ(manager.AddAnalyzedDump(dumps[0], kProduct, kMarkerNoSymbol), 0);
  EXPECT_EQ(manager.AddAnalyzedDump(dumps[1], kProduct, kMarkerNoSymbol), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({Identity(dumps[0]), Identity(dumps[1])}));
  plan.Clear();
  EXPECT_EQ(manager.AddAnalyzedDump(dumps[0], kProduct, kMarkerNoSymbol), 0);
  EXPECT_EQ(plan.CountOf("WriteFile"), 0u) << "a dump that is there leaves the file alone";
  ExpectNothingHeld();
}

TEST_F(MarkerFile, ADumpThatCannotBeReadIsNotAdded) {
  EXPECT_EQ(manager.AddAnalyzedDump(kDumpFolder + u"\\none.dmp", kProduct, kMarkerNoSymbol), HrOf(2));
  EXPECT_EQ(Marker(kMarkerNoSymbol), "absent");
}

TEST_F(MarkerFile, ADumpIsNotAddedToAFileThatCannotBeReadOrWritten) {
  const TextList dumps = AddDumps(1);
  Put(MarkerBytes({kA}));
  plan.Fail({"CreateFileW", 2, false, 32});
  EXPECT_EQ(manager.AddAnalyzedDump(dumps[0], kProduct, kMarkerNoSymbol), HrOf(32)) << "the read";
  plan.Clear();
  plan.Fail({"CreateFileW", 3, false, 5});
  EXPECT_EQ(manager.AddAnalyzedDump(dumps[0], kProduct, kMarkerNoSymbol), kEAccessDenied) << "the rewrite";
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({kA}));
}

TEST_F(MarkerFile, ADumpOfNoBytesAddsAnEmptyLine) {
  EXPECT_EQ(manager.AddAnalyzedDump(AddDump(u"empty.dmp", "", 1), kProduct, kMarkerNoSymbol), 0);
  EXPECT_EQ(Marker(kMarkerNoSymbol), MarkerBytes({u""}));
  EXPECT_EQ(Read(), 0);
  EXPECT_TRUE(list.empty());
}

TEST_F(MarkerFile, WithoutTheProgramDataFolderReadsAsEmptyAndCannotBeWritten) {
  machine.system.environment.erase(u"ProgramData");
  EXPECT_EQ(Read(), 0);
  EXPECT_TRUE(list.empty());
  EXPECT_EQ(Write({kA}), Hr(0x80070057));
  EXPECT_TRUE(Logged("[Error] EnsureDirectoryExists failed: 0x80070057\n"));
}

}  // namespace
}  // namespace varnel
