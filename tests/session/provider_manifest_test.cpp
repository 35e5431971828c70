#include "session/provider_manifest.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "base/log.h"
#include "formats/text_encoding.h"
#include "session/provider_table.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/heap_faults.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

constexpr char16_t kSampleFile[] = u"C:\\Windows\\Temp\\ProviderSample_{D8909C24-5BE9-4502-98CA-AB7BDC24899D}.xml";

class ProviderManifest : public ::testing::Test {
 protected:
  ProviderManifest() {
    WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
    platform_.system.ClearDebug();
    platform_.files.AddFolder(u"C:\\Windows\\Temp");
    platform_.tdh.read_file = [](const std::u16string& path, void* context) {
      return static_cast<testing::FakeFiles*>(context)->Contents(path);
    };
    platform_.tdh.read_file_context = &platform_.files;
  }
  ~ProviderManifest() override {
    EXPECT_EQ(platform_.system.heap_blocks(), blocks_before_);
    EXPECT_EQ(platform_.files.open_files(), 0u);
  }

  static std::uint32_t LoadSample() { return LoadTargetProviderXmlFile(&g_ProviderSampleGUID, u"ProviderSample"); }
  int LinesWith(const std::string& piece) const {
    int count = 0;
    for (const auto& line : platform_.system.DebugLines()) count += line.find(piece) != std::string::npos;
    return count;
  }

  testing::ScriptedPlatform platform_;
  const int blocks_before_ = platform_.system.heap_blocks();
  testing::FaultPlan plan_;
};

class ProviderManifestFaults : public ProviderManifest {
 protected:
  testing::FaultyPlatform faulty_{platform_.ports, &plan_};
};

/// Each file opens, and takes nothing that is written.
class FilesThatTakeNothing : public testing::FaultyFiles {
 public:
  using FaultyFiles::FaultyFiles;

  std::FILE* OpenNarrow(const char* path, const char* mode) override {
    std::FILE* const made = FaultyFiles::OpenNarrow(path, mode);
    if (made == nullptr) return nullptr;
    std::fclose(made);
    return FaultyFiles::OpenNarrow(path, "r");
  }
};

/// Narrow names are in a code page that gives each byte a character of its own.
class FilesWithLatin1Names : public testing::FaultyFiles {
 public:
  using FaultyFiles::FaultyFiles;

  bool DeleteFileA(const char* path) override { return FaultyFiles::DeleteFileA(Utf8(path).c_str()); }
  bool PathFileExistsA(const char* path) override { return FaultyFiles::PathFileExistsA(Utf8(path).c_str()); }
  std::FILE* OpenNarrow(const char* path, const char* mode) override {
    return FaultyFiles::OpenNarrow(Utf8(path).c_str(), mode);
  }

 private:
  static std::string Utf8(std::string_view latin1) {
    std::u16string wide;
    for (const char c : latin1) wide.push_back(static_cast<unsigned char>(c));
    return formats::Utf16ToUtf8(wide);
  }
};

/// On files of a kind of the test's own.
template <typename Files>
class ProviderManifestOn : public ProviderManifest {
 protected:
  Files files_{&platform_.files, &plan_};
  platform::Platform ports_ = [this] {
    platform::Platform ports = platform_.ports;
    ports.files = &files_;
    return ports;
  }();
  platform::ScopedPlatform in_force_{&ports_};
};
using ProviderManifestThatIsNotTaken = ProviderManifestOn<FilesThatTakeNothing>;
using ProviderManifestInLatin1 = ProviderManifestOn<FilesWithLatin1Names>;

class ProviderManifestWithoutHeap : public ProviderManifest {
 protected:
  void SetUp() override {
    if (!testing::HeapFaults::Work()) GTEST_SKIP() << "the heap of this build cannot fail";
  }

  testing::HeapFaultPlan heap_plan_;
  testing::FaultyPlatform watched_{platform_.ports, &heap_plan_};
};

TEST_F(ProviderManifest, AllSevenAreLoadedInOrderAndNoFileStays) {
  ASSERT_EQ(LoadAllProviderXmlFile(), 0u);
  const auto loaded = platform_.tdh.LoadedManifests();
  ASSERT_EQ(loaded.size(), 7u);
  EXPECT_EQ(loaded[0].path, kSampleFile);
  EXPECT_EQ(loaded[1].path, u"C:\\Windows\\Temp\\SourceUsb_{4A234950-2B7D-4221-BADF-12593BD342A8}.xml");
  EXPECT_EQ(loaded[6].path, u"C:\\Windows\\Temp\\KelvoIDD_{4A234952-2B7D-4221-BADF-12593BD342A8}.xml");
  EXPECT_TRUE(platform_.files.List(u"C:\\Windows\\Temp").empty());
}

