// The engine on small dumps that Windows wrote. What is expected was read from the files' bytes by other means.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>

#include "engine_fixture.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

class EngineSamples : public EngineFixture {
 protected:
  void SetUp() override {
    if (!fs::exists(Folder())) GTEST_SKIP() << "the sample dumps are not there";
  }
  static fs::path Folder() { return fs::path(VARNEL_SAMPLES_DIR) / "dmp"; }

  void OpenSample(const std::string& name) {
    dumps_[u"C:\\a.dmp"] =
        std::make_shared<support::DumpFileSource>(support::ReadWholeFile((Folder() / name).string()));
    ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
    ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  }
  std::uint64_t Register(const char* name) {
    std::uint32_t index = 0;
    platform::DEBUG_VALUE value{};
    EXPECT_EQ(engine_->GetIndexByName(name, &index), 0);
    EXPECT_EQ(engine_->GetValue(index, &value), 0);
    EXPECT_EQ(value.Type, platform::kDebugValueInt64);
    return value.I64;
  }
  std::string NameOf(std::uint32_t which, std::uint32_t index) {
    char text[400] = {};
    EXPECT_EQ(engine_->GetModuleNameString(which, index, 0, text, sizeof(text), nullptr), 0);
    return text;
  }
};

TEST_F(EngineSamples, AVirtualMachinesDumpOfTooShortAStackTellsWhatItHas) {
  OpenSample("083125-14875-01.dmp");
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  EXPECT_EQ(engine_->ReadBugCheckData(&code, &parameters[0], &parameters[1], &parameters[2], &parameters[3]), 0);
  EXPECT_EQ(code, 0x4Au);
  EXPECT_EQ(Register("cr8"), 2u);
  const std::uint64_t rsp = Register("rsp");
  std::byte stack[2048];
  std::uint32_t read = 0;
  EXPECT_EQ(engine_->ReadVirtual(rsp, stack, sizeof(stack), &read), 0);
  EXPECT_EQ(read, 888u);
  EXPECT_EQ((rsp + read) % 4096, 0u) << "up to the stack's base";
}

TEST_F(EngineSamples, NamesOfADumpWithPathsHaveThePathsToo) {
  OpenSample("040124-5218-01.dmp");
  std::uint32_t loaded = 0;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, nullptr), 0);
  EXPECT_EQ(loaded, 201u);
  EXPECT_EQ(NameOf(1, 0), "nt");
  EXPECT_EQ(NameOf(0, 0), "\\SystemRoot\\system32\\ntoskrnl.exe");
  EXPECT_EQ(NameOf(2, 0), "ntoskrnl.exe");
  EXPECT_EQ(NameOf(1, 200), "MpKslDrv");
  platform::DEBUG_MODULE_PARAMETERS parameters{};
  EXPECT_EQ(engine_->GetModuleParameters(1, nullptr, 0, &parameters), 0);
  EXPECT_EQ(parameters.Base, 0xFFFFF8003C200000u);
  EXPECT_EQ(parameters.Size, 0x1046000u);
}

TEST_F(EngineSamples, AllModulesHaveNamesOfTheirOwnByWhichTheyAreFound) {
  for (const auto& entry : fs::directory_iterator(Folder())) {
    if (entry.path().extension() != ".dmp") continue;
    OpenSample(entry.path().filename().string());
    std::uint32_t loaded = 0;
    std::uint32_t unloaded = 0;
    ASSERT_EQ(engine_->GetNumberModules(&loaded, &unloaded), 0);
    EXPECT_GT(loaded, 100u);
    for (std::uint32_t i = 0; i < loaded + unloaded; ++i) {
      std::uint32_t index = ~0u;
      EXPECT_EQ(engine_->GetModuleByModuleName(NameOf(1, i).c_str(), 0, &index, nullptr), 0);
      EXPECT_EQ(index, i) << entry.path() << ' ' << NameOf(1, i);
    }
    EXPECT_EQ(NameOf(1, 0), "nt") << entry.path();
  }
}

TEST_F(EngineSamples, TheContextIsTheOneThatTheRegistersComeFrom) {
  for (const auto& entry : fs::directory_iterator(Folder())) {
    if (entry.path().extension() != ".dmp") continue;
    OpenSample(entry.path().filename().string());
    platform::X64_CONTEXT context{};
    ASSERT_EQ(engine_->GetThreadContext(&context, sizeof(context)), 0);
    EXPECT_EQ(context.Rip, Register("rip"));
    EXPECT_LT(Register("cr8"), 16u);
    std::uint32_t thread = ~0u;
    std::uint32_t processors = 0;
    EXPECT_EQ(engine_->GetCurrentThreadId(&thread), 0);
    EXPECT_EQ(engine_->GetNumberProcessors(&processors), 0);
    EXPECT_LT(thread, processors);
    std::uint64_t process = 0;
    EXPECT_EQ(engine_->GetCurrentProcessDataOffset(&process), 0);
    EXPECT_GE(process, 0xFFFF800000000000u);
  }
}

TEST_F(EngineSamples, TheKernelsTextOfItsBuildComesWithTheVersion) {
  OpenSample("triage_x64.dmp");
  char build[200] = {};
  EXPECT_EQ(
      engine_->GetSystemVersion(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr, build, sizeof(build), nullptr),
      0);
  EXPECT_EQ(std::string(build).substr(0, 6), "19041.");
}

TEST_F(EngineSamples, AHeaderAloneTellsOfTheSystemAndHasNoMemory) {
  OpenSample("coredump_win10_64bit_stripped.raw");
  std::uint32_t type = 0;
  EXPECT_EQ(engine_->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, platform::kMachineX64);
  std::uint32_t qualifier = 0;
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, &qualifier), 0);
  EXPECT_EQ(qualifier, 1026u);
  std::uint32_t loaded = 9;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, nullptr), 0);
  EXPECT_EQ(loaded, 0u);
  std::byte byte{};
  EXPECT_EQ(engine_->ReadVirtual(0xFFFFF80510A2A2B0, &byte, 1, nullptr), kReadFault);
}

TEST_F(EngineSamples, ADumpOfA32BitMachineTellsWhichMachine) {
  OpenSample("coredump_win7_32bit_stripped.raw");
  std::uint32_t type = 0;
  EXPECT_EQ(engine_->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, platform::kMachineX86);
}

}  // namespace
}  // namespace varnel::embedded
