#include "platform/embedded/files/link_table.h"

#include "machine_fixture.h"
#include "platform/embedded/files/resolver.h"

namespace varnel::embedded {
namespace {

// Tables are written here by hand, and links made by the host's own call.
class LinkTables : public MachineFixture {
 protected:
  void SetUp() override {
    MachineFixture::SetUp();
    target_ = folder_ + "/target";
    std::ofstream(target_) << "x";
  }

  void WriteTable(const std::string& text) { std::ofstream(folder_ + "/m/links", std::ios::binary) << text; }
  void MakeLink(const std::string& below) { std::filesystem::create_symlink(target_, Host(below)); }
  /// The creation time of the link at a name; 0 when there is none.
  std::uint64_t CreationOf(const std::string& below) const {
    const LinkTable table = LinkTable::Read(*machine_);
    const LinkTable::Link* link = table.Find(Host(below));
    return link == nullptr ? 0 : link->creation;
  }
  std::uint32_t Error(std::u16string_view path) const {
    HostPath place;
    return ResolvePath(*machine_, path, &place);
  }

  std::string target_;
};

TEST_F(LinkTables, AMachineWithoutATableHasNoLinks) {
  MakeLink("a");
  EXPECT_EQ(CreationOf("a"), 0u);
}

TEST_F(LinkTables, ALineTellsCreationTimePlaceAndTarget) {
  WriteTable("133000000000000001\tC/Windows/a b.dmp\t" + target_ + "\n");
  MakeLink("Windows/a b.dmp");
  EXPECT_EQ(CreationOf("Windows/a b.dmp"), 133000000000000001u);
  EXPECT_EQ(Error(u"C:\\windows\\A B.DMP"), 0u);
}

TEST_F(LinkTables, ALineIsWrittenAsItIsRead) {
  WriteTable(LinkTable::LineOf({7, "C/a", target_}));
  MakeLink("a");
  EXPECT_EQ(CreationOf("a"), 7u);
}

TEST_F(LinkTables, TheLastLineAboutAPlaceCounts) {
  WriteTable("5\tC/a\t" + target_ + "\n9\tC/b\t" + target_ + "\n6\tC/a\t" + target_ + "\n");
  MakeLink("a");
  EXPECT_EQ(CreationOf("a"), 6u);
}

TEST_F(LinkTables, ALineWithoutItsEndIsNone) {
  WriteTable("5\tC/a\t" + target_);
  MakeLink("a");
  EXPECT_EQ(CreationOf("a"), 0u);
  EXPECT_EQ(Error(u"C:\\a"), platform::kErrorAccessDenied);
}

TEST_F(LinkTables, LinesThatTellNoLinkAreSkipped) {
  const std::string lines[] = {"5",
                               "5\tC/a",
                               "x\tC/a\t" + target_,
                               "5x\tC/a\t" + target_,
                               "\tC/a\t" + target_,
                               "5\t\t" + target_,
                               "5\tC/a\trelative",
                               "-5\tC/a\t" + target_,
                               "99999999999999999999999\tC/a\t" + target_,
                               std::string(1000, '\0')};
  for (const std::string& line : lines) {
    WriteTable(line + "\n8\tC/b\t" + target_ + "\n");
    std::filesystem::remove(Host("a"));
    std::filesystem::remove(Host("b"));
    MakeLink("a");
    MakeLink("b");
    EXPECT_EQ(CreationOf("a"), 0u) << line;
    EXPECT_EQ(CreationOf("b"), 8u) << line;
  }
}

TEST_F(LinkTables, ALinkThatSomebodyTurnedElsewhereLeadsNowhere) {
  WriteTable("5\tC/a\t" + target_ + "\n");
  std::filesystem::create_symlink("/etc/passwd", Host("a"));
  EXPECT_EQ(CreationOf("a"), 0u);
  EXPECT_EQ(Error(u"C:\\a"), platform::kErrorAccessDenied);
}

TEST_F(LinkTables, ALinkAtAnotherPlaceLeadsNowhere) {
  WriteTable("5\tC/a\t" + target_ + "\n");
  MakeLink("b");
  EXPECT_EQ(CreationOf("b"), 0u);
  EXPECT_EQ(Error(u"C:\\b"), platform::kErrorAccessDenied);
}

TEST_F(LinkTables, AFileAtALinksPlaceIsAFile) {
  WriteTable("5\tC/a\t" + target_ + "\n");
  MakeFile("a");
  EXPECT_EQ(CreationOf("a"), 0u);
  EXPECT_EQ(OpenError(u"C:\\a", platform::kGenericWrite, 0), 0u);
}

TEST_F(LinkTables, ALinkToAFolderOrAPipeAnswers5) {
  target_ = folder_;
  WriteTable("5\tC/a\t" + target_ + "\n");
  MakeLink("a");
  EXPECT_EQ(Error(u"C:\\a"), platform::kErrorAccessDenied);
  EXPECT_EQ(Error(u"C:\\a\\m"), platform::kErrorAccessDenied);
}

TEST_F(LinkTables, ALinkWhoseTargetIsGoneAnswers2) {
  WriteTable("5\tC/a\t" + target_ + "\n");
  MakeLink("a");
  std::filesystem::remove(target_);
  EXPECT_EQ(Error(u"C:\\a"), platform::kErrorFileNotFound);
  EXPECT_EQ(OpenError(u"C:\\a", platform::kGenericWrite, 0, platform::kCreateAlways), platform::kErrorFileNotFound);
  EXPECT_FALSE(std::filesystem::exists(target_));
}

}  // namespace
}  // namespace varnel::embedded
