#include "platform/embedded/tools/machine_link.h"

#include <sys/stat.h>

#include <fstream>
#include <thread>
#include <vector>

#include "machine_fixture.h"
#include "platform/embedded/core/environment.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/files/embedded_files.h"

namespace varnel::embedded {
namespace {

using namespace platform;

constexpr std::uint64_t kCreation = 133000000001234567;
constexpr std::uint32_t kShareAll = kFileShareRead | kFileShareWrite | kFileShareDelete;
constexpr char16_t kLink[] = u"C:\\Windows\\Minidump\\One.dmp";
constexpr char16_t kOther[] = u"C:\\Windows\\Minidump\\other.dmp";

class MachineLinks : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeMachine();
    files_ = std::make_unique<EmbeddedFiles>(machine_, &environment_);
    target_ = folder_ + "/dump";
    std::ofstream(target_) << "content";
    Link(kLink, kCreation);
    ASSERT_EQ(::stat(target_.c_str(), &before_), 0);
  }
  void TearDown() override {
    ExpectTargetUntouched();
    files_.reset();
    MachineFixture::TearDown();
  }

  void Link(const char16_t* path, std::uint64_t creation) {
    const auto added = AddLink(*machine_, path, target_, creation);
    ASSERT_TRUE(added.ok()) << added.error().message;
  }
  HANDLE Open(const char16_t* path, std::uint32_t access, std::uint32_t disposition = kOpenExisting) {
    SetLastError(0);
    return files_->CreateFileW(path, access, kShareAll, disposition, 0);
  }
  std::uint32_t OpenError(std::uint32_t access, std::uint32_t disposition = kOpenExisting) {
    const HANDLE file = Open(kLink, access, disposition);
    if (file == kInvalidHandleValue) return LastError();
    Handles().Remove(file);
    return 0;
  }
  std::string Read(const char16_t* path) {
    const HANDLE file = Open(path, kGenericRead);
    char text[64];
    std::uint32_t read = 0;
    if (!files_->ReadFile(file, text, sizeof text, &read, nullptr)) return "<error>";
    Handles().Remove(file);
    return {text, read};
  }
  std::vector<WIN32_FIND_DATAW> Find(const char16_t* pattern) {
    std::vector<WIN32_FIND_DATAW> all;
    WIN32_FIND_DATAW data{};
    const HANDLE find = files_->FindFirstFileW(pattern, &data);
    if (find == kInvalidHandleValue) return all;
    do {
      all.push_back(data);
    } while (files_->FindNextFileW(find, &data));
    files_->FindClose(find);
    return all;
  }
  void MakeFile(const char16_t* path) {
    const HANDLE file = Open(path, kGenericWrite, kCreateNew);
    ASSERT_NE(file, kInvalidHandleValue);
    Handles().Remove(file);
  }
  // Content, times, mode and number of names, whatever the test tried.
  void ExpectTargetUntouched() const {
    struct stat after {};
    ASSERT_EQ(::stat(target_.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before_.st_ino);
    EXPECT_EQ(after.st_mode, before_.st_mode);
    EXPECT_EQ(after.st_nlink, before_.st_nlink);
    EXPECT_EQ(after.st_mtim.tv_nsec, before_.st_mtim.tv_nsec);
    EXPECT_EQ(after.st_ctim.tv_nsec, before_.st_ctim.tv_nsec);
    std::ifstream in(target_);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "content");
  }

  Environment environment_;
  std::unique_ptr<EmbeddedFiles> files_;
  std::string target_;
  struct stat before_ = {};
};

TEST_F(MachineLinks, AreReadAsFilesWithoutRegardToCase) {
  EXPECT_EQ(Read(kLink), "content");
  EXPECT_EQ(Read(u"c:\\WINDOWS\\minidump\\oNE.DMP"), "content");
  const HANDLE file = Open(kLink, kGenericRead);
  std::uint64_t size = 0;
  EXPECT_TRUE(files_->GetFileSizeEx(file, &size));
  EXPECT_EQ(size, 7u);
  Handles().Remove(file);
}

TEST_F(MachineLinks, AnOpenAlwaysForReadingFindsTheFile) {
  const HANDLE file = Open(kLink, kGenericRead, kOpenAlways);
  ASSERT_NE(file, kInvalidHandleValue);
  EXPECT_EQ(LastError(), kErrorAlreadyExists);
  Handles().Remove(file);
}

