#include "platform/embedded/debugger/dump_file.h"

#include "machine_fixture.h"
#include "platform/embedded/system/embedded_system.h"
#include "small_dump.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

class DumpFiles : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    system_ = std::make_unique<EmbeddedSystem>(machine_, &environment_);
  }
  void TearDown() override {
    source_.reset();
    system_.reset();
    MachineFixture::TearDown();
  }

  void MakeDump(const std::string& below, std::size_t size = ~std::size_t{0}) {
    auto bytes = SmallDump{}.Bytes();
    if (size < bytes.size()) bytes.resize(size);
    MakeFile(below, std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
  }
  HRESULT Open(const char16_t* path) { return OpenDump(files_.get(), system_.get(), path, &source_); }

  std::unique_ptr<EmbeddedSystem> system_;
  std::shared_ptr<const formats::DumpSource> source_;
};

HRESULT Of(std::uint32_t bits) {
  return static_cast<HRESULT>(bits);
}

TEST_F(DumpFiles, ADumpIsReadByItsPathOnTheMachine) {
  MakeDump("Windows/a.dmp");
  ASSERT_EQ(Open(u"c:/windows/A.DMP"), 0);
  EXPECT_EQ(source_->Size(), SmallDump{}.Bytes().size());
  std::byte mark[4] = {};
  EXPECT_EQ(source_->Read(4, mark), 4u);
  EXPECT_EQ(mark[0], std::byte{'D'});
}

TEST_F(DumpFiles, OthersMayReadAnOpenDumpAndNobodyMayWriteOrDeleteIt) {
  MakeDump("a.dmp");
  ASSERT_EQ(Open(u"C:\\a.dmp"), 0);
  EXPECT_EQ(OpenError(u"C:\\a.dmp", platform::kGenericRead, kShareAll), 0u);
  EXPECT_EQ(OpenError(u"C:\\a.dmp", platform::kGenericWrite, kShareAll), 32u);
  EXPECT_FALSE(files_->DeleteFileW(u"C:\\a.dmp"));
  source_.reset();
  EXPECT_EQ(OpenError(u"C:\\a.dmp", platform::kGenericWrite, kShareAll), 0u);
  EXPECT_TRUE(files_->DeleteFileW(u"C:\\a.dmp"));
}

TEST_F(DumpFiles, ADumpThatIsBeingWrittenIsInUse) {
  MakeDump("a.dmp");
  const auto writer =
      files_->CreateFileW(u"C:\\a.dmp", platform::kGenericWrite, platform::kFileShareRead, platform::kOpenExisting, 0);
  EXPECT_EQ(Open(u"C:\\a.dmp"), Of(0x80070020));
  system_->CloseHandle(writer);
  EXPECT_EQ(Open(u"C:\\a.dmp"), 0);
}

TEST_F(DumpFiles, AMissingFileAndAMissingFolderAreToldApart) {
  EXPECT_EQ(Open(u"C:\\none.dmp"), Of(0x80070002));
  EXPECT_EQ(Open(u"C:\\none\\a.dmp"), Of(0x80070003));
  EXPECT_EQ(source_, nullptr);
}

TEST_F(DumpFiles, AnOpenThatFailsWithoutAnErrorFails) {
  class SilentFiles final : public EmbeddedFiles {
   public:
    using EmbeddedFiles::EmbeddedFiles;
    platform::HANDLE CreateFileW(const char16_t*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) override {
      SetLastError(0);
      return platform::kInvalidHandleValue;
    }
  };
  SilentFiles silent(machine_, &environment_);
  EXPECT_EQ(OpenDump(&silent, system_.get(), u"C:\\a.dmp", &source_), Of(0x80004005));
  EXPECT_EQ(source_, nullptr);
}

TEST_F(DumpFiles, AFileThatIsNoDumpIsNotOpened) {
  MakeFile("a.dmp", std::string(0x3000, 'x'));
  EXPECT_EQ(Open(u"C:\\a.dmp"), Of(0x8007000B));
  EXPECT_TRUE(files_->DeleteFileW(u"C:\\a.dmp")) << "and not kept in use";
}

TEST_F(DumpFiles, AFileThatEndsInItsHeaderIsDamaged) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{8}, std::size_t{0x1FFF}}) {
    MakeDump("a.dmp", size);
    EXPECT_EQ(Open(u"C:\\a.dmp"), Of(0x80070570)) << size;
  }
}

TEST_F(DumpFiles, AFolderIsRefused) {
  MakeFolder("a.dmp");
  EXPECT_EQ(Open(u"C:\\a.dmp"), Of(0x80070005));
}

TEST_F(DumpFiles, AFileThatIsCutWhileItIsOpenReadsAsMissing) {
  MakeDump("a.dmp");
  ASSERT_EQ(Open(u"C:\\a.dmp"), 0);
  std::filesystem::resize_file(Host("a.dmp"), 0x1000);
  std::vector<std::byte> bytes(0x2000);
  EXPECT_EQ(source_->Read(0, bytes), 0x1000u);
  EXPECT_EQ(source_->Read(0x1800, bytes), 0u);
}

}  // namespace
}  // namespace varnel::embedded
