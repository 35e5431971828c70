#include "formats/pe/pe_image.h"

#include <gmock/gmock.h>

#include "tests/support/dumped_memory.h"
#include "tests/support/pe_bytes.h"

namespace varnel::formats {
namespace {

using support::DumpedMemory;
using support::PeBytes;
using support::PeSpec;

constexpr std::uint64_t kBase = 0xFFFF'F804'7BA0'0000;

PeLookup<PeImage> OpenBytes(const PeBytes& bytes, DumpedMemory* memory, std::uint32_t size = 0) {
  memory->Put(kBase, bytes.bytes());
  return PeImage::Open(*memory, kBase, size);
}

TEST(PeImage, ReadsTheHeadersOfA64BitImage) {
  DumpedMemory memory;
  const auto image = OpenBytes(PeBytes(), &memory);
  ASSERT_TRUE(image.found());
  const PeHeaders& headers = image.value().headers();
  EXPECT_EQ(headers.machine, 0x8664);
  EXPECT_EQ(headers.time_date_stamp, 0x5F1A'2B3Cu);
  EXPECT_EQ(headers.characteristics, 0x2022);
  EXPECT_EQ(headers.entry_point, 0x1000u);
  EXPECT_EQ(headers.image_base, 0x1'4000'0000u);
  EXPECT_EQ(headers.section_alignment, 0x1000u);
  EXPECT_EQ(headers.size_of_image, 0x8000u);
  EXPECT_EQ(headers.size_of_headers, 0x400u);
  EXPECT_EQ(headers.checksum, 0x12345u);
  EXPECT_EQ(headers.subsystem, 1);
  EXPECT_EQ(headers.dll_characteristics, 0x4160);
  EXPECT_EQ(image.value().memory().size(), 0x8000u);
}

TEST(PeImage, FindsTheSectionOfAPlace) {
  DumpedMemory memory;
  const auto opened = OpenBytes(PeBytes(), &memory);
  ASSERT_TRUE(opened.found());
  const PeImage& image = opened.value();
  ASSERT_EQ(image.sections().size(), 5u);
  EXPECT_EQ(image.SectionAt(0xFFF), nullptr) << "headers are in no section";
  EXPECT_EQ(image.SectionAt(0x1000)->name, ".text");
  EXPECT_EQ(image.SectionAt(0x2FFF)->name, ".text");
  EXPECT_EQ(image.SectionAt(0x3000)->name, ".rdata");
  EXPECT_EQ(image.SectionAt(0x8000), nullptr);
  EXPECT_TRUE(image.IsExecutable(0x2000));
  EXPECT_FALSE(image.IsExecutable(0x3000));
  EXPECT_FALSE(image.IsExecutable(0x10));
}

TEST(PeImage, KeepsANameOfEightBytesAndASectionWithoutAVirtualSize) {
  PeSpec spec;
  spec.sections = {{"PAGEKD12", 0x1000, 0x1000, support::kCodeSection}};
  PeBytes bytes(spec);
  bytes.Put32(bytes.optional_header() + 240 + 8, 0);
  DumpedMemory memory;
  const auto image = OpenBytes(bytes, &memory);
  ASSERT_TRUE(image.found());
  EXPECT_EQ(image.value().sections()[0].name, "PAGEKD12");
  EXPECT_EQ(image.value().sections()[0].range.size, 0x1000u) << "what the file holds stands in";
}

TEST(PeImage, CutsASectionAtTheEndOfTheImage) {
  PeSpec spec;
  spec.sections = {{"long", 0x7000, 0xFFFF'F000}, {"outside", 0x9000, 0x1000}};
  DumpedMemory memory;
  const auto image = OpenBytes(PeBytes(spec), &memory);
  ASSERT_TRUE(image.found());
  EXPECT_EQ(image.value().sections()[0].range.size, 0x1000u);
  EXPECT_EQ(image.value().sections()[1].range.size, 0u);
  EXPECT_EQ(image.value().SectionAt(0x9000), nullptr);
}

TEST(PeImage, TellsWhereADirectoryLies) {
  PeBytes bytes;
  bytes.Directory(0, 0x3000, 0x100).Directory(2, 0x7F00, 0x101).Directory(3, 0x8000, 1).Directory(6, 0x3000, 0);
  DumpedMemory memory;
  const auto image = OpenBytes(bytes, &memory);
  ASSERT_TRUE(image.found());
  const auto exports = image.value().Directory(PeDirectory::kExport);
  ASSERT_TRUE(exports.found());
  EXPECT_EQ(exports.value().rva, 0x3000u);
  EXPECT_EQ(exports.value().size, 0x100u);
  EXPECT_EQ(image.value().Directory(PeDirectory::kImport).state(), PeState::kAbsent);
  EXPECT_EQ(image.value().Directory(PeDirectory::kResource).state(), PeState::kDamaged) << "leaves the image";
  EXPECT_EQ(image.value().Directory(PeDirectory::kException).state(), PeState::kDamaged) << "begins behind it";
  EXPECT_EQ(image.value().Directory(PeDirectory::kDebug).state(), PeState::kAbsent) << "has no size";
}

TEST(PeImage, HasNoDirectoryBehindTheCountThatTheHeaderGives) {
  PeSpec spec;
  spec.directories = 3;
  PeBytes bytes(spec);
  bytes.Directory(2, 0x6000, 0x100).Directory(3, 0x7000, 0x100);
  DumpedMemory memory;
  const auto image = OpenBytes(bytes, &memory);
  ASSERT_TRUE(image.found());
  EXPECT_TRUE(image.value().Directory(PeDirectory::kResource).found());
  EXPECT_EQ(image.value().Directory(PeDirectory::kException).state(), PeState::kAbsent);
}

TEST(PeImage, HasNoDirectoryBehindTheEndOfItsOptionalHeader) {
  PeSpec spec;
  spec.directories = 0xFFFF'FFFF;
  spec.optional_size = 112 + 8 * 3;
  spec.sections = {};
  PeBytes bytes(spec);
  bytes.Directory(2, 0x6000, 0x100).Directory(3, 0x7000, 0x100);
  DumpedMemory memory;
  const auto image = OpenBytes(bytes, &memory);
  ASSERT_TRUE(image.found());
  EXPECT_TRUE(image.value().Directory(PeDirectory::kResource).found());
  EXPECT_EQ(image.value().Directory(PeDirectory::kException).state(), PeState::kAbsent);
}

TEST(PeImage, RefusesOtherKindsOfImagesByName) {
  struct Row {
    std::uint16_t magic;
    PeState state;
  };
  for (const Row& row : {Row{0x10B, PeState::kPe32}, Row{0x107, PeState::kRomImage}, Row{0x30B, PeState::kOtherKind}}) {
    PeSpec spec;
    spec.magic = row.magic;
    DumpedMemory memory;
    EXPECT_EQ(OpenBytes(PeBytes(spec), &memory).state(), row.state) << row.magic;
  }
}

TEST(PeImage, TakesNothingForAnImageThatLacksASignature) {
  DumpedMemory memory;
  EXPECT_EQ(OpenBytes(PeBytes().Put16(0, 0x4D5A), &memory).state(), PeState::kNotAnImage);
  EXPECT_EQ(OpenBytes(PeBytes().Put32(0x80, 0x454E), &memory).state(), PeState::kNotAnImage);
}

TEST(PeImage, SaysMissingWhereTheHeaderPageIsNotInTheDump) {
  DumpedMemory memory;
  EXPECT_EQ(PeImage::Open(memory, kBase, 0x8000).state(), PeState::kMissing);
  memory.Put(kBase, PeBytes().bytes());
  const std::uint64_t places[] = {0, 0x3C, 0x80, 0x84, 0x98, 0xA0, 0x108, 0x188, 0x1B0};
  for (const std::uint64_t place : places) {
    DumpedMemory holed;
    holed.Put(kBase, PeBytes().bytes()).Hide(kBase + place, 1);
    EXPECT_EQ(PeImage::Open(holed, kBase, 0x8000).state(), PeState::kMissing) << place;
  }
  EXPECT_TRUE(PeImage::Open(memory, kBase, 0x8000).found());
}

TEST(PeImage, CallsHeadersThatLeadOutOfTheImageDamaged) {
  DumpedMemory memory;
  for (const std::uint32_t place : {0x7FFEu, 0x8000u, 0xFFFF'FFF0u}) {
    EXPECT_EQ(OpenBytes(PeBytes().Put32(0x3C, place), &memory, 0x8000).state(), PeState::kDamaged) << place;
  }
}

TEST(PeImage, CallsAnOptionalHeaderThatIsTooShortDamaged) {
  DumpedMemory memory;
  EXPECT_EQ(OpenBytes(PeBytes().Put16(0x80 + 20, 111), &memory).state(), PeState::kDamaged);
}

TEST(PeImage, CallsMoreSectionsThanThereIsRoomForDamaged) {
  DumpedMemory memory;
  EXPECT_EQ(OpenBytes(PeBytes().Put16(0x80 + 6, 513), &memory).state(), PeState::kDamaged);
  EXPECT_EQ(OpenBytes(PeBytes().Put16(0x80 + 6, 500), &memory, 0x1000).state(), PeState::kDamaged);
}

TEST(PeImage, TrustsTheModuleListsSizeMoreThanTheHeaders) {
  DumpedMemory memory;
  PeSpec spec;
  spec.size_of_image = 0x8000;
  PeBytes bytes(spec);
  bytes.Directory(0, 0x7000, 0x100);
  const auto image = OpenBytes(bytes, &memory, 0x6000);
  ASSERT_TRUE(image.found());
  EXPECT_EQ(image.value().memory().size(), 0x6000u);
  EXPECT_EQ(image.value().Directory(PeDirectory::kExport).state(), PeState::kDamaged);
}

TEST(PeImage, ReadsHeadersThatGoOverIntoASecondPage) {
  PeSpec spec;
  spec.new_header = 0xFE0;
  spec.sections = {{".text", 0x3000, 0x1000, support::kCodeSection}};
  DumpedMemory memory;
  EXPECT_TRUE(OpenBytes(PeBytes(spec), &memory).found());
  memory.Hide(kBase + 0x1000, 0x1000);
  EXPECT_EQ(PeImage::Open(memory, kBase, 0).state(), PeState::kMissing);
}

}  // namespace
}  // namespace varnel::formats