TEST_F(MachineLinks, HaveTheirCreationTimeFromTheTableAndTheWriteTimeOfTheTarget) {
  const HANDLE file = Open(kLink, kGenericRead);
  FILETIME creation{};
  FILETIME write{};
  ASSERT_TRUE(files_->GetFileTime(file, &creation, nullptr, &write));
  Handles().Remove(file);
  EXPECT_EQ(ToUint64(creation), kCreation);
  const auto found = Find(kLink);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(ToUint64(found[0].ftCreationTime), kCreation);
  EXPECT_EQ(ToUint64(found[0].ftLastWriteTime), ToUint64(write));
  EXPECT_EQ(ToUint64(write) / 10000000 - 11644473600, static_cast<std::uint64_t>(before_.st_mtim.tv_sec));
}

TEST_F(MachineLinks, AreListedWithNameSizeAndAttributes) {
  Link(kOther, kCreation + 1);
  std::filesystem::create_symlink(target_, machine_->DrivePath('C') + "/Windows/Minidump/foreign.dmp");
  const auto found = Find(u"C:\\Windows\\Minidump\\*.dmp");
  ASSERT_EQ(found.size(), 2u);
  EXPECT_EQ(std::u16string(found[0].cFileName), u"One.dmp");
  EXPECT_EQ(std::u16string(found[1].cFileName), u"other.dmp");
  EXPECT_EQ(ToUint64(found[0].ftCreationTime), kCreation);
  EXPECT_EQ(ToUint64(found[1].ftCreationTime), kCreation + 1);
  EXPECT_EQ(found[0].nFileSizeLow, 7u);
  EXPECT_EQ(found[0].dwFileAttributes, kFileAttributeReadonly | kFileAttributeArchive);
}

TEST_F(MachineLinks, AreFoundByTheirOwnNameAndNotByTheTargets) {
  const auto found = Find(u"C:\\Windows\\Minidump\\one.DMP");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(std::u16string(found[0].cFileName), u"One.dmp");
}

TEST_F(MachineLinks, AreReadOnlyWhateverTheTargetIs) {
  EXPECT_EQ(files_->GetFileAttributesW(kLink), kFileAttributeReadonly | kFileAttributeArchive);
}

TEST_F(MachineLinks, AnOpenThatCouldChangeSomethingAnswers5) {
  constexpr std::uint32_t kWriteAttributes = 0x100;
  constexpr std::uint32_t kDelete = 0x10000;
  constexpr std::uint32_t kAppend = 0x4;
  for (const std::uint32_t access : {kGenericWrite, kGenericAll, kWriteAttributes, kDelete, kAppend}) {
    EXPECT_EQ(OpenError(kGenericRead | access), kErrorAccessDenied) << std::hex << access;
  }
  EXPECT_EQ(OpenError(kGenericWrite, kOpenAlways), kErrorAccessDenied);
  EXPECT_EQ(OpenError(kGenericRead, kCreateAlways), kErrorAccessDenied);
  EXPECT_EQ(OpenError(kGenericRead, kTruncateExisting), kErrorAccessDenied);
  EXPECT_EQ(OpenError(kGenericWrite, kCreateNew), kErrorFileExists);
  EXPECT_EQ(files_->OpenNarrow("C:\\Windows\\Minidump\\One.dmp", "r+"), nullptr);
  EXPECT_EQ(LastError(), kErrorAccessDenied);
}

