// Modules, the crashing module and process, the kernel's version; see debug_engine_session.h.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/analyzer/open_dump_fixture.h"

namespace varnel {
namespace {

constexpr std::uint64_t kNt = 0xFFFFF80000000000;
constexpr std::uint64_t kDriver = 0xFFFFF80010000000;

class Modules : public OpenDumpFixture {
 protected:
  Modules() { AddModules(); }
};

TEST_F(Modules, AreNamedByAddress) {
  std::u16string name;
  std::uint64_t offset = 0;
  EXPECT_EQ(session_->GetModuleAndOffset(kDriver + 0x123, &name, &offset), 0);
  EXPECT_EQ(name, u"driver");
  EXPECT_EQ(offset, 0x123u);
  EXPECT_EQ(session_->GetModuleAndOffset(kNt, &name, nullptr), 0);
  EXPECT_EQ(name, u"nt");
}

TEST_F(Modules, AreNotNamedWhenOneStepFails) {
  std::u16string name = u"kept";
  EXPECT_EQ(session_->GetModuleAndOffset(1, &name, nullptr), static_cast<std::int32_t>(0x80070057));
  debugger_.calls.Fail({"GetModuleNames", 1, false, 0x8000FFFF});  // no size comes back
  EXPECT_EQ(session_->GetModuleAndOffset(kNt, &name, nullptr), kE_FAIL);
  debugger_.calls.Fail({"GetModuleNames", 2, false, 0x8000FFFF});
  EXPECT_EQ(session_->GetModuleAndOffset(kNt, &name, nullptr), static_cast<std::int32_t>(0x8000FFFF));
  EXPECT_EQ(name, u"kept");
}

TEST_F(Modules, KeepTheNameGivenWhenTheirsDoesNotConvert) {
  std::u16string name = u"kept";
  std::uint64_t offset = 0;
  plan_.FailForEver("MultiByteToWideChar", 1113);
  EXPECT_EQ(session_->GetModuleAndOffset(kNt + 5, &name, &offset), 0);
  EXPECT_EQ(name, u"kept");
  EXPECT_EQ(offset, 5u);
}

TEST_F(Modules, AreNotNamedWithoutTheSizeOfTheirName) {
  std::u16string name = u"kept";
  debugger_.calls.Fail("GetModuleNames", 0);  // a success that tells no size
  EXPECT_EQ(session_->GetModuleAndOffset(kNt, &name, nullptr), kE_FAIL);
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleNames"), 1u);
  EXPECT_EQ(name, u"kept");
}

TEST_F(Modules, HoldAnAddressOrNot) {
  EXPECT_EQ(session_->IsAddressInModule(kNt + 0xFFFFFF), 1u);
  EXPECT_EQ(session_->IsAddressInModule(kNt + 0x1000000), 0u);
}

TEST_F(Modules, AreListedWithNamesAndNumbers) {
  facts().unloaded_modules = 3;
  std::vector<ModuleInfo> modules(5);
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[0].moduleName, u"nt");
  EXPECT_EQ(modules[0].imagePath, u"ntoskrnl.exe");
  EXPECT_EQ(modules[0].loadedImagePath, u"ntkrnlmp.exe");
  EXPECT_EQ(modules[0].baseAddress, kNt);
  EXPECT_EQ(modules[0].size, 0x1000000u);
  EXPECT_EQ(modules[0].timestamp, 0x5F000001u);
  EXPECT_EQ(modules[0].checksum, 0xABCu);
  EXPECT_EQ(modules[1].imagePath, u"\\Driver\\driver.sys");
  EXPECT_EQ(modules[1].loadedImagePath, u"");
}

TEST_F(Modules, WithoutNamesAreListedWithEmptyOnes) {
  facts().modules[1].module_name.clear();
  facts().modules[1].image_name.clear();
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[1].moduleName, u"");
  EXPECT_EQ(modules[1].imagePath, u"");
  EXPECT_EQ(modules[1].baseAddress, kDriver);
}

TEST_F(Modules, WithoutABaseAreSkipped) {
  debugger_.calls.Fail({"GetModuleByIndex", 1, false, 0x80070057});
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  ASSERT_EQ(modules.size(), 1u);
  EXPECT_EQ(modules[0].baseAddress, kDriver);
}

TEST_F(Modules, WithoutParametersHaveNoNumbers) {
  debugger_.calls.FailForEver("GetModuleParameters", 0x80070057);
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[0].size, 0u);
  EXPECT_EQ(modules[0].moduleName, u"nt");
}

TEST_F(Modules, LeaveANameEmptyWhoseSecondReadFails) {
  debugger_.calls.Fail({"GetModuleNameString", 2, false, 0x80004005});
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  EXPECT_EQ(modules[0].moduleName, u"");
  EXPECT_EQ(modules[0].imagePath, u"ntoskrnl.exe");
}

