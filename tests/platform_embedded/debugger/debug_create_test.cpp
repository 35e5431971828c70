// The engine as a machine's library gives it.
#include "platform/embedded/debugger/debug_create.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "platform_fixture.h"
#include "small_dump.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

class DebugLibraries : public PlatformFixture {
 protected:
  void SetUp() override {
    PlatformFixture::SetUp();
    if (!HasFatalFailure()) AddDump(u"a.dmp", 0x1A);
  }

  void AddDump(const std::u16string& name, std::uint32_t code) {
    SmallDump dump;
    dump.bug_check = code;
    const auto bytes = dump.Bytes();
    std::ofstream(Drive() / fs::path(name), std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  platform::System& system() { return *platform_->record().system; }
  platform::IDebugClient4* Create(platform::HMODULE library) {
    const auto procedure = system().GetProcAddress(library, "DebugCreate");
    if (procedure == nullptr) return nullptr;
    void* object = nullptr;
    EXPECT_EQ(reinterpret_cast<platform::DebugCreateFunction>(procedure)(platform::kIidDebugClient4, &object), 0);
    return static_cast<platform::IDebugClient4*>(object);
  }
  static platform::IDebugControl* ControlOf(platform::IDebugClient4* client) {
    void* object = nullptr;
    EXPECT_EQ(client->QueryInterface(platform::kIidDebugControl, &object), 0);
    return static_cast<platform::IDebugControl*>(object);
  }
  /// The stop code of a dump, by an engine's own interfaces.
  static std::uint32_t CodeOf(platform::IDebugClient4* client, const char16_t* path) {
    EXPECT_EQ(client->OpenDumpFileWide(path, 0), 0);
    platform::IDebugControl* const control = ControlOf(client);
    EXPECT_EQ(control->WaitForEvent(0, 100), 0);
    std::uint32_t code = 0;
    EXPECT_EQ(control->ReadBugCheckData(&code, nullptr, nullptr, nullptr, nullptr), 0);
    control->Release();
    return code;
  }
};

TEST_F(DebugLibraries, TheSystemsLibraryMakesAnEngineThatReadsTheMachinesDumps) {
  const auto library = system().LoadLibraryW(u"C:\\Windows\\System32\\dbgeng.dll");
  ASSERT_NE(library, nullptr);
  platform::IDebugClient4* const client = Create(library);
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(CodeOf(client, u"C:\\a.dmp"), 0x1Au);
  EXPECT_EQ(client->Release(), 0u);
  EXPECT_TRUE(system().FreeLibrary(library));
}

TEST_F(DebugLibraries, APrivateCopyMakesEnginesTooAndIsInUseWhileItIsLoaded) {
  const auto host = Drive() / "Program Files/Varnel/Host";
  fs::copy_file(Drive() / "Windows/System32/dbgeng.dll", host / "DbgEng.dll");
  const auto library = system().LoadLibraryW(u"C:\\Program Files\\Varnel\\Host\\dbgeng.dll");
  ASSERT_NE(library, nullptr);
  platform::IDebugClient4* const client = Create(library);
  ASSERT_NE(client, nullptr);
  EXPECT_EQ(CodeOf(client, u"C:\\a.dmp"), 0x1Au);
  client->Release();
  EXPECT_FALSE(platform_->files().DeleteFileW(u"C:\\Program Files\\Varnel\\Host\\dbgeng.dll"));
  EXPECT_TRUE(system().FreeLibrary(library));
  EXPECT_TRUE(platform_->files().DeleteFileW(u"C:\\Program Files\\Varnel\\Host\\dbgeng.dll"));
}

TEST_F(DebugLibraries, EachCreateIsAnInstanceOfItsOwn) {
  AddDump(u"b.dmp", 0x50);
  const auto library = system().LoadLibraryW(u"dbgeng.dll");
  platform::IDebugClient4* const first = Create(library);
  platform::IDebugClient4* const second = Create(library);
  ASSERT_NE(first, second);
  EXPECT_EQ(CodeOf(first, u"C:\\a.dmp"), 0x1Au);
  EXPECT_EQ(CodeOf(second, u"C:\\b.dmp"), 0x50u);
  first->Release();
  platform::IDebugControl* const control = ControlOf(second);
  EXPECT_EQ(control->GetDebuggeeType(nullptr, nullptr), 0) << "the other's end is not this one's";
  control->Release();
  second->Release();
  system().FreeLibrary(library);
}

TEST_F(DebugLibraries, AnInterfaceThatTheEngineLacksMakesNoEngine) {
  void* object = this;
  EXPECT_EQ(DebugCreate(GUID{}, &object), static_cast<platform::HRESULT>(0x80004002));
  EXPECT_EQ(object, nullptr);
  EXPECT_EQ(DebugCreate(platform::kIidDebugClient, nullptr), static_cast<platform::HRESULT>(0x80004003));
}

TEST_F(DebugLibraries, TheCompanionsOfTheEngineAreFilesAndAnswerNothing) {
  for (const char16_t* name : {u"C:\\Windows\\System32\\dbghelp.dll",
                               u"C:\\ProgramData\\KelvoVarnels\\{4A234956-2B7D-4221-BADF-12593BD342A8}\\symsrv.dll"}) {
    const auto library = system().LoadLibraryW(name);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(system().GetProcAddress(library, "DebugCreate"), nullptr);
    system().FreeLibrary(library);
  }
}

TEST_F(DebugLibraries, AnEngineThatIsNeverReleasedKeepsItsDumpInUse) {
  const auto library = system().LoadLibraryW(u"dbgeng.dll");
  platform::IDebugClient4* const client = Create(library);
  ASSERT_EQ(client->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_FALSE(platform_->files().DeleteFileW(u"C:\\a.dmp"));
  EXPECT_EQ(client->Release(), 0u) << "without an end of the session";
  EXPECT_TRUE(platform_->files().DeleteFileW(u"C:\\a.dmp"));
  system().FreeLibrary(library);
}

}  // namespace
}  // namespace varnel::embedded
