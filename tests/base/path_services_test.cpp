#include "base/path_services.h"

#include <gtest/gtest.h>

#include <string>

#include "base/log.h"
#include "base/text.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using testing::FaultPlan;
using testing::FaultyPlatform;
using testing::ScriptedPlatform;

constexpr GUID kTool = {0x4A234956, 0x2B7D, 0x4221, {0xBA, 0xDF, 0x12, 0x59, 0x3B, 0xD3, 0x42, 0xA8}};
constexpr char16_t kFormat[] = u"X:\\Windows\\System32\\LogFiles\\WMI\\KWDTempTrace%s%s.etl";

class PathServices : public ::testing::Test {
 protected:
  PathServices() { WrapLogInit(LOG_ERROR, nullptr); }
  ~PathServices() override {
    EXPECT_EQ(machine.system.heap_blocks(), 0);
    WrapLogClose();
  }

  ScriptedPlatform machine;
};

TEST_F(PathServices, ExpandsEnvironmentStrings) {
  machine.system.environment[u"SystemRoot"] = u"C:\\Windows";
  std::u16string path;
  EXPECT_EQ(ExpandEnvironmentPath(u"%systemroot%\\MEMORY.DMP", &path), 0u);
  EXPECT_EQ(path, u"C:\\Windows\\MEMORY.DMP");
}

TEST_F(PathServices, ANameThatIsNotSetStaysAsItIs) {
  std::u16string path;
  EXPECT_EQ(ExpandEnvironmentPath(u"%NoSuch%\\a", &path), 0u);
  EXPECT_EQ(path, u"%NoSuch%\\a");
}

TEST_F(PathServices, AnExpansionWithoutASizeGivesTheLastErrorAsHresult) {
  FaultPlan plan;
  plan.Fail("ExpandEnvironmentStringsW", 203);
  const FaultyPlatform faulty(machine.ports, &plan);
  std::u16string path = u"kept";
  EXPECT_EQ(ExpandEnvironmentPath(u"%A%", &path), 0x800700CBu);
  EXPECT_EQ(path, u"kept");
}

TEST_F(PathServices, AnExpansionThatFailsTheSecondTimeGivesTheLastErrorAsHresult) {
  FaultPlan plan;
  plan.Fail({"ExpandEnvironmentStringsW", 2, false, 203});
  const FaultyPlatform faulty(machine.ports, &plan);
  std::u16string path = u"kept";
  EXPECT_EQ(ExpandEnvironmentPath(u"%A%", &path), 0x800700CBu);
  EXPECT_EQ(path, u"kept");
}

/// An environment that grows between the two questions.
class GrowingSystem : public testing::FaultySystem {
 public:
  using FaultySystem::FaultySystem;
  std::uint32_t ExpandEnvironmentStringsW(const char16_t*, char16_t*, std::uint32_t capacity) override {
    SetLastError(platform::kErrorMoreData);
    return capacity + 10;
  }
};

TEST_F(PathServices, AnExpansionThatOutgrewItsBufferFails) {
  FaultPlan plan;
  GrowingSystem growing(&machine.system, &plan);
  platform::Platform ports = machine.ports;
  ports.system = &growing;
  const platform::ScopedPlatform in_force(&ports);
  std::u16string path = u"kept";
  EXPECT_EQ(ExpandEnvironmentPath(u"%A%", &path), 0x800700EAu);
  EXPECT_EQ(path, u"kept");
}

TEST_F(PathServices, AnExpansionWithoutMemoryIsTold) {
  machine.system.FailAllocation(1);
  std::u16string path;
  EXPECT_EQ(ExpandEnvironmentPath(u"%A%", &path), kStatusOutOfMemory);
}

TEST_F(PathServices, CreatesEveryMissingFolder) {
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\Two\\Three"), 0u);
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\One\\Two\\Three"));
}

TEST_F(PathServices, AFolderThatExistsIsGoodAndNothingIsMade) {
  FaultPlan plan;
  const FaultyPlatform watched(machine.ports, &plan);
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\ProgramData"), 0u);
  EXPECT_EQ(plan.CountOf("CreateDirectoryW"), 0u);
}

TEST_F(PathServices, AnEmptyPathIsInvalid) {
  EXPECT_EQ(EnsureDirectoryExists(u""), kStatusInvalidArgument);
}

TEST_F(PathServices, APathThatIsAFileFails) {
  machine.files.AddFile(u"C:\\One\\file");
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\file"), kStatusFail);
}

TEST_F(PathServices, APathBelowAFileFails) {
  machine.files.AddFile(u"C:\\One\\file");
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\file\\Two\\Three"), kStatusFail);
  EXPECT_FALSE(machine.files.Exists(u"C:\\One\\file\\Two"));
}

