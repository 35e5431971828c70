#include "platform/embedded/files/find_object.h"

#include <sys/stat.h>

#include "machine_fixture.h"

namespace varnel::embedded {
namespace {

class Searches : public MachineFixture {
 protected:
  std::vector<std::u16string> Find(std::u16string_view pattern) {
    std::vector<std::u16string> names;
    FindObject find;
    error_ = find.Begin(FileOpener(machine_), pattern);
    platform::WIN32_FIND_DATAW data;
    while (error_ == 0 && find.Next(&data)) names.emplace_back(data.cFileName);
    return names;
  }

  std::uint32_t error_ = 0;
};

using Names = std::vector<std::u16string>;

TEST_F(Searches, HostFilesThatNoWindowsNameCanBeAreNotListed) {
  MakeFolder("folder");
  for (const char* name : {"good", "a:b", "NUL", "end.", "back\\slash", "bad\xFF"}) {
    MakeFile(std::string("folder/") + name);
  }
  ASSERT_EQ(::mkfifo(Host("folder/pipe").c_str(), 0666), 0);
  std::filesystem::create_symlink("/etc", Host("folder/link"));
  EXPECT_EQ(Find(u"C:\\folder\\*"), (Names{u".", u"..", u"good"}));
}

TEST_F(Searches, ARootHasNoDots) {
  MakeFile("file");
  EXPECT_EQ(Find(u"C:\\*"), (Names{u"file", u"Windows"}));
}

TEST_F(Searches, ARootItselfIsNotFound) {
  EXPECT_EQ(Find(u"C:\\"), Names{});
  EXPECT_EQ(error_, platform::kErrorFileNotFound);
}

TEST_F(Searches, AFolderOnTheWayThatIsAFileAnswersThatItIsNone) {
  MakeFile("file");
  EXPECT_EQ(Find(u"C:\\file\\*"), Names{});
  EXPECT_EQ(error_, platform::kErrorDirectory);
}

TEST_F(Searches, NamesStandInTheOrderOfTheirUpperCasedUnits) {
  MakeFolder("folder");
  for (const char* name : {"b", "B1", "\xC3\xA4", "z", "_x", "A"}) MakeFile(std::string("folder/") + name);
  EXPECT_EQ(ListNames(Host("folder"), LinkTable::Read(*machine_)), (Names{u"A", u"b", u"B1", u"z", u"_x", u"\u00E4"}));
}

TEST_F(Searches, TwoNamesThatDifferInCaseAloneAreBothListed) {
  MakeFolder("folder");
  MakeFile("folder/name");
  MakeFile("folder/NAME");
  EXPECT_EQ(ListNames(Host("folder"), LinkTable::Read(*machine_)), (Names{u"NAME", u"name"}));
}

TEST_F(Searches, ASizeAbove4GiBIsToldInTwoHalves) {
  MakeFile("big");
  std::filesystem::resize_file(Host("big"), (std::uint64_t{1} << 32) + 5);
  FindObject find;
  platform::WIN32_FIND_DATAW data;
  ASSERT_EQ(find.Begin(FileOpener(machine_), u"C:\\big"), 0u);
  ASSERT_TRUE(find.Next(&data));
  EXPECT_EQ(data.nFileSizeHigh, 1u);
  EXPECT_EQ(data.nFileSizeLow, 5u);
}

}  // namespace
}  // namespace varnel::embedded
