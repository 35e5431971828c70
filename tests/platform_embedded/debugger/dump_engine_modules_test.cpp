// The engine's modules and symbol settings.
#include <string>

#include "engine_fixture.h"

namespace varnel::embedded {
namespace {

constexpr std::uint64_t kKernel = 0xFFFFF80000000000;
constexpr std::uint64_t kDriver = 0xFFFFF80010000000;
constexpr std::uint64_t kGone = 0xFFFFF80020000000;

class DumpEngineModules : public EngineFixture {
 protected:
  DumpEngineModules() {
    dump_.module_list_head = kKernel + 0x500;
    dump_.modules = {{u"\\SystemRoot\\system32\\ntoskrnl.exe", kKernel, 0x1000, 0x11, 0x22},
                     {u"\\??\\C:\\x\\driver.sys", kDriver, 0x2000, 0x33, 0x44}};
    dump_.gone = {{u"gone.sys", kGone, kGone + 0x3000}};
  }

  std::string NameString(std::uint32_t which, std::uint32_t index, std::uint64_t base = 0) {
    char text[200] = {};
    std::uint32_t size = 0;
    EXPECT_EQ(engine_->GetModuleNameString(which, index, base, nullptr, 0, &size), 0);
    EXPECT_EQ(engine_->GetModuleNameString(which, index, base, text, size, nullptr), 0);
    EXPECT_EQ(size, std::string(text).size() + 1);
    return text;
  }
  std::string NameOf(std::uint32_t index) { return NameString(1, index); }

  SmallDump dump_;
};

TEST_F(DumpEngineModules, LoadedOnesComeFirstAndUnloadedOnesBehindThem) {
  Open(dump_);
  std::uint32_t loaded = 0;
  std::uint32_t unloaded = 0;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, &unloaded), 0);
  EXPECT_EQ(loaded, 2u);
  EXPECT_EQ(unloaded, 1u);
  const std::uint64_t bases[] = {kKernel, kDriver, kGone};
  for (std::uint32_t i = 0; i < 3; ++i) {
    std::uint64_t base = 0;
    EXPECT_EQ(engine_->GetModuleByIndex(i, &base), 0);
    EXPECT_EQ(base, bases[i]);
  }
  EXPECT_EQ(engine_->GetModuleByIndex(3, nullptr), kE_INVALIDARG);
}

TEST_F(DumpEngineModules, TheKernelIsNtWhateverItsImageIsCalled) {
  dump_.modules[0].path = u"myKernel-x.exe";
  Open(dump_);
  EXPECT_EQ(NameOf(0), "nt");
  std::uint32_t index = 9;
  std::uint64_t base = 0;
  EXPECT_EQ(engine_->GetModuleByModuleName("NT", 0, &index, &base), 0);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(base, kKernel);
}

TEST_F(DumpEngineModules, TheKernelIsTheModuleThatHoldsTheHeadOfTheList) {
  std::swap(dump_.modules[0], dump_.modules[1]);
  Open(dump_);
  EXPECT_EQ(NameOf(0), "driver");
  EXPECT_EQ(NameOf(1), "nt");
}

TEST_F(DumpEngineModules, AHeadBehindAModulesLastByteIsNotInIt) {
  dump_.module_list_head = kDriver + 0x2000;
  Open(dump_);
  EXPECT_EQ(NameOf(0), "nt");
  EXPECT_EQ(NameOf(1), "driver");
}

TEST_F(DumpEngineModules, AnUnloadedOneIsAsLargeAsItsPlaceAllows) {
  dump_.gone = {{u"turned.sys", kGone + 0x1000, kGone},
                {u"empty.sys", kGone, kGone},
                {u"large.sys", kGone, kGone + 0x1'0000'1000}};
  Open(dump_);
  platform::DEBUG_MODULE_PARAMETERS parameters[3] = {};
  EXPECT_EQ(engine_->GetModuleParameters(3, nullptr, 2, parameters), 0);
  EXPECT_EQ(parameters[0].Size, 0u);
  EXPECT_EQ(parameters[1].Size, 0u);
  EXPECT_EQ(parameters[2].Size, 0xFFFFFFFFu);
}

TEST_F(DumpEngineModules, TheFirstOfOneBaseIsTheOneThatTheBaseNames) {
  dump_.gone = {{u"first.sys", kGone, kGone + 0x1000}, {u"second.sys", kGone, kGone + 0x1000}};
  Open(dump_);
  EXPECT_EQ(NameString(1, platform::kDebugAnyId, kGone), "first");
}