TEST_F(PathServices, ADriveThatIsAbsentIsGoodSinceThereIsNothingToCreate) {
  EXPECT_EQ(EnsureDirectoryExists(u"Q:"), 0u);
  EXPECT_EQ(EnsureDirectoryExists(u"Q:\\"), 0u);
  EXPECT_FALSE(machine.files.Exists(u"Q:"));
}

TEST_F(PathServices, BothSeparatorsAreWalked) {
  EXPECT_EQ(EnsureDirectoryExists(u"C:/One\\Two/Three"), 0u);
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\One\\Two\\Three"));
}

TEST_F(PathServices, ASeparatorAtTheEndDoesNoHarm) {
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\Two\\"), 0u);
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\One\\Two"));
}

TEST_F(PathServices, ALeadingSeparatorEndsTheWalk) {
  machine.files.AddFolder(u"\\");
  EXPECT_EQ(EnsureDirectoryExists(u"\\One"), 0u);
  EXPECT_TRUE(machine.files.IsFolder(u"\\One"));
}

TEST_F(PathServices, AFolderThatCannotBeCreatedIsLoggedAndItsErrorReturned) {
  FaultPlan plan;
  plan.Fail({"CreateDirectoryW", 2, false, 5});
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\Two\\Three"), 0x80070005u);
  EXPECT_TRUE(machine.system.Logged("[Error] Failed to create directory: C:\\One\\Two (error code: 0x00000005)\n"));
  EXPECT_TRUE(machine.files.IsFolder(u"C:\\One")) << "what was made stays";
  EXPECT_EQ(plan.CountOf("CreateDirectoryW"), 2u);
}

TEST_F(PathServices, AFolderThatAnotherMadeMeanwhileIsGood) {
  machine.files.AddFolder(u"C:\\One\\Two");
  FaultPlan plan;
  // Both look absent, and then both exist.
  plan.Fail({"GetFileAttributesW", 1, false, 2});
  plan.Fail({"GetFileAttributesW", 3, false, 2});
  const FaultyPlatform faulty(machine.ports, &plan);
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One\\Two"), 0u);
  EXPECT_EQ(plan.CountOf("CreateDirectoryW"), 1u);
}

TEST_F(PathServices, FoldersWithoutMemoryAreTold) {
  machine.system.FailAllocation(1);
  EXPECT_EQ(EnsureDirectoryExists(u"C:\\One"), kStatusOutOfMemory);
}

TEST_F(PathServices, TraceFileNamesHoldTheGivenAndAFreshGuid) {
  char16_t path[kMaxPath];
  EXPECT_EQ(GenericUniqueTempSessionLogFile(path, kMaxPath, kFormat, &kTool), 0u);
  EXPECT_EQ(std::u16string(path),
            u"C:\\Windows\\System32\\LogFiles\\WMI\\KWDTempTrace{4A234956-2B7D-4221-BADF-12593BD342A8}"
            u"{00000001-FA4E-4000-8000-000000000000}.etl");
}

TEST_F(PathServices, EachCallGivesANewTraceFileName) {
  char16_t first[kMaxPath];
  char16_t second[kMaxPath];
  GenericUniqueTempSessionLogFile(first, kMaxPath, kFormat, &kTool);
  GenericUniqueTempSessionLogFile(second, kMaxPath, kFormat, &kTool);
  EXPECT_NE(std::u16string(first), second);
  EXPECT_EQ(TextLength(first), TextLength(second));
}

TEST_F(PathServices, TheCapacityOfATraceFileNameIsIgnored) {
  char16_t path[kMaxPath];
  EXPECT_EQ(GenericUniqueTempSessionLogFile(path, 5, kFormat, &kTool), 0u);
  EXPECT_GT(TextLength(path), 100u);
}

TEST_F(PathServices, TraceFileNamesFollowTheSystemDrive) {
  machine.system.system_directory = u"D:\\WINNT\\System32";
  char16_t path[kMaxPath];
  GenericUniqueTempSessionLogFile(path, kMaxPath, kFormat, &kTool);
  EXPECT_EQ(std::u16string(path).substr(0, 13), u"D:\\Windows\\Sy") << "only the letter is taken";
}

TEST_F(PathServices, WithoutASystemFolderThereIsNoTraceFileName) {
  FaultPlan plan;
  plan.Fail("GetSystemDirectoryW", 1359);
  const FaultyPlatform faulty(machine.ports, &plan);
  char16_t path[kMaxPath];
  EXPECT_EQ(GenericUniqueTempSessionLogFile(path, kMaxPath, kFormat, &kTool), 1359u);
}

}  // namespace
}  // namespace varnel
