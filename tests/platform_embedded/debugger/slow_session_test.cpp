// The analyzer's session on the engine, with a dump that takes longer than the session waits.
#include <gtest/gtest.h>

#include "analyzer/debug_engine_session.h"
#include "platform/embedded/debugger/dump_engine.h"
#include "platform_fixture.h"
#include "slow_source.h"
#include "small_dump.h"
#include "tests/support/dump_file.h"

namespace varnel::embedded {
namespace {

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

class SlowSessions : public PlatformFixture {
 protected:
  void SetUp() override {
    PlatformFixture::SetUp();
    if (HasFatalFailure()) return;
    platform_->record().threads = &threads_;
    platform_->system().libraries().AddProcedure(u"dbgeng.dll", "DebugCreate",
                                                 reinterpret_cast<platform::Procedure>(&Create));
    current_ = this;
  }
  void TearDown() override {
    current_ = nullptr;
    PlatformFixture::TearDown();
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