TEST_F(DumpEngineModules, WithoutAHeadTheFirstIsTheKernel) {
  dump_.module_list_head = 0;
  Open(dump_);
  EXPECT_EQ(NameOf(0), "nt");
}

TEST_F(DumpEngineModules, ANameIsTheFilesWithoutEndingAndWithPlainCharacters) {
  dump_.modules = {{u"nt", kKernel},
                   {u"\\x\\a-b c.sys", kDriver},
                   {u"Noending", kDriver + 0x1000},
                   {u"two.dots.sys", kDriver + 0x2000},
                   {u"t\u00FCr_9.sys", kDriver + 0x3000},
                   {u".sys", kDriver + 0x4000}};
  Open(dump_);
  EXPECT_EQ(NameOf(1), "a_b_c");
  EXPECT_EQ(NameOf(2), "Noending");
  EXPECT_EQ(NameOf(3), "two_dots");
  EXPECT_EQ(NameOf(4), "t_r_9");
  EXPECT_EQ(NameOf(5), "_sys");
}

TEST_F(DumpEngineModules, ASecondOfTheSameNameHasItsBaseInTheName) {
  dump_.modules.push_back({u"DRIVER.dll", kDriver + 0x5000});
  dump_.modules.push_back({u"nt.sys", kDriver + 0x6000});
  dump_.gone = {{u"driver.sys", kGone, kGone + 0x1000}};
  Open(dump_);
  EXPECT_EQ(NameOf(1), "driver");
  EXPECT_EQ(NameOf(2), "DRIVER_fffff80010005000");
  EXPECT_EQ(NameOf(3), "nt_fffff80010006000");
  EXPECT_EQ(NameOf(4), "driver_fffff80020000000");
}

TEST_F(DumpEngineModules, ADriverThatWentThreeTimesFromOneBaseHasThreeNames) {
  dump_.gone = {{u"gone.sys", kGone, kGone + 0x1000},
                {u"driver.sys", kGone, kGone + 0x1000},
                {u"GONE.sys", kGone, kGone + 0x1000},
                {u"gone.sys", kGone, kGone + 0x1000},
                {u"gone.sys", kGone, kGone + 0x1000}};
  Open(dump_);
  const std::string expected[] = {"gone", "driver_fffff80020000000", "GONE_fffff80020000000", "gone_fffff80020000000_2",
                                  "gone_fffff80020000000_3"};
  for (std::uint32_t i = 0; i < std::size(expected); ++i) {
    EXPECT_EQ(NameOf(2 + i), expected[i]);
    std::uint32_t index = 0;
    EXPECT_EQ(engine_->GetModuleByModuleName(expected[i].c_str(), 0, &index, nullptr), 0);
    EXPECT_EQ(index, 2 + i) << "each is found by its own name";
  }
}

TEST_F(DumpEngineModules, ANumberThatAFilesOwnNameHasTakenIsLeftOut) {
  dump_.modules.push_back({u"driver_fffff80010000000.sys", kDriver + 0x5000});
  dump_.modules.push_back({u"driver_fffff80010000000_2.sys", kDriver + 0x6000});
  dump_.modules.push_back({u"driver.sys", kDriver});
  Open(dump_);
  EXPECT_EQ(NameOf(4), "driver_fffff80010000000_3");
}

