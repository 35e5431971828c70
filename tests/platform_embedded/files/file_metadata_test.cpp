#include "platform/embedded/files/file_metadata.h"

#include <sys/xattr.h>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class FileMetadata : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeFile("file");
  }

  bool HostKeepsAttributes() {
    const bool kept = ::setxattr(Host("file").c_str(), "user.varnel.probe", "1", 1, 0) == 0;
    ::removexattr(Host("file").c_str(), "user.varnel.probe");
    return kept;
  }
  struct stat Status() const {
    struct stat status {};
    EXPECT_EQ(::stat(Host("file").c_str(), &status), 0);
    return status;
  }
  std::uint32_t Set(std::uint32_t attributes) { return SetAttributes(Host("file"), Status(), attributes); }
  std::uint32_t Get() const { return AttributesOf(Host("file"), Status()); }
};

TEST_F(FileMetadata, AFileThatTheHostMadeIsToBeArchived) {
  EXPECT_EQ(Get(), platform::kFileAttributeArchive);
  EXPECT_FALSE(IsReadOnly(Status()));
}

TEST_F(FileMetadata, ReadOnlyIsTheAbsenceOfTheHostsWriteBits) {
  EXPECT_EQ(Set(platform::kFileAttributeReadonly | platform::kFileAttributeArchive), 0u);
  EXPECT_EQ(Status().st_mode & 0222, 0u);
  EXPECT_TRUE(IsReadOnly(Status()));
  EXPECT_EQ(Set(platform::kFileAttributeArchive), 0u);
  EXPECT_EQ(Status().st_mode & 0200, 0200u);
  EXPECT_EQ(Get(), platform::kFileAttributeArchive);
}

TEST_F(FileMetadata, HiddenAndSystemAreKeptBesideReadOnly) {
  if (!HostKeepsAttributes()) GTEST_SKIP() << "this file system has no extended attributes";
  EXPECT_EQ(Set(0x1 | 0x2 | 0x4), 0u);
  EXPECT_EQ(Get(), 0x7u);
  EXPECT_EQ(Set(0x2), 0u);
  EXPECT_EQ(Get(), 0x2u);
}

TEST_F(FileMetadata, AFileWithoutAnyAttributeIsNormal) {
  if (!HostKeepsAttributes()) GTEST_SKIP() << "this file system has no extended attributes";
  EXPECT_EQ(Set(platform::kFileAttributeNormal), 0u);
  EXPECT_EQ(Get(), platform::kFileAttributeNormal);
  EXPECT_EQ(Set(platform::kFileAttributeArchive), 0u);
  EXPECT_EQ(Get(), platform::kFileAttributeArchive);
}

TEST_F(FileMetadata, AReadOnlyFolderStillTakesNewFiles) {
  if (!HostKeepsAttributes()) GTEST_SKIP() << "this file system has no extended attributes";
  EXPECT_TRUE(files_->SetFileAttributesW(u"C:\\Windows", platform::kFileAttributeReadonly));
  EXPECT_EQ(files_->GetFileAttributesW(u"C:\\Windows"),
            platform::kFileAttributeReadonly | platform::kFileAttributeDirectory);
  EXPECT_EQ(OpenError(u"C:\\Windows\\new", platform::kGenericWrite, 0, platform::kCreateNew), 0u);
  struct stat status {};
  EXPECT_EQ(::stat(Host("Windows").c_str(), &status), 0);
  EXPECT_NE(status.st_mode & 0200, 0u);
}

TEST_F(FileMetadata, WhatCantBeSetIsPassedOver) {
  EXPECT_EQ(Set(platform::kFileAttributeArchive | platform::kFileAttributeDirectory), 0u);
  EXPECT_EQ(Get(), platform::kFileAttributeArchive);
}

TEST_F(FileMetadata, TheTimesThatAreLeftOutStay) {
  const auto before = TimesOf(Host("file"));
  const platform::FILETIME write = platform::ToFileTime(131000000001234567);
  EXPECT_EQ(SetTimes(Host("file"), nullptr, nullptr, &write), 0u);
  const auto after = TimesOf(Host("file"));
  EXPECT_EQ(after.last_write, 131000000001234567u);
  EXPECT_EQ(after.creation, before.creation);
  EXPECT_EQ(after.last_access, before.last_access);
}

TEST_F(FileMetadata, TheCreationTimeCanBeSetThoughTheHostHasNoSuchCall) {
  if (!HostKeepsAttributes()) GTEST_SKIP() << "this file system has no extended attributes";
  const platform::FILETIME creation = platform::ToFileTime(130000000001234567);
  EXPECT_EQ(SetTimes(Host("file"), &creation, nullptr, nullptr), 0u);
  EXPECT_EQ(TimesOf(Host("file")).creation, 130000000001234567u);
}

TEST_F(FileMetadata, AMissingFileHasNoTimes) {
  EXPECT_EQ(TimesOf(Host("none")).last_write, 0u);
}

TEST_F(FileMetadata, ATimeBefore1970IsKept) {
  const platform::FILETIME write = platform::ToFileTime(100000000000000000);
  EXPECT_EQ(SetTimes(Host("file"), nullptr, nullptr, &write), 0u);
  EXPECT_EQ(TimesOf(Host("file")).last_write, 100000000000000000u);
}

}  // namespace
}  // namespace varnel::embedded
