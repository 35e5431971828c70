// Holds the readers to whole images of compilers and systems, where this machine has some.
#include <gmock/gmock.h>

#include "formats/pe/function_name.h"
#include "formats/pe/pe_version.h"
#include "formats/pe/unwind_info.h"
#include "tests/support/dumped_memory.h"
#include "tests/support/pe_file.h"

namespace varnel::formats {
namespace {

constexpr std::uint64_t kBase = 0x1'8000'0000;
constexpr std::size_t kMostFiles = 60;

class SystemImages : public testing::Test {
 protected:
  void SetUp() override {
    files_ = support::SystemPeFiles(kMostFiles);
    if (files_.empty()) GTEST_SKIP() << "this machine has no images";
  }

  template <typename Check>
  void ForEach(Check check) {
    for (const auto& file : files_) {
      const auto mapped = support::MapPeFile(file);
      if (!mapped.has_value()) continue;
      SCOPED_TRACE(file);
      support::DumpedMemory memory;
      memory.Put(kBase, *mapped);
      const auto image = PeImage::Open(memory, kBase, static_cast<std::uint32_t>(mapped->size()));
      ASSERT_TRUE(image.found()) << Describe(image.state());
      check(image.value());
    }
  }
  // Gives the entries of the function table one by one.
  template <typename Visit>
  static void ForEachEntry(const PeImage& image, Visit visit) {
    const auto table = image.Directory(PeDirectory::kException);
    if (!table.found()) return;
    (void)image.memory().ForEach<PeFunction>(table.value().rva, table.value().size / 12, [&](auto, const auto& entry) {
      visit(entry);
      return !testing::Test::HasFailure();
    });
  }

  std::vector<std::filesystem::path> files_;
};

TEST_F(SystemImages, HaveHeadersOfTheirOwnSize) {
  ForEach([](const PeImage& image) {
    EXPECT_EQ(image.headers().size_of_image, image.memory().size());
    EXPECT_EQ(image.headers().machine, 0x8664);
    EXPECT_FALSE(image.sections().empty());
  });
}

TEST_F(SystemImages, HaveFunctionsThatAreFoundFromTheirFirstByteToTheirLast) {
  std::size_t entries = 0;
  ForEach([&](const PeImage& image) {
    const auto functions = PeFunctions::Open(image);
    ForEachEntry(image, [&](const PeFunction& entry) {
      if (entry.begin >= entry.end) return;  // room that a linker left
      ++entries;
      ASSERT_TRUE(functions.found());
      EXPECT_EQ(functions.value().Find(entry.begin).value().begin, entry.begin);
      EXPECT_EQ(functions.value().Find(entry.end - 1).value().begin, entry.begin);
      EXPECT_TRUE(image.IsExecutable(entry.begin));
    });
  });
  EXPECT_GT(entries, 0u);
}

TEST_F(SystemImages, HaveUnwindInformationThatIsUnderstoodWhole) {
  ForEach([](const PeImage& image) {
    ForEachEntry(image, [&](const PeFunction& entry) {
      if (entry.begin >= entry.end) return;
      const auto info = ReadUnwindInfo(image.memory(), entry.unwind_info);
      ASSERT_TRUE(info.found()) << std::hex << entry.begin << " " << Describe(info.state());
      std::size_t slot = 0;
      while (slot < info.value().count) {
        ASSERT_NE(SlotsOf(info.value(), slot), 0u) << std::hex << entry.begin;
        slot += SlotsOf(info.value(), slot);
      }
      EXPECT_EQ(slot, info.value().count) << std::hex << entry.begin;
    });
  });
}

TEST_F(SystemImages, NameTheirExportedFunctionsAtEveryPlaceOfTheirCode) {
  std::size_t named = 0;
  ForEach([&](const PeImage& image) {
    const auto exports = PeExports::Open(image);
    const auto functions = PeFunctions::Open(image);
    if (!exports.found()) return;
    EXPECT_TRUE(exports.value().complete());
    ForEachEntry(image, [&](const PeFunction& entry) {
      if (entry.begin >= entry.end) return;
      const auto first = NameFunction(image, exports.value(), functions, entry.begin);
      const auto last = NameFunction(image, exports.value(), functions, entry.end - 1);
      ASSERT_EQ(first.state(), last.state());
      if (!first.found()) {
        EXPECT_EQ(first.state(), PeState::kAbsent);
        return;
      }
      ++named;
      EXPECT_EQ(first.value().name, last.value().name);
      EXPECT_EQ(last.value().displacement - first.value().displacement, entry.end - 1 - entry.begin);
    });
  });
  EXPECT_GT(named, 0u);
}

TEST_F(SystemImages, HaveVersionsWhoseTwoFormsAreReadable) {
  ForEach([&](const PeImage& image) {
    const auto version = PeVersion::Open(image);
    if (!version.found()) {
      EXPECT_EQ(version.state(), PeState::kAbsent);
      return;
    }
    EXPECT_TRUE(version.value().Fixed().found());
    const auto translation = version.value().Query(u"\\VarFileInfo\\Translation");
    EXPECT_EQ(translation.state(), PeState::kFound);
  });
}

}  // namespace
}  // namespace varnel::formats
