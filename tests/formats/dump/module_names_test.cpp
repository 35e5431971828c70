#include "formats/dump/module_names.h"

#include <gtest/gtest.h>

#include <cstring>

namespace varnel::formats {
namespace {

ModuleNames::Reader Of(std::u16string text) {
  return [text](std::span<std::byte> into) {
    const std::size_t size = std::min(into.size(), 2 * text.size());
    std::memcpy(into.data(), text.data(), size);
    return size;
  };
}

TEST(ModuleNames, ReadsATextUpToItsNull) {
  ModuleNames names(100);
  EXPECT_EQ(names.Read(10, Of(u"hal.d")), u"hal.d");
  EXPECT_EQ(names.Read(10, Of(std::u16string(u"ha\0.d", 5))), u"ha");
}

TEST(ModuleNames, LeavesOutATextThatIsNotAllThere) {
  ModuleNames names(100);
  EXPECT_EQ(names.Read(12, Of(u"hal.d")), u"");
  EXPECT_EQ(names.Read(0, Of(u"hal.d")), u"");
  EXPECT_EQ(names.Read(1, Of(u"hal.d")), u"");
}

TEST(ModuleNames, StopsWhenTheBudgetIsSpent) {
  ModuleNames names(14);
  EXPECT_EQ(names.Read(10, Of(u"hal.d")), u"hal.d");
  EXPECT_EQ(names.Read(10, Of(u"hal.d")), u"");
  EXPECT_EQ(names.Read(4, Of(u"nt")), u"nt");
}

TEST(ModuleNames, SpendsItsBudgetOnTextsThatAreMissingToo) {
  ModuleNames names(14);
  EXPECT_EQ(names.Read(10, Of(u"")), u"");
  EXPECT_EQ(names.Read(10, Of(u"hal.d")), u"");
}

TEST(ModuleNames, ReadsNoTextLongerThanTheFormAllows) {
  ModuleNames names(0x100000);
  EXPECT_EQ(names.Read(0x10000, Of(std::u16string(0x8000, u'x'))).size(), 0x8000u);
  EXPECT_EQ(names.Read(0x10002, Of(std::u16string(0x8001, u'x'))), u"");
}

TEST(ModuleNames, TakeTheFileNameBehindTheLastSlash) {
  EXPECT_EQ(FileNameOf(u"\\SystemRoot\\a.sys"), u"a.sys");
  EXPECT_EQ(FileNameOf(u"C:/x/b.sys"), u"b.sys");
  EXPECT_EQ(FileNameOf(u"c.sys"), u"c.sys");
  EXPECT_EQ(FileNameOf(u"\\x\\"), u"");
}

TEST(ModuleNames, MakeUpANameWhereTheDumpHasNone) {
  ModuleNames names(100);
  DumpModule module;
  module.base = 0xFFFFF80012345000;
  names.Complete(&module);
  EXPECT_EQ(module.name, u"unknown_fffff80012345000");
  module.path = u"\\x\\y.sys";
  module.name.clear();
  names.Complete(&module);
  EXPECT_EQ(module.name, u"y.sys");
  module.path = u"z.sys";
  names.Complete(&module);
  EXPECT_EQ(module.name, u"y.sys");
}

TEST(ModuleNames, PayForANameThatIsTakenFromThePath) {
  ModuleNames names(10);
  DumpModule module;
  module.path = u"y.sys";
  names.Complete(&module);
  EXPECT_EQ(module.name, u"y.sys");
  module.name.clear();
  names.Complete(&module);
  EXPECT_EQ(module.name, u"unknown_0000000000000000");
}

TEST(ModuleNames, HaveALimitThatNoFileSizeRaises) {
  ModuleNames names(~std::uint64_t{0});
  const auto all = [](std::span<std::byte> into) { return into.size(); };
  std::size_t reads = 0;
  while (reads < 2000) {
    bool read = false;
    static_cast<void>(names.Read(0x10000, [&](std::span<std::byte> into) {
      read = true;
      return all(into);
    }));
    if (!read) break;
    ++reads;
  }
  EXPECT_EQ(reads, 1024u);
}

}  // namespace
}  // namespace varnel::formats
