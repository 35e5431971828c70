#include "platform/embedded/tdh/manifest_file.h"

#include <gtest/gtest.h>

#include "manifest_text.h"
#include "tests/support/fake_files.h"
#include "tests/support/fake_system.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/virtual_time.h"

namespace varnel::embedded {
namespace {

class ManifestFile : public ::testing::Test {
 protected:
  std::string Text(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  testing::VirtualTime time_;
  testing::FakeHandles handles_;
  testing::FakeSystem system_{&handles_, &time_};
  testing::FakeFiles files_{&handles_, [] { return std::uint64_t{1}; }};
  std::vector<std::byte> bytes_;
};

TEST_F(ManifestFile, IsReadWholeAndClosed) {
  const std::string text(100000, 'm');
  files_.AddFile(u"C:\\m.xml", text);
  EXPECT_EQ(ReadThrough(&files_, &system_)(u"C:\\m.xml", &bytes_), 0u);
  EXPECT_EQ(Text(bytes_), text);
  EXPECT_EQ(files_.open_files(), 0u);
}

TEST_F(ManifestFile, AnEmptyFileIsNoError) {
  files_.AddFile(u"C:\\m.xml");
  EXPECT_EQ(ReadThrough(&files_, &system_)(u"C:\\m.xml", &bytes_), 0u);
  EXPECT_TRUE(bytes_.empty());
}

TEST_F(ManifestFile, AFileOrFolderThatIsMissingAnswers2Or3) {
  files_.AddFolder(u"C:\\a");
  EXPECT_EQ(ReadThrough(&files_, &system_)(u"C:\\a\\m.xml", &bytes_), 2u);
  EXPECT_EQ(ReadThrough(&files_, &system_)(u"C:\\b\\m.xml", &bytes_), 3u);
}

TEST_F(ManifestFile, EachFileOperationThatFailsAnswersItsLastError) {
  files_.AddFile(u"C:\\m.xml", "text");
  for (const char* operation : {"CreateFileW", "GetFileSizeEx", "ReadFile"}) {
    testing::FaultPlan plan;
    plan.Fail(operation, 1117);
    testing::FaultyFiles faulty(&files_, &plan);
    EXPECT_EQ(ReadThrough(&faulty, &system_)(u"C:\\m.xml", &bytes_), 1117u) << operation;
    EXPECT_EQ(files_.open_files(), 0u) << operation;
  }
}

TEST_F(ManifestFile, TheHelperLoadsThroughIt) {
  files_.AddFile(u"C:\\m.xml", testing::WardletManifest());
  EmbeddedTdh tdh(ReadThrough(&files_, &system_));
  EXPECT_EQ(tdh.TdhLoadManifest(u"C:\\m.xml"), 0u);
  EXPECT_EQ(tdh.TdhLoadManifest(u"C:\\n.xml"), 2u);
}

}  // namespace
}  // namespace varnel::embedded
