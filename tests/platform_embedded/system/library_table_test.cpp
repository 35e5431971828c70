#include "platform/embedded/system/library_table.h"

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

constexpr std::u16string_view kHostFolder = u"C:\\Host";

void Something() {}

class Libraries : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    MakeFolder("Host");
    MakeFile("Windows/System32/engine.dll");
    table_ = std::make_unique<LibraryTable>(machine_);
    table_->AddProcedure(u"Engine.dll", "Something", &Something);
  }
  void TearDown() override {
    table_.reset();
    MachineFixture::TearDown();
  }

  std::unique_ptr<LibraryTable> table_;
};

TEST_F(Libraries, WhatAnswersIsKnownByTheBaseNameWithoutRegardToCase) {
  MakeFile("Host/eNgInE.dLL", "another content");
  for (const char16_t* path : {u"C:\\Windows\\System32\\ENGINE.DLL", u"C:\\Host\\engine.dll"}) {
    const auto module = table_->Load(path, kHostFolder);
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(table_->Find(module, "Something"), &Something);
    EXPECT_EQ(table_->Find(module, "something"), nullptr);
    EXPECT_EQ(LastError(), platform::kErrorProcNotFound);
    EXPECT_TRUE(table_->Free(module));
  }
}

TEST_F(Libraries, AKnownNameWithoutItsFileAnswers126) {
  std::filesystem::remove(Host("Windows/System32/engine.dll"));
  EXPECT_EQ(table_->Load(u"engine.dll", kHostFolder), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorModNotFound);
}

TEST_F(Libraries, AFileThatNobodyKnowsIsLoadedAndAnswersNothing) {
  MakeFile("Windows/System32/other.dll");
  const auto module = table_->Load(u"other", kHostFolder);
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(table_->Find(module, "Something"), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorProcNotFound);
}

TEST_F(Libraries, ABareNameIsLookedForInTheHostsFolderFirst) {
  auto module = table_->Load(u"engine", kHostFolder);
  EXPECT_EQ(table_->PathOf(module), u"C:\\Windows\\System32\\engine.dll");
  MakeFile("Host/engine.dll");
  module = table_->Load(u"engine", kHostFolder);
  EXPECT_EQ(table_->PathOf(module), u"C:\\Host\\engine.dll");
}

TEST_F(Libraries, TheSamePathIsOneModuleHoweverItIsWritten) {
  const auto first = table_->Load(u"C:\\Windows\\System32\\engine.dll", kHostFolder);
  const auto second = table_->Load(u"c:/windows/SYSTEM32/Engine", kHostFolder);
  EXPECT_EQ(first, second);
  EXPECT_TRUE(table_->Free(first));
  EXPECT_EQ(table_->Find(first, "Something"), &Something);
  EXPECT_TRUE(table_->Free(first));
  EXPECT_FALSE(table_->Free(first));
  EXPECT_EQ(LastError(), platform::kErrorModNotFound);
  EXPECT_EQ(table_->Find(first, "Something"), nullptr);
  EXPECT_TRUE(table_->PathOf(first).empty());
}

TEST_F(Libraries, ALoadedFileIsKeptUntilItsLastFree) {
  const auto module = table_->Load(u"engine", kHostFolder);
  table_->Load(u"engine", kHostFolder);
  EXPECT_TRUE(table_->Free(module));
  EXPECT_FALSE(files_->DeleteFileW(u"C:\\Windows\\System32\\engine.dll"));
  EXPECT_EQ(LastError(), platform::kErrorAccessDenied);
  EXPECT_EQ(OpenError(u"C:\\Windows\\System32\\engine.dll", platform::kGenericWrite, kShareAll),
            platform::kErrorSharingViolation);
  EXPECT_EQ(OpenError(u"C:\\Windows\\System32\\engine.dll", platform::kGenericRead, platform::kFileShareRead), 0u);
  EXPECT_TRUE(table_->Free(module));
  EXPECT_TRUE(files_->DeleteFileW(u"C:\\Windows\\System32\\engine.dll"));
}

TEST_F(Libraries, AFileThatSomebodyWritesCantBeLoaded) {
  const auto file = files_->CreateFileW(u"C:\\Windows\\System32\\engine.dll", platform::kGenericWrite, kShareAll,
                                        platform::kOpenExisting, 0);
  EXPECT_EQ(table_->Load(u"C:\\Windows\\System32\\engine.dll", kHostFolder), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorSharingViolation);
  Handles().Remove(file);
}

TEST_F(Libraries, AFolderOrAnEmptyNameIsNoLibrary) {
  MakeFolder("Windows/System32/folder.dll");
  EXPECT_EQ(table_->Load(u"folder", kHostFolder), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorModNotFound);
  EXPECT_EQ(table_->Load(u"", kHostFolder), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorInvalidParameter);
}

TEST(LibrariesWithoutAMachine, AreNone) {
  LibraryTable table(nullptr);
  EXPECT_EQ(table.Load(u"kernel32.dll", u"C:\\Host"), nullptr);
  EXPECT_EQ(LastError(), platform::kErrorModNotFound);
}

}  // namespace
}  // namespace varnel::embedded