TEST_F(ProviderManifest, TheFileIsUtf16WithItsMarkFirstAndNoNulAtItsEnd) {
  ASSERT_EQ(LoadSample(), 0u);
  const std::string bytes = platform_.tdh.LoadedManifests().at(0).bytes;
  ASSERT_GT(bytes.size(), 100u);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\xFF\xFE<\0", 4));
  EXPECT_EQ(bytes.size() % 2, 0u);
  std::string text;
  for (std::size_t i = 2; i < bytes.size(); i += 2) {
    EXPECT_EQ(bytes[i + 1], '\0');
    text += bytes[i];
  }
  EXPECT_EQ(text.find('\0'), std::string::npos);
  EXPECT_NE(text.find("<provider name=\"ProviderSample\" guid=\"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}\" "
                      "symbol=\"ProviderSampleGUID\""),
            std::string::npos);
  const std::string end = "</instrumentationManifest>";
  const std::size_t last = text.find_last_not_of("\r\n");
  EXPECT_EQ(text.substr(last + 1 - end.size(), end.size()), end);
}

TEST_F(ProviderManifest, ALeftOverFileOfACrashedRunIsReplaced) {
  platform_.files.AddFile(kSampleFile, "an older and much longer text that must not shine through");
  ASSERT_EQ(LoadSample(), 0u);
  EXPECT_EQ(platform_.tdh.LoadedManifests().at(0).bytes.find("older"), std::string::npos);
  EXPECT_FALSE(platform_.files.Exists(kSampleFile));
}

TEST_F(ProviderManifest, NullArgumentsAreRefused) {
  EXPECT_EQ(LoadTargetProviderXmlFile(nullptr, u"ProviderSample"), 87u);
  EXPECT_EQ(LoadTargetProviderXmlFile(&g_ProviderSampleGUID, nullptr), 87u);
}

TEST_F(ProviderManifestFaults, WithoutATemporaryFolderTheLastErrorIsReturnedAndNothingElseHappens) {
  plan_.Fail("GetTempPathW", 1450);
  EXPECT_EQ(LoadSample(), 1450u);
  EXPECT_EQ(plan_.CountOf("OpenNarrow"), 0u);
  EXPECT_EQ(plan_.CountOf("DeleteFileW"), 0u);
}

TEST_F(ProviderManifestFaults, AFileThatCanNotBeSavedGives31AndCountsAsNotMade) {
  plan_.Fail("OpenNarrow", 5);
  EXPECT_EQ(LoadSample(), 31u);
  EXPECT_EQ(plan_.CountOf("DeleteFileW"), 0u);
}

TEST_F(ProviderManifestThatIsNotTaken, AFileThatOpensAndThenTakesNothingGives31AndCountsAsNotMade) {
  EXPECT_EQ(LoadSample(), 31u);
  EXPECT_EQ(plan_.CountOf("OpenNarrow"), 2u);
  EXPECT_EQ(plan_.CountOf("CreateFileW"), 0u) << "nothing is read back";
  EXPECT_EQ(plan_.CountOf("DeleteFileW"), 0u);
  EXPECT_TRUE(platform_.tdh.LoadedManifests().empty());
}

TEST_F(ProviderManifestInLatin1, TheNarrowNameOfTheFileIsInTheMachinesOwnCodePage) {
  platform_.system.narrow_is_latin1 = true;
  platform_.files.temp_path = u"C:\\T\u00E4mp\\";
  platform_.files.AddFolder(u"C:\\T\u00E4mp");
  EXPECT_EQ(LoadSample(), 0u);
  ASSERT_EQ(platform_.tdh.LoadedManifests().size(), 1u);
  EXPECT_EQ(platform_.tdh.LoadedManifests()[0].path,
            u"C:\\T\u00E4mp\\ProviderSample_{D8909C24-5BE9-4502-98CA-AB7BDC24899D}.xml");
}

// The file never opens here, so that a document that was built whole ends with 31.
TEST_F(ProviderManifestWithoutHeap, EachAllocationOfTheDocumentThatFailsGives14AndNoFileIsOpened) {
  heap_plan_.FailForEver("OpenNarrow", 5);
  unsigned allocations = 0;
  for (bool failed = true; failed;) {
    std::uint32_t result = 0;
    {
      const testing::HeapFaults faults(++allocations);
      result = LoadSample();
      failed = faults.failed();
    }
    EXPECT_EQ(result, failed ? 14u : 31u) << allocations;
    EXPECT_EQ(heap_plan_.CountOf("OpenNarrow"), failed ? 0u : 1u) << allocations;
  }
  EXPECT_GT(allocations, 20u) << "the document, its blocks of nodes and its texts";
}