TEST_F(MachineLinks, AnOpenLinkTakesNoWriteNoTimesAndNoEnd) {
  const HANDLE file = Open(kLink, kGenericRead);
  std::uint32_t written = 0;
  const FILETIME time{};
  EXPECT_FALSE(files_->WriteFile(file, "x", 1, &written, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_FALSE(files_->SetFileTime(file, &time, nullptr, nullptr));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_FALSE(files_->SetEndOfFile(file));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  Handles().Remove(file);
}

TEST_F(MachineLinks, SettingAttributesAnswers5) {
  EXPECT_FALSE(files_->SetFileAttributesW(kLink, kFileAttributeNormal));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
}

TEST_F(MachineLinks, DeletingOneAnswers5AsForAReadOnlyFile) {
  EXPECT_FALSE(files_->DeleteFileW(kLink));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_FALSE(files_->DeleteFileA("C:\\Windows\\Minidump\\One.dmp"));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_EQ(files_->RemoveFolders(u"C:\\Windows\\Minidump"), kErrorAccessDenied);
  EXPECT_EQ(Read(kLink), "content");
}

TEST_F(MachineLinks, RenamingOneOrAFolderWithOneAnswers5) {
  EXPECT_FALSE(files_->MoveFileExW(kLink, u"C:\\moved.dmp", kMoveFileReplaceExisting));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_FALSE(files_->MoveFileExW(u"C:\\Windows\\Minidump", u"C:\\moved", 0));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_EQ(Read(kLink), "content");
}

TEST_F(MachineLinks, ReplacingOneAnswers5) {
  MakeFile(kOther);
  EXPECT_FALSE(files_->MoveFileExW(kOther, kLink, kMoveFileReplaceExisting));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_FALSE(files_->CopyFileW(kOther, kLink, false));
  EXPECT_EQ(LastError(), kErrorAccessDenied);
  EXPECT_EQ(Read(kLink), "content");
}

TEST_F(MachineLinks, ACopyIsAReadOnlyFileOfItsOwn) {
  EXPECT_TRUE(files_->CopyFileW(kLink, kOther, true));
  EXPECT_EQ(Read(kOther), "content");
  EXPECT_EQ(files_->GetFileAttributesW(kOther), kFileAttributeReadonly | kFileAttributeArchive);
  EXPECT_TRUE(files_->SetFileAttributesW(kOther, kFileAttributeNormal));
  EXPECT_TRUE(files_->DeleteFileW(kOther));
}

TEST_F(MachineLinks, WhatIsThereAlreadyIsLeftAlone) {
  MakeFile(kOther);
  for (const char16_t* path : {kOther, kLink, u"C:\\windows"}) {
    const auto added = AddLink(*machine_, path, target_, 1);
    ASSERT_FALSE(added.ok());
    EXPECT_NE(added.error().message.find("there is such a file already"), std::string::npos);
  }
  EXPECT_EQ(Read(kOther), "");
  EXPECT_EQ(ToUint64(Find(kLink).at(0).ftCreationTime), kCreation);
}

TEST_F(MachineLinks, ATargetThatIsNoPlainFileIsRefusedWithItsPathAndTheReason) {
  const auto missing = AddLink(*machine_, kOther, folder_ + "/none", 1);
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().message, folder_ + "/none: No such file or directory");
  const auto folder = AddLink(*machine_, kOther, folder_, 1);
  ASSERT_FALSE(folder.ok());
  EXPECT_EQ(folder.error().message, folder_ + ": not a plain file");
  std::ofstream(folder_ + "/a\tb") << "x";
  EXPECT_FALSE(AddLink(*machine_, kOther, folder_ + "/a\tb", 1).ok());
  EXPECT_TRUE(Find(kOther).empty());
}

TEST_F(MachineLinks, APlaceThatCannotBeIsRefused) {
  for (const char16_t* path : {u"C:\\none\\x.dmp", u"D:\\x.dmp", u"C:\\NUL", u"C:\\a:b", u"C:\\new\\"}) {
    EXPECT_FALSE(AddLink(*machine_, path, target_, 1).ok());
  }
}

TEST_F(MachineLinks, WhatAKilledToolBeganIsNoLineAndIsOverwritten) {
  std::ofstream(machine_->LinksPath(), std::ios::app) << "133\tC/Win";
  EXPECT_EQ(Read(kLink), "content");
  Link(kOther, 77);
  EXPECT_EQ(ToUint64(Find(kOther).at(0).ftCreationTime), 77u);
  EXPECT_EQ(ToUint64(Find(kLink).at(0).ftCreationTime), kCreation);
}

TEST_F(MachineLinks, ToolsAddThemAtTheSameTime) {
  std::vector<std::thread> tools;
  for (int tool = 0; tool < 4; ++tool) {
    tools.emplace_back([&, tool] {
      for (int i = 0; i < 25; ++i) {
        const std::string digits = std::to_string(100 * tool + i);
        const std::u16string name(digits.begin(), digits.end());
        Link((u"C:\\Windows\\Temp\\" + name).c_str(), static_cast<std::uint64_t>(100 * tool + i));
      }
    });
  }
  for (auto& tool : tools) tool.join();
  int links = 0;
  for (const auto& data : Find(u"C:\\Windows\\Temp\\*")) {
    if ((data.dwFileAttributes & kFileAttributeDirectory) != 0) continue;
    const std::u16string name = data.cFileName;
    EXPECT_EQ(ToUint64(data.ftCreationTime), std::stoull(std::string(name.begin(), name.end())));
    ++links;
  }
  EXPECT_EQ(links, 100);
}

}  // namespace
}  // namespace varnel::embedded