TEST_F(Modules, LeaveANameEmptyThatHasNoSize) {
  debugger_.calls.Fail("GetModuleNameString", 0);  // a success that tells no size
  facts().modules.pop_back();
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  EXPECT_EQ(modules[0].moduleName, u"");
  EXPECT_EQ(modules[0].imagePath, u"ntoskrnl.exe");
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleNameString"), 5u);  // nothing is read that has no size
}

TEST_F(Modules, HaveNamesInUtf8WhateverTheCodePageIs) {
  facts().modules[1] = {kDriver, 0x1000, 0, 0, 0, "t\xC3\xBCr", "C:\\t\xC3\xBCr.sys", "t\xC3\xBCr.sys"};
  platform_.system.narrow_is_latin1 = true;
  std::vector<ModuleInfo> modules;
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  ASSERT_EQ(modules.size(), 2u);
  EXPECT_EQ(modules[1].moduleName, u"t\u00FCr");
  EXPECT_EQ(modules[1].imagePath, u"C:\\t\u00FCr.sys");
  EXPECT_EQ(modules[1].loadedImagePath, u"t\u00FCr.sys");
}

TEST_F(Modules, MayBeNone) {
  facts().modules.clear();
  std::vector<ModuleInfo> modules(3);
  EXPECT_EQ(session_->GetLoadedModules(&modules), 0);
  EXPECT_TRUE(modules.empty());
}

TEST_F(Modules, AreNotListedWithoutTheirNumberOrAnOpenDump) {
  std::vector<ModuleInfo> modules(1);
  debugger_.calls.Fail("GetNumberModules", 0x8000FFFF);
  EXPECT_EQ(session_->GetLoadedModules(&modules), static_cast<std::int32_t>(0x8000FFFF));
  EXPECT_TRUE(modules.empty());
  session_->CloseDump();
  EXPECT_EQ(session_->GetLoadedModules(&modules), kHresultWrongState);
}

class Crashed : public OpenDumpFixture {
 protected:
  Crashed() {
    AddModules();
    facts().instruction = kDriver + 0x10;
    facts().process = 0xFFFFA00000005000;
    facts().types["_EPROCESS"] = 7;
    facts().fields["ImageFileName"] = 0x5A8;
    PutName("System");
  }
  void PutName(const std::string& name) {
    std::vector<std::uint8_t> bytes(name.begin(), name.end());
    bytes.resize(std::max<std::size_t>(16, bytes.size()), 0);
    facts().memory[facts().process + 0x5A8] = bytes;
  }
  std::int32_t Ask() { return session_->GetCrashModuleAndProcess(&module_, &process_); }

  std::u16string module_ = u"old";
  std::u16string process_ = u"old";
};

TEST_F(Crashed, ModuleAndProcessAreNamed) {
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"driver");
  EXPECT_EQ(process_, u"System");
}

TEST_F(Crashed, ProcessNameHasAtMost15Characters) {
  PutName("fifteen-chars.exe");
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(process_, u"fifteen-chars.e");
}

TEST_F(Crashed, NamesAreInTheSystemsCodePage) {
  facts().modules[1].module_name = "t\xFCr";
  PutName("t\xFCr.exe");
  platform_.system.narrow_is_latin1 = true;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"t\u00FCr");
  EXPECT_EQ(process_, u"t\u00FCr.exe");
}

TEST_F(Crashed, ModulesNameIsCutToItsRoom) {
  facts().modules[1].module_name = std::string(300, 'm');
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, std::u16string(259, u'm'));
}

TEST_F(Crashed, ModuleBeginsAtKernelSpace) {
  facts().modules.push_back({0xFFFF800000000000, 0x1000, 0, 0, 0, "first", "", ""});
  facts().instruction = 0xFFFF800000000000;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"first");
}

TEST_F(Crashed, NamesThatDoNotConvertAreUnknown) {
  plan_.FailForEver("MultiByteToWideChar", 1113);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"Unknown");
  EXPECT_EQ(process_, u"Unknown");
}

TEST_F(Crashed, ProcessOfAReadThatGaveNothingIsUnknown) {
  debugger_.calls.Fail("ReadVirtual", 0);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(process_, u"Unknown");
}

TEST_F(Crashed, ProcessNameIsWhatIsThereOfIt) {
  facts().memory[facts().process + 0x5A8] = {'a', 'b'};
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(process_, u"ab");
}

TEST_F(Crashed, ModuleIsUnknownOutsideOfKernelSpaceAndOfModules) {
  facts().instruction = 0xFFFF7FFFFFFFFFFF;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"Unknown");
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleByOffset"), 0u);
  facts().instruction = 0xFFFF800000000000;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(module_, u"Unknown");
  EXPECT_EQ(debugger_.calls.CountOf("GetModuleByOffset"), 1u);
}

class CrashedSteps : public Crashed, public ::testing::WithParamInterface<const char*> {};

