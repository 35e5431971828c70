#include "analyzer/dump_identity.h"

#include <cstdio>

#include "tests/analyzer/analyzer_fixture.h"

namespace varnel {
namespace {

using namespace testing;  // the fixture's short names

std::string Bytes(std::size_t size, unsigned seed = 1) {
  std::string bytes(size, 0);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>((i * 31 + i / 251 + seed) & 0xFF);
  return bytes;
}

class DumpIdentity : public AnalyzerTest {
 protected:
  /// The identity of a dump of these bytes, which must succeed.
  std::u16string Of(const std::string& bytes) {
    std::u16string identity;
    EXPECT_EQ(CalcDumpIdentity(AddDump(u"a.dmp", bytes, 1), &identity), 0);
    ExpectNothingHeld();
    return identity;
  }
  std::int32_t Failing() {
    identity = u"of an earlier call";
    const std::int32_t failed = CalcDumpIdentity(AddDump(u"a.dmp", Bytes(200000), 1), &identity);
    ExpectNothingHeld();
    return failed;
  }

  std::u16string identity;
};

TEST_F(DumpIdentity, Is32UpperCaseHexadecimalCharacters) {
  // The MD5 of 3 and 133000000000000000 as eight bytes each, the lowest first, and "abc".
  EXPECT_EQ(Of("abc"), u"81E8200F87F1DE426B7F6D1D7E3E2931");
}

TEST_F(DumpIdentity, StaysWithARenameAndACopyThatKeepsTimeAndContent) {
  const std::u16string first = Of(Bytes(1000));
  std::u16string second;
  const std::u16string copy = AddDump(u"other name.dmp", Bytes(1000), 77);
  EXPECT_EQ(CalcDumpIdentity(copy, &second), 0);
  EXPECT_EQ(first, second);
}

TEST_F(DumpIdentity, ChangesWithTheLastWriteTimeButNotTheCreationTime) {
  const std::u16string before = Of("abc");
  const std::u16string path = kDumpFolder + u"\\a.dmp";
  machine.files.SetTimes(path, 5, kWritten + 1);
  EXPECT_EQ(CalcDumpIdentity(path, &identity), 0);
  EXPECT_NE(identity, before);
  machine.files.SetTimes(path, 99, kWritten);
  EXPECT_EQ(CalcDumpIdentity(path, &identity), 0);
  EXPECT_EQ(identity, before);
}

TEST_F(DumpIdentity, AFileOf131072BytesIsHashedByItsFirstBlockOnly) {
  const std::u16string before = Of(Bytes(131072));
  EXPECT_EQ(plan.CountOf("ReadFile"), 1u);
  std::string changed = Bytes(131072);
  for (const std::size_t at : {std::size_t{65536}, std::size_t{131071}}) changed[at] = static_cast<char>(~changed[at]);
  EXPECT_EQ(Of(changed), before);
  changed[65535] = static_cast<char>(~changed[65535]);
  EXPECT_NE(Of(changed), before);
}

TEST_F(DumpIdentity, AFileOf131073BytesAddsATailThatDoesNotTouchTheHead) {
  const std::u16string before = Of(Bytes(131073));
  EXPECT_EQ(plan.CountOf("ReadFile"), 2u);
  EXPECT_EQ(before, IdentityOf(Bytes(131073), kWritten));
  std::string changed = Bytes(131073);
  changed[65536] = static_cast<char>(~changed[65536]);
  EXPECT_EQ(Of(changed), before) << "the byte between the blocks is not hashed";
  changed[65537] = static_cast<char>(~changed[65537]);
  EXPECT_NE(Of(changed), before) << "the tail begins there";
}

TEST_F(DumpIdentity, TwoDumpsThatDifferOnlyInTheirMiddleHaveTheSame) {
  std::string other = Bytes(300000);
  const std::u16string first = Of(other);
  for (std::size_t i = 65536; i < 300000 - 65536; ++i) other[i] = 'x';
  EXPECT_EQ(Of(other), first);
}

TEST_F(DumpIdentity, CostsTwoReadsOf64KiBWhateverTheSize) {
  Of(Bytes(3'000'000));
  EXPECT_EQ(plan.CountOf("ReadFile"), 2u);
  EXPECT_EQ(plan.CountOf("CryptHashData"), 4u) << "size, time, head, tail";
}

TEST_F(DumpIdentity, OfAFileWithoutAByteIsEmptyWithResult0) {
  machine.system.SetLastError(18);
  EXPECT_EQ(CalcDumpIdentity(AddDump(u"empty.dmp", "", 1), &identity), 0);
  EXPECT_EQ(identity, u"");
  EXPECT_EQ(Lines(), 0u);
  ExpectNothingHeld();
}

TEST_F(DumpIdentity, OfAFileWithoutAByteIsTheLastErrorWhenThereIsOne) {
  const std::u16string path = AddDump(u"empty.dmp", "", 1);
  identity = u"of an earlier call";
  plan.After("ReadFile", 1, [this] { machine.system.SetLastError(38); });
  EXPECT_EQ(CalcDumpIdentity(path, &identity), HrOf(38));
  EXPECT_EQ(identity, u"");
  EXPECT_EQ(Lines(), 0u);
  ExpectNothingHeld();
}

TEST_F(DumpIdentity, AFileThatCannotBeOpenedIsToldWithItsErrorTwice) {
  EXPECT_EQ(CalcDumpIdentity(kDumpFolder + u"\\none.dmp", &identity), HrOf(2));
  EXPECT_TRUE(Logged("[Error] CreateFileW failed: 0x00000002 (2)\n"));
  plan.Fail("CreateFileW", 32);
  EXPECT_EQ(Failing(), HrOf(32));
  EXPECT_TRUE(Logged("[Error] CreateFileW failed: 0x00000020 (32)\n"));
  EXPECT_EQ(identity, u"");
}

TEST_F(DumpIdentity, AFileThatSomebodyWritesIsASharingViolation) {
  const std::u16string path = AddDump(u"a.dmp", "abc", 1);
  const auto writer = machine.files.CreateFileW(path.c_str(), platform::kGenericWrite, 7, platform::kOpenExisting, 0);
  EXPECT_EQ(CalcDumpIdentity(path, &identity), HrOf(32));
  machine.system.CloseHandle(writer);
}

TEST_F(DumpIdentity, AFileThatOthersReadIsReadBesideThem) {
  const std::u16string path = AddDump(u"a.dmp", "abc", 1);
  const auto reader = machine.files.CreateFileW(path.c_str(), platform::kGenericRead, platform::kFileShareRead,
                                                platform::kOpenExisting, 0);
  EXPECT_EQ(CalcDumpIdentity(path, &identity), 0);
  EXPECT_EQ(identity, IdentityOf("abc", kWritten));
  machine.system.CloseHandle(reader);
}

TEST_F(DumpIdentity, SizeAndTimeThatCannotBeReadFailInSilence) {
  plan.Fail("GetFileSizeEx", 1117);
  EXPECT_EQ(Failing(), HrOf(1117));
  plan.Fail("GetFileTime", 1117);
  EXPECT_EQ(Failing(), HrOf(1117));
  EXPECT_EQ(identity, u"");
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(DumpIdentity, AContextOrAHashThatCannotBeMadeIsLogged) {
  plan.Fail("CryptAcquireContextW", 0x8009000F);
  EXPECT_EQ(Failing(), Hr(0x8009000F)) << "an error below zero stays as it is";
  EXPECT_TRUE(Logged("[Error] CryptAcquireContextW failed\n"));
  plan.Fail("CryptCreateHash", 14);
  EXPECT_EQ(Failing(), HrOf(14));
  EXPECT_TRUE(Logged("[Error] CryptCreateHash failed\n"));
  EXPECT_EQ(Lines(), 2u);
}

TEST_F(DumpIdentity, AnyBlockThatCannotBeHashedFails) {
  for (unsigned nth = 1; nth <= 4; ++nth) {
    plan.Clear();
    plan.Fail({"CryptHashData", nth, false, 1450});
    EXPECT_EQ(Failing(), HrOf(1450)) << nth;
    EXPECT_EQ(identity, u"");
  }
  plan.Clear();
  plan.Fail("CryptGetHashParam", 234);
  EXPECT_EQ(Failing(), HrOf(234));
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(DumpIdentity, WithoutMemoryForABlockFailsWithItsLine) {
  machine.system.FailAllocation(1);
  EXPECT_EQ(Failing(), kEOutOfMemory);
  EXPECT_TRUE(Logged("[Error] Memory allocation failed\n"));
  EXPECT_EQ(identity, u"");
}

TEST_F(DumpIdentity, AHeadThatCannotBeReadFailsInSilence) {
  plan.Fail("ReadFile", 1117);
  EXPECT_EQ(Failing(), HrOf(1117));
  plan.Fail("SetFilePointerEx", 1117);
  EXPECT_EQ(Failing(), HrOf(1117));
  EXPECT_EQ(Lines(), 0u);
}

TEST_F(DumpIdentity, ATailThatCannotBeReachedOrReadIsLeftOut) {
  const std::string bytes = Bytes(200000);
  plan.Fail({"SetFilePointerEx", 2, false, 1117});
  const std::u16string without_seek = Of(bytes);
  plan.Clear();
  plan.Fail({"ReadFile", 2, false, 1117});
  EXPECT_EQ(Of(bytes), without_seek);
  plan.Clear();
  const auto empty = [this] { std::fclose(machine.files.OpenNarrow("C:\\Windows\\Minidump\\a.dmp", "w")); };
  plan.After("SetFilePointerEx", 2, empty);
  EXPECT_EQ(Of(bytes), without_seek) << "there is nothing any more";
  EXPECT_EQ(plan.CountOf("ReadFile"), 2u);
  plan.Clear();
  EXPECT_NE(Of(bytes), without_seek);
  EXPECT_EQ(Lines(), 0u);
}

}  // namespace
}  // namespace varnel
