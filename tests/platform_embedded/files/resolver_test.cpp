#include "platform/embedded/files/resolver.h"

#include <cerrno>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class Resolver : public MachineFixture {
 protected:
  std::uint32_t ErrorOf(std::u16string_view path) { return ResolvePath(*machine_, path, &place_); }

  HostPath place_;
};

TEST_F(Resolver, TakesTheExactNameBeforeOneOfAnotherCase) {
  MakeFile("file");
  MakeFile("FILE");
  EXPECT_EQ(ErrorOf(u"C:\\FILE"), 0u);
  EXPECT_EQ(place_.path, Host("FILE"));
  EXPECT_EQ(ErrorOf(u"C:\\file"), 0u);
  EXPECT_EQ(place_.path, Host("file"));
}

TEST_F(Resolver, FindsEachNameOnTheWayWithoutRegardToCase) {
  MakeFolder("Some/Folder");
  MakeFile("Some/Folder/\xC3\x84rger.txt");
  EXPECT_EQ(ErrorOf(u"c:\\sOME\\fOLDER\\\u00E4RGER.TXT"), 0u);
  EXPECT_TRUE(place_.exists);
  EXPECT_EQ(place_.path, Host("Some/Folder/\xC3\x84rger.txt"));
}

TEST_F(Resolver, TellsWhereAMissingLastNameWouldBe) {
  EXPECT_EQ(ErrorOf(u"C:\\windows\\New.txt"), 0u);
  EXPECT_FALSE(place_.exists);
  EXPECT_EQ(place_.path, Host("Windows/New.txt"));
}

TEST_F(Resolver, AMissingFolderOrAFileOnTheWayAnswers3) {
  MakeFile("file");
  EXPECT_EQ(ErrorOf(u"C:\\none\\x"), platform::kErrorPathNotFound);
  EXPECT_EQ(ErrorOf(u"C:\\file\\x"), platform::kErrorPathNotFound);
  EXPECT_EQ(ErrorOf(u"D:\\x"), platform::kErrorPathNotFound);
}

TEST_F(Resolver, AnotherDriveIsAnotherFolder) {
  std::filesystem::create_directory(machine_->DrivePath('D'));
  EXPECT_EQ(ErrorOf(u"d:\\"), 0u);
  EXPECT_TRUE(place_.IsFolder());
}

TEST_F(Resolver, DotsDoNotLeadOutOfTheDrive) {
  EXPECT_EQ(ErrorOf(u"C:\\..\\..\\machine"), 0u);
  EXPECT_FALSE(place_.exists);
  EXPECT_EQ(place_.path, Host("machine"));
}

TEST_F(Resolver, ALinkOutOfTheDriveAnswers5) {
  std::ofstream(folder_ + "/secret") << "x";
  std::filesystem::create_symlink(folder_ + "/secret", Host("out"));
  std::filesystem::create_directory_symlink("/", Host("root"));
  std::filesystem::create_symlink("../../secret", Host("relative"));
  EXPECT_EQ(ErrorOf(u"C:\\out"), platform::kErrorAccessDenied);
  EXPECT_EQ(ErrorOf(u"C:\\root\\etc\\passwd"), platform::kErrorAccessDenied);
  EXPECT_EQ(ErrorOf(u"C:\\relative"), platform::kErrorAccessDenied);
}

TEST_F(Resolver, ALinkToAFolderWhoseNameBeginsLikeTheDrivesAnswers5) {
  std::filesystem::create_directory(folder_ + "/m/Cx");
  std::filesystem::create_directory_symlink(folder_ + "/m/Cx", Host("near"));
  EXPECT_EQ(ErrorOf(u"C:\\near\\x"), platform::kErrorAccessDenied);
}

TEST_F(Resolver, ALinkWithinTheDriveIsFollowed) {
  MakeFile("Windows/file");
  std::filesystem::create_directory_symlink("Windows", Host("Link"));
  EXPECT_EQ(ErrorOf(u"C:\\link\\file"), 0u);
  EXPECT_TRUE(place_.exists);
}

TEST_F(Resolver, ALinkToNowhereOrToItselfAnswers5) {
  std::filesystem::create_symlink("nowhere", Host("dangling"));
  std::filesystem::create_symlink("loop", Host("loop"));
  EXPECT_EQ(ErrorOf(u"C:\\dangling"), platform::kErrorAccessDenied);
  EXPECT_EQ(ErrorOf(u"C:\\loop"), platform::kErrorAccessDenied);
}

TEST_F(Resolver, ANameThatIsTooLongForTheHostIsSimplyMissing) {
  const std::u16string name(200, u'\u4E00');  // 600 bytes of UTF-8
  EXPECT_EQ(ErrorOf(u"C:\\" + name), 0u);
  EXPECT_FALSE(place_.exists);
}

TEST_F(Resolver, TheReadableFormNamesPathAndError) {
  const auto missing = Resolve(*machine_, u"C:\\none\\x");
  ASSERT_FALSE(missing.ok());
  EXPECT_EQ(missing.error().message, "C:\\none\\x: error 3");
  EXPECT_TRUE(Resolve(*machine_, u"C:\\Windows").ok());
}

TEST(WindowsNames, HostNamesThatNoWindowsNameCanBeAreNone) {
  for (const char* name : {"a:b", "a\\b", "NUL", "end.", "end ", "bad\xFF", "tab\t", ""}) {
    EXPECT_FALSE(WindowsName(name).has_value()) << name;
  }
  EXPECT_EQ(WindowsName("\xC3\xA4.txt"), u"\u00E4.txt");
}

TEST(HostErrors, HaveTheirWin32Numbers) {
  EXPECT_EQ(Win32Error(ENOENT), platform::kErrorFileNotFound);
  EXPECT_EQ(Win32Error(EACCES), platform::kErrorAccessDenied);
  EXPECT_EQ(Win32Error(ENOSPC), platform::kErrorDiskFull);
  EXPECT_EQ(Win32Error(EFBIG), platform::kErrorDiskFull);
  EXPECT_EQ(Win32Error(ENOTEMPTY), platform::kErrorDirNotEmpty);
  EXPECT_EQ(Win32Error(ENAMETOOLONG), 206u);
  EXPECT_EQ(Win32Error(EPROTO), platform::kErrorGenFailure);
}

}  // namespace
}  // namespace varnel::embedded