TEST_F(DumpEngineModules, AListOfOneModuleOverAndOverIsNumberedThrough) {
  dump_.modules.resize(2);
  dump_.modules.insert(dump_.modules.end(), 20'000, {u"driver.sys", kDriver});
  dump_.gone.clear();
  Open(dump_);
  EXPECT_EQ(NameOf(1), "driver");
  EXPECT_EQ(NameOf(2), "driver_fffff80010000000");
  EXPECT_EQ(NameOf(3), "driver_fffff80010000000_2");
  EXPECT_EQ(NameOf(20'001), "driver_fffff80010000000_20000");
}

TEST_F(DumpEngineModules, ANameLongerThanAFileCanHaveIsCutAndTheImagesStaysWhole) {
  const std::u16string longest(255, u'x');
  dump_.modules[1].path = longest + u"y";
  dump_.modules.push_back({longest + u"z.sys", kDriver + 0x5000});
  Open(dump_);
  std::uint32_t size = 0;
  EXPECT_EQ(engine_->GetModuleNameString(1, 1, 0, nullptr, 0, &size), 0);
  EXPECT_EQ(size, 256u);
  EXPECT_EQ(engine_->GetModuleNameString(0, 1, 0, nullptr, 0, &size), 0);
  EXPECT_EQ(size, 257u);
  EXPECT_EQ(engine_->GetModuleNameString(1, 2, 0, nullptr, 0, &size), 0);
  EXPECT_EQ(size, 256u + 17) << "what was cut may be the same, and is told apart by its base";
}

TEST_F(DumpEngineModules, ImageNamesAreUtf8WithTheirSizes) {
  dump_.modules[1].path = u"\\x\\t\u00FCr.sys";
  Open(dump_);
  EXPECT_EQ(NameString(0, 1), "\\x\\t\xC3\xBCr.sys");
  EXPECT_EQ(NameString(2, 1), "t\xC3\xBCr.sys");
  platform::DEBUG_MODULE_PARAMETERS parameters{};
  EXPECT_EQ(engine_->GetModuleParameters(1, nullptr, 1, &parameters), 0);
  EXPECT_EQ(parameters.ImageNameSize, 12u);
  EXPECT_EQ(parameters.ModuleNameSize, 4u);
  EXPECT_EQ(parameters.LoadedImageNameSize, 9u);
}

TEST_F(DumpEngineModules, TheImagesNameIsAsTheDumpTellsItAndTheLoadedOneIsTheFiles) {
  Open(dump_);
  EXPECT_EQ(NameString(0, 1), "\\??\\C:\\x\\driver.sys");
  EXPECT_EQ(NameString(2, 1), "driver.sys");
  EXPECT_EQ(NameString(0, platform::kDebugAnyId, kGone), "gone.sys");
}

TEST_F(DumpEngineModules, AModuleWithoutATextHasEmptyImageNames) {
  dump_.modules[1].path.clear();
  Open(dump_);
  EXPECT_EQ(NameString(0, 1), "");
  EXPECT_EQ(NameString(2, 1), "");
  EXPECT_EQ(NameOf(1), "unknown_fffff80010000000");
}

TEST_F(DumpEngineModules, NamesThatDoNotExistAreNotFound) {
  Open(dump_);
  EXPECT_EQ(engine_->GetModuleNameString(3, 0, 0, nullptr, 0, nullptr), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleNameString(4, 0, 0, nullptr, 0, nullptr), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleNameString(5, 0, 0, nullptr, 0, nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetModuleNameString(1, 3, 0, nullptr, 0, nullptr), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetModuleNameString(1, platform::kDebugAnyId, 5, nullptr, 0, nullptr), kE_INVALIDARG);
}

TEST_F(DumpEngineModules, AllNamesComeInOneCall) {
  Open(dump_);
  char image[100] = {};
  char name[100] = {};
  char loaded[5] = {};
  std::uint32_t sizes[3] = {};
  EXPECT_EQ(engine_->GetModuleNames(1, 0, image, 100, &sizes[0], name, 100, &sizes[1], loaded, 5, &sizes[2]), 1)
      << "one was cut";
  EXPECT_STREQ(image, "\\??\\C:\\x\\driver.sys");
  EXPECT_STREQ(name, "driver");
  EXPECT_STREQ(loaded, "driv");
  EXPECT_EQ(sizes[0], 20u);
  EXPECT_EQ(sizes[1], 7u);
  EXPECT_EQ(sizes[2], 11u);
  EXPECT_EQ(engine_->GetModuleNames(1, 0, nullptr, 0, nullptr, nullptr, 0, &sizes[1], nullptr, 0, nullptr), 0);
  EXPECT_EQ(engine_->GetModuleNames(3, 0, nullptr, 0, nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr),
            kE_INVALIDARG);
}

TEST_F(DumpEngineModules, AnAddressBelongsToTheModuleThatItLiesIn) {
  Open(dump_);
  std::uint32_t index = 9;
  std::uint64_t base = 0;
  EXPECT_EQ(engine_->GetModuleByOffset(kDriver, 0, &index, &base), 0);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(engine_->GetModuleByOffset(kDriver + 0x1FFF, 0, &index, &base), 0);
  EXPECT_EQ(base, kDriver);
  EXPECT_EQ(engine_->GetModuleByOffset(kDriver + 0x2000, 0, &index, &base), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleByOffset(kDriver - 1, 0, &index, &base), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleByOffset(kDriver, 2, &index, &base), kE_NOINTERFACE) << "only from the start on";
  EXPECT_EQ(engine_->GetModuleByOffset(kGone + 5, 0, &index, nullptr), 0);
  EXPECT_EQ(index, 2u);
}

TEST_F(DumpEngineModules, ANameThatNoModuleHasIsNotFound) {
  Open(dump_);
  EXPECT_EQ(engine_->GetModuleByModuleName("ntoskrnl", 0, nullptr, nullptr), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetModuleByModuleName("nt", 1, nullptr, nullptr), kE_NOINTERFACE) << "only from the start on";
  EXPECT_EQ(engine_->GetModuleByModuleName(nullptr, 0, nullptr, nullptr), kE_POINTER);
}

TEST_F(DumpEngineModules, ParametersAreTheDumps) {
  Open(dump_);
  std::uint64_t bases[] = {kDriver, 5, kGone};
  platform::DEBUG_MODULE_PARAMETERS parameters[3] = {};
  EXPECT_EQ(engine_->GetModuleParameters(3, bases, 0, parameters), 0);
  EXPECT_EQ(parameters[0].Base, kDriver);
  EXPECT_EQ(parameters[0].Size, 0x2000u);
  EXPECT_EQ(parameters[0].TimeDateStamp, 0x33u);
  EXPECT_EQ(parameters[0].Checksum, 0x44u);
  EXPECT_EQ(parameters[0].Flags, 0u);
  EXPECT_EQ(parameters[0].SymbolType, 0u) << "nothing of the image is there";
  EXPECT_EQ(parameters[0].ImageNameSize, 20u);
  EXPECT_EQ(parameters[0].ModuleNameSize, 7u);
  EXPECT_EQ(parameters[0].LoadedImageNameSize, 11u);
  EXPECT_EQ(parameters[1].Base, ~std::uint64_t{0}) << "no module has that base";
  EXPECT_EQ(parameters[2].Flags, 1u) << "unloaded";
}

TEST_F(DumpEngineModules, ParametersByIndexEndWithTheList) {
  Open(dump_);
  platform::DEBUG_MODULE_PARAMETERS parameters[3] = {};
  EXPECT_EQ(engine_->GetModuleParameters(2, nullptr, 1, parameters), 0);
  EXPECT_EQ(parameters[0].Base, kDriver);
  EXPECT_EQ(parameters[1].Base, kGone);
  parameters[0].Base = 0;
  EXPECT_EQ(engine_->GetModuleParameters(3, nullptr, 1, parameters), kE_INVALIDARG);
  EXPECT_EQ(parameters[0].Base, kDriver) << "the part that is there comes";
  EXPECT_EQ(engine_->GetModuleParameters(1, nullptr, 0, nullptr), kE_POINTER);
}

TEST_F(DumpEngineModules, WhatOnlySymbolFilesKnowFails) {
  Open(dump_);
  std::uint32_t number = 7;
  std::uint64_t address = 7;
  EXPECT_EQ(engine_->GetTypeId(kKernel, "_EPROCESS", &number), kE_FAIL);
  EXPECT_EQ(engine_->GetFieldOffset(kKernel, 0, "ImageFileName", &number), kE_NOINTERFACE);
  EXPECT_EQ(engine_->GetTypeSize(kKernel, 0, &number), kE_FAIL);
  EXPECT_EQ(engine_->GetSymbolTypeId("nt!x", &number, &address), kE_FAIL);
  EXPECT_EQ(engine_->GetOffsetByName("nt!x", &address), kE_FAIL);
  EXPECT_EQ(engine_->GetLineByOffset(kKernel, &number, nullptr, 0, nullptr, nullptr), kE_FAIL);
  EXPECT_EQ(number, 7u);
  EXPECT_EQ(address, 7u);
}

TEST_F(DumpEngineModules, SymbolOptionsAreKeptWithOrWithoutADump) {
  std::uint32_t options = 1;
  EXPECT_EQ(engine_->GetSymbolOptions(&options), 0);
  EXPECT_EQ(engine_->SetSymbolOptions(0x80204), 0);
  EXPECT_EQ(engine_->AddSymbolOptions(0x11), 0);
  EXPECT_EQ(engine_->RemoveSymbolOptions(0x4), 0);
  Open(dump_);
  EXPECT_EQ(engine_->GetSymbolOptions(&options), 0);
  EXPECT_EQ(options, 0x80211u);
}

TEST_F(DumpEngineModules, TheSymbolPathIsKept) {
  EXPECT_EQ(engine_->SetSymbolPathWide(u"srv*C:\\sym*https://s"), 0);
  char16_t path[10] = {};
  std::uint32_t size = 0;
  EXPECT_EQ(engine_->GetSymbolPathWide(path, 10, &size), 1);
  EXPECT_EQ(std::u16string(path), u"srv*C:\\sy");
  EXPECT_EQ(size, 21u);
  EXPECT_EQ(engine_->SetSymbolPathWide(nullptr), 0);
  EXPECT_EQ(engine_->GetSymbolPathWide(path, 10, &size), 0);
  EXPECT_EQ(size, 1u);
}

}  // namespace
}  // namespace varnel::embedded