TEST_F(ProviderManifestFaults, ALeftOverFileThatCanNotBeDeletedIsOverwritten) {
  platform_.files.AddFile(kSampleFile, "old");
  plan_.Fail("DeleteFileA", 5);
  EXPECT_EQ(LoadSample(), 0u);
}

TEST_F(ProviderManifestFaults, EachFileOperationThatFailsGivesItsErrorAndTheFileIsDeleted) {
  const testing::Fault faults[] = {{"CreateFileW", 1, false, 5}, {"GetFileSize", 1, false, 6},
                                   {"ReadFile", 1, false, 1117}, {"CreateFileW", 2, false, 32},
                                   {"WriteFile", 1, false, 112}, {"WriteFile", 2, false, 112}};
  for (const auto& fault : faults) {
    plan_.Clear();
    plan_.Fail(fault);
    EXPECT_EQ(LoadSample(), fault.code) << fault.operation << " " << fault.nth;
    EXPECT_EQ(plan_.CountOf("TdhLoadManifest"), 0u);
    EXPECT_FALSE(platform_.files.Exists(kSampleFile)) << fault.operation << " " << fault.nth;
  }
}

TEST_F(ProviderManifest, AFailedAllocationGives14AndTheFileIsDeleted) {
  for (unsigned nth = 1; nth <= 2; ++nth) {
    platform_.system.FailAllocation(nth);
    EXPECT_EQ(LoadSample(), 14u);
    EXPECT_FALSE(platform_.files.Exists(kSampleFile));
  }
}

TEST_F(ProviderManifestFaults, ATextThatCanNotBeConvertedGives31) {
  for (unsigned nth = 2; nth <= 3; ++nth) {  // the first conversion widens the GUID
    plan_.Clear();
    plan_.Fail({"MultiByteToWideChar", nth, false, 1113});
    EXPECT_EQ(LoadSample(), 31u);
    EXPECT_FALSE(platform_.files.Exists(kSampleFile));
  }
}

TEST_F(ProviderManifestFaults, AFailedLoadIsLoggedItsFileIsGoneAndTheNextProviderIsTried) {
  plan_.Fail("TdhLoadManifest", 13);
  EXPECT_EQ(LoadAllProviderXmlFile(), 13u);
  EXPECT_EQ(LinesWith("LoadTargetProviderXmlFile func call TdhLoadManifest(C:\\Windows\\Temp\\ProviderSample_{D8909C24-"
                      "5BE9-4502-98CA-AB7BDC24899D}.xml) failed(0xd)\r\n"),
            1);
  EXPECT_EQ(LinesWith("LoadAllProviderXmlFile func call LoadTargetProviderXmlFile failed(0xd) for "
                      "ProviderGuid={D8909C24-5BE9-4502-98CA-AB7BDC24899D}, ProviderName=ProviderSample\r\n"),
            1);
  EXPECT_TRUE(platform_.files.List(u"C:\\Windows\\Temp").empty());
  EXPECT_EQ(platform_.tdh.LoadedManifests().size(), 6u);
}

TEST_F(ProviderManifestFaults, AFailedLoadIsAnErrorAndItsProviderIsToldAsInformation) {
  WrapLogInit(LOG_ERROR, nullptr);
  plan_.Fail("TdhLoadManifest", 13);
  LoadAllProviderXmlFile();
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  EXPECT_EQ(LinesWith("LoadTargetProviderXmlFile func"), 1);
  WrapLogInit(LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  plan_.Fail("TdhLoadManifest", 13);
  LoadAllProviderXmlFile();
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
  EXPECT_EQ(LinesWith("LoadAllProviderXmlFile func"), 1);
}

TEST_F(ProviderManifestFaults, OfTwoFailingProvidersTheLaterOnesCodeIsReturned) {
  plan_.Fail({"TdhLoadManifest", 2, false, 13});
  plan_.Fail({"TdhLoadManifest", 5, false, 8});
  EXPECT_EQ(LoadAllProviderXmlFile(), 8u);
  EXPECT_EQ(platform_.tdh.LoadedManifests().size(), 5u);
}

}  // namespace
}  // namespace varnel
