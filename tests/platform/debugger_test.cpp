// The debugger engine as its library gives it, without a dump: what holds for the system's engine and for ours.
#include "platform/debugger/engine.h"

#include <gtest/gtest.h>

#include "platform/platform.h"

namespace varnel::platform {
namespace {

class DebuggerEngine : public ::testing::Test {
 protected:
  void SetUp() override {
    library_ = SystemPort().LoadLibraryW(u"dbgeng.dll");
    ASSERT_NE(library_, nullptr);
    const Procedure procedure = SystemPort().GetProcAddress(library_, "DebugCreate");
    ASSERT_NE(procedure, nullptr);
    create_ = reinterpret_cast<DebugCreateFunction>(procedure);
  }
  void TearDown() override {
    if (library_ != nullptr) SystemPort().FreeLibrary(library_);
  }

  IDebugClient* Create() {
    void* object = nullptr;
    EXPECT_EQ(create_(kIidDebugClient, &object), 0);
    return static_cast<IDebugClient*>(object);
  }

  HMODULE library_ = nullptr;
  DebugCreateFunction create_ = nullptr;
};

TEST_F(DebuggerEngine, IsFoundByItsNameAndMakesAClient) {
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->Release(), 0u);
}

TEST_F(DebuggerEngine, IsCountedByItsInterfaces) {
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->AddRef(), 2u);
  EXPECT_EQ(client->Release(), 1u);
  void* object = nullptr;
  ASSERT_EQ(client->QueryInterface(kIidDebugControl, &object), 0);
  auto* const control = static_cast<IDebugControl*>(object);
  EXPECT_EQ(client->Release(), 1u);
  EXPECT_EQ(control->Release(), 0u) << "the instance ends with the last of them";
}

TEST_F(DebuggerEngine, GivesTheInterfacesThatTheModuleCannotDoWithout) {
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  for (const GUID* id :
       {&kIidDebugControl, &kIidDebugSymbols3, &kIidDebugSystemObjects, &kIidDebugDataSpaces, &kIidDebugAdvanced}) {
    void* object = nullptr;
    EXPECT_EQ(client->QueryInterface(*id, &object), 0);
    if (object != nullptr) static_cast<IUnknown*>(object)->Release();
  }
  client->Release();
}

TEST_F(DebuggerEngine, RefusesAnInterfaceThatNobodyKnows) {
  constexpr GUID kNobodys = {0x5A5A5A5A, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
  void* object = nullptr;
  EXPECT_EQ(create_(kNobodys, &object), kNoInterface);
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(client->QueryInterface(kNobodys, &object), kNoInterface);
  EXPECT_EQ(object, nullptr);
  client->Release();
}

TEST_F(DebuggerEngine, FailsToOpenADumpThatIsNotThere) {
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  EXPECT_LT(client->OpenDumpFile("C:\\there is no such dump.dmp"), 0);
  client->Release();
}

TEST_F(DebuggerEngine, HasNothingToTellBeforeATargetIsUp) {
  IDebugClient* const client = Create();
  ASSERT_NE(client, nullptr);
  void* object = nullptr;
  ASSERT_EQ(client->QueryInterface(kIidDebugControl, &object), 0);
  auto* const control = static_cast<IDebugControl*>(object);
  std::uint32_t code = 7;
  std::uint64_t parameters[4] = {};
  EXPECT_LT(control->ReadBugCheckData(&code, &parameters[0], &parameters[1], &parameters[2], &parameters[3]), 0);
  EXPECT_EQ(code, 7u);
  ASSERT_EQ(client->QueryInterface(kIidDebugDataSpaces, &object), 0);
  auto* const memory = static_cast<IDebugDataSpaces*>(object);
  std::uint32_t read = 0;
  std::uint64_t word = 7;
  EXPECT_LT(memory->ReadVirtual(0xFFFFF80000000000, &word, 8, &read), 0);
  EXPECT_EQ(word, 7u);
  memory->Release();
  control->Release();
  client->Release();
}

}  // namespace
}  // namespace varnel::platform