TEST_P(CrashedSteps, ThatFailLeaveTheOtherNameAlone) {
  debugger_.calls.FailForEver(GetParam(), 0x80004005);
  EXPECT_EQ(Ask(), 0);
  const std::string call = GetParam();
  const bool module_step = call == "GetThreadContext" || call == "GetModuleByOffset" || call == "GetModuleNameString";
  EXPECT_EQ(module_, module_step ? u"Unknown" : u"driver");
  EXPECT_EQ(process_, module_step ? u"System" : u"Unknown");
}
INSTANTIATE_TEST_SUITE_P(Each, CrashedSteps,
                         ::testing::Values("GetThreadContext", "GetModuleByOffset", "GetModuleNameString",
                                           "GetCurrentProcessDataOffset", "GetModuleByModuleName", "GetTypeId",
                                           "GetFieldOffset", "ReadVirtual"),
                         [](const auto& tested) { return std::string(tested.param); });

TEST_F(Crashed, ProcessIsUnknownAtAddress0) {
  facts().process = 0;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(process_, u"Unknown");
  EXPECT_EQ(debugger_.calls.CountOf("GetTypeId"), 0u);
}

TEST_F(Crashed, NothingIsNamedWithoutACurrentThread) {
  debugger_.calls.Fail("GetCurrentThreadId", 0x8000FFFF);
  EXPECT_EQ(Ask(), static_cast<std::int32_t>(0x8000FFFF));
  EXPECT_EQ(module_, u"");
  EXPECT_EQ(process_, u"");
  EXPECT_TRUE(Logged("[Error] GetCurrentThreadId failed: 0x8000FFFF\n"));
}

TEST_F(Crashed, NothingIsNamedWithoutAnOpenDump) {
  session_->CloseDump();
  EXPECT_EQ(Ask(), kHresultWrongState);
}

class NtVersion : public OpenDumpFixture {
 protected:
  NtVersion() { AddModules(); }
  void PutFixed(const platform::VS_FIXEDFILEINFO& info) {
    std::vector<std::uint8_t> bytes(sizeof(info));
    std::memcpy(bytes.data(), &info, sizeof(info));
    facts().modules[0].version_items["\\"] = bytes;
  }
  void PutText(const std::string& item, const std::string& text) {
    facts().modules[0].version_items["\\StringFileInfo\\040904B0\\" + item] = {text.begin(), text.end()};
  }
  std::int32_t Ask() { return session_->GetNtVersion(&file_, &product_); }

  std::u16string file_ = u"old";
  std::u16string product_ = u"old";
};

TEST_F(NtVersion, ComesFromTheFixedRecord) {
  platform::VS_FIXEDFILEINFO info = {};
  info.dwSignature = 0xFEEF04BD;
  info.dwFileVersionMS = (10 << 16) | 0;
  info.dwFileVersionLS = (19041 << 16) | 1151;
  info.dwProductVersionMS = (10 << 16) | 1;
  info.dwProductVersionLS = (19042 << 16) | 65535;
  PutFixed(info);
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0.19041.1151");
  EXPECT_EQ(product_, u"10.1.19042.65535");
}

TEST_F(NtVersion, IsTheKernelsWhereverItStandsInTheList) {
  std::swap(facts().modules[0], facts().modules[1]);
  PutText("FileVersion", "6.1 of a driver");
  facts().modules[1].version_items["\\StringFileInfo\\040904B0\\FileVersion"] = {'1', '0', '.', '0'};
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0");
}

TEST_F(NtVersion, ComesFromTheTextsWhenTheRecordIsNoneOrDamaged) {
  PutText("FileVersion", "10.0.19041.1 (WinBuild)");
  PutText("ProductVersion", "10.0.19041.1");
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0.19041.1 (WinBuild)");
  EXPECT_EQ(product_, u"10.0.19041.1");
  PutFixed({});
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0.19041.1 (WinBuild)");
}

TEST_F(NtVersion, MayBeHalfKnown) {
  PutText("ProductVersion", "10.0");
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"");
  EXPECT_EQ(product_, u"10.0");
}

TEST_F(NtVersion, TextsAreInTheSystemsCodePage) {
  PutText("FileVersion", "10.0 \xA9");
  platform_.system.narrow_is_latin1 = true;
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0 \u00A9");
}

TEST_F(NtVersion, TextsEndAtTheirNul) {
  PutText("FileVersion", std::string("10.0\0rest", 9));
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, u"10.0");
}

TEST_F(NtVersion, ATextOfAllTheRoomEndsThere) {
  PutText("FileVersion", std::string(300, '7'));
  EXPECT_EQ(Ask(), 0);
  EXPECT_EQ(file_, std::u16string(256, u'7'));
}

TEST_F(NtVersion, IsNotKnownWithoutAnyOfThem) {
  EXPECT_EQ(Ask(), 1);
  EXPECT_EQ(file_, u"");
  EXPECT_EQ(product_, u"");
}

TEST_F(NtVersion, NeedsTheKernelsModuleAndAnOpenDump) {
  facts().modules.clear();
  EXPECT_EQ(Ask(), static_cast<std::int32_t>(0x80070057));
  EXPECT_TRUE(Logged("[Error] Cannot find nt module\n"));
  session_->CloseDump();
  EXPECT_EQ(Ask(), kHresultWrongState);
}

}  // namespace
}  // namespace varnel
