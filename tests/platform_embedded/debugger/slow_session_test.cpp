// The analyzer's session on the engine, with a dump that takes longer than the session waits.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include "analyzer/debug_engine_session.h"
#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/embedded_platform.h"
#include "platform/embedded/tools/machine_layout.h"
#include "slow_source.h"
#include "small_dump.h"
#include "tests/support/dump_file.h"

namespace varnel::embedded {
namespace {

namespace fs = std::filesystem;

/// Lets the dump come only after the thread that reads it was ended, and that thread time to leave.
class EndingThreads final : public EmbeddedThreads {
 public:
  bool TerminateThread(platform::HANDLE thread, std::uint32_t exit_code) override {
    source->AwaitReader();
    const bool ended = EmbeddedThreads::TerminateThread(thread, exit_code);
    source->LetGo();
    EXPECT_EQ(WaitForSingleObject(thread, 60'000), platform::kWaitObject0);
    ++ended_threads;
    return ended;
  }

  std::shared_ptr<SlowSource> source;
  int ended_threads = 0;
};

class SlowSessions : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "varnel-slow-XXXXXX").string();
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    ASSERT_TRUE(NewMachine(folder_ + "/m").ok());
    auto opened = EmbeddedPlatform::Open(folder_ + "/m");
    ASSERT_TRUE(opened.ok());
    platform_ = std::move(opened).value();
    platform_->record().threads = &threads_;
    platform_->system().libraries().AddProcedure(u"dbgeng.dll", "DebugCreate",
                                                 reinterpret_cast<platform::Procedure>(&Create));
    in_force_ = std::make_unique<platform::ScopedPlatform>(&platform_->record());
    current_ = this;
  }
  void TearDown() override {
    current_ = nullptr;
    in_force_.reset();
    platform_.reset();
    fs::remove_all(folder_);
  }

  void SetDump(std::vector<std::byte> bytes) {
    threads_.source = std::make_shared<SlowSource>(std::make_shared<support::DumpFileSource>(std::move(bytes)));
  }

  EndingThreads threads_;

 private:
  static platform::HRESULT Create(const GUID& id, void** object) {
    auto* const engine = new DumpEngine([](const char16_t*, std::shared_ptr<const formats::DumpSource>* source) {
      *source = current_->threads_.source;
      return results::kOk;
    });
    const platform::HRESULT result = engine->QueryInterface(id, object);
    engine->Release();
    return result;
  }

  static inline SlowSessions* current_ = nullptr;
  std::string folder_;
  std::unique_ptr<EmbeddedPlatform> platform_;
  std::unique_ptr<platform::ScopedPlatform> in_force_;
};

TEST_F(SlowSessions, ATimeOutOfTheWaitWithoutSymbolsStillGivesAnOpenDump) {
  SmallDump dump;
  dump.bug_check = 0x1A;
  SetDump(dump.Bytes());
  DebugEngineSession session(kEngineFromSystemFolder);
  ASSERT_TRUE(session.IsEngineReady());
  EXPECT_EQ(session.OpenDumpNoSymbols(u"C:\\a.dmp"), 0);
  EXPECT_EQ(threads_.ended_threads, 1) << "or it was no time-out";
  EXPECT_EQ(session.GetDumpQualifier(), 1024u);
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  EXPECT_EQ(session.GetBugCheckInfo(&code, parameters), 0);
  EXPECT_EQ(code, 0x1Au);
  EXPECT_EQ(session.CloseDump(), 0);
}

TEST_F(SlowSessions, ADamagedDumpThatTakesTooLongIsOpenToTheSessionAndTellsNothing) {
  auto bytes = SmallDump{}.Bytes();
  bytes.resize(5000);
  SetDump(bytes);
  DebugEngineSession session(kEngineFromSystemFolder);
  EXPECT_EQ(session.OpenDumpNoSymbols(u"C:\\a.dmp"), 0);
  EXPECT_EQ(session.GetDumpQualifier(), 0u);
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  EXPECT_LT(session.GetBugCheckInfo(&code, parameters), 0);
  EXPECT_EQ(session.CloseDump(), 0);
}

}  // namespace
}  // namespace varnel::embedded
