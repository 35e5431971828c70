// Selecting a dump, bringing it up, and ending.
#include <atomic>
#include <thread>

#include "engine_fixture.h"
#include "platform/embedded/core/handle_table.h"
#include "platform/embedded/threads/embedded_threads.h"
#include "slow_source.h"

namespace varnel::embedded {
namespace {

using DumpEngineSessions = EngineFixture;
using platform::HRESULT;

TEST_F(DumpEngineSessions, ADumpIsThereAfterTheWaitAndNotBefore) {
  Add(u"C:\\a.dmp", SmallDump{});
  std::uint32_t type = 7;
  EXPECT_EQ(engine_->GetActualProcessorType(&type), kE_UNEXPECTED);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_EQ(engine_->GetActualProcessorType(&type), kE_UNEXPECTED);
  EXPECT_EQ(type, 7u);
  ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  EXPECT_EQ(engine_->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, 0x8664u);
}

TEST_F(DumpEngineSessions, AWaitWithoutLimitOrWithNoneLeftBringsTheTargetUpToo) {
  for (const std::uint32_t limit : {0u, ~0u}) {
    Add(u"C:\\a.dmp", SmallDump{});
    ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
    EXPECT_EQ(engine_->WaitForEvent(0, limit), 0);
    EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0);
  }
}

TEST_F(DumpEngineSessions, ANarrowNameIsUtf8) {
  Add(u"C:\\d\u00FCmp.dmp", SmallDump{});
  EXPECT_EQ(engine_->OpenDumpFile("C:\\d\xC3\xBCmp.dmp"), 0);
  EXPECT_EQ(engine_->WaitForEvent(0, 100), 0);
}

TEST_F(DumpEngineSessions, WhatTheFilesTellOfADumpThatCannotBeOpenedIsTheResult) {
  EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\none.dmp", 0), kFileMissing);
  EXPECT_EQ(engine_->OpenDumpFile("C:\\none.dmp"), kFileMissing);
}

TEST_F(DumpEngineSessions, AnOpenThatSucceedsWithoutASourceFailsAndLeavesTheDumpBefore) {
  dumps_[u"C:\\b.dmp"] = nullptr;
  EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\b.dmp", 0), kE_FAIL);
  EXPECT_EQ(engine_->WaitForEvent(0, 100), kE_UNEXPECTED);
  Open(SmallDump{});
  EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\b.dmp", 0), kE_FAIL);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0) << "the target stays";
}

TEST_F(DumpEngineSessions, ADumpNeedsAName) {
  EXPECT_EQ(engine_->OpenDumpFileWide(nullptr, 0), kE_INVALIDARG);
  EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 5), kE_INVALIDARG);
  EXPECT_EQ(engine_->OpenDumpFile(nullptr), kE_INVALIDARG);
}

TEST_F(DumpEngineSessions, AWaitWithoutADumpHasNothingToWaitFor) {
  EXPECT_EQ(engine_->WaitForEvent(0, ~0u), kE_UNEXPECTED);
  Open(SmallDump{});
  EXPECT_EQ(engine_->WaitForEvent(0, ~0u), kE_UNEXPECTED);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0) << "the target stays";
}

TEST_F(DumpEngineSessions, AWaitTakesNoFlags) {
  Add(u"C:\\a.dmp", SmallDump{});
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_EQ(engine_->WaitForEvent(1, 100), kE_INVALIDARG);
}

TEST_F(DumpEngineSessions, AnEndedSessionLetsGoOfTheDump) {
  Open(SmallDump{});
  EXPECT_GT(dumps_[u"C:\\a.dmp"].use_count(), 1);
  EXPECT_EQ(engine_->EndSession(0), 0);
  EXPECT_EQ(dumps_[u"C:\\a.dmp"].use_count(), 1);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED);
  EXPECT_EQ(engine_->EndSession(0), kE_UNEXPECTED);
  EXPECT_EQ(engine_->EndSession(77), kE_INVALIDARG);
}

TEST_F(DumpEngineSessions, EachOfThePlatformsWaysToEndASessionEndsIt) {
  for (std::uint32_t flags = 0; flags <= 3; ++flags) {
    Open(SmallDump{});
    EXPECT_EQ(engine_->EndSession(flags), 0) << flags;
    EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED) << flags;
  }
  Open(SmallDump{});
  EXPECT_EQ(engine_->EndSession(4), kE_INVALIDARG);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0) << "the target stays";
}

TEST_F(DumpEngineSessions, TheLastReleaseWithoutAnEndLetsGoOfTheDump) {
  Open(SmallDump{});
  EXPECT_EQ(std::exchange(engine_, nullptr)->Release(), 0u);
  EXPECT_EQ(dumps_[u"C:\\a.dmp"].use_count(), 1);
}

TEST_F(DumpEngineSessions, ASecondDumpTakesThePlaceOfTheFirst) {
  SmallDump second;
  second.bug_check = 0x1A;
  Open(SmallDump{});
  Add(u"C:\\b.dmp", second);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\b.dmp", 0), 0);
  EXPECT_EQ(dumps_[u"C:\\a.dmp"].use_count(), 1);
  ASSERT_EQ(engine_->WaitForEvent(0, 100), 0);
  std::uint32_t code = 0;
  EXPECT_EQ(engine_->ReadBugCheckData(&code, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(code, 0x1Au);
}

TEST_F(DumpEngineSessions, AFormThatReadersDisagreeOnIsRefused) {
  SmallDump ranges;
  ranges.type = 8;
  Add(u"C:\\a.dmp", ranges);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_EQ(engine_->WaitForEvent(0, 100), kE_NOTIMPL);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED);
}

TEST_F(DumpEngineSessions, AFileThatIsCutInItsHeaderFailsInTheWait) {
  auto bytes = SmallDump{}.Bytes();
  bytes.resize(5000);
  dumps_[u"C:\\a.dmp"] = std::make_shared<support::DumpFileSource>(bytes);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_EQ(engine_->WaitForEvent(0, 100), kFileCorrupt);
}

TEST_F(DumpEngineSessions, AnotherMachinesDumpComesUpFarEnoughToTellWhichMachine) {
  SmallDump arm;
  arm.machine = 0xAA64;
  Open(arm);
  std::uint32_t type = 0;
  EXPECT_EQ(engine_->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, 0xAA64u);
  std::uint32_t code = 0;
  EXPECT_EQ(engine_->ReadBugCheckData(&code, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(code, 0xD1u);
  std::uint32_t loaded = 0;
  EXPECT_EQ(engine_->GetNumberModules(&loaded, nullptr), kE_NOTIMPL);
  std::byte byte{};
  EXPECT_EQ(engine_->ReadVirtual(0x1000, &byte, 1, nullptr), kE_NOTIMPL);
  EXPECT_EQ(engine_->GetCurrentThreadId(nullptr), kE_NOTIMPL);
}

TEST_F(DumpEngineSessions, AllInterfacesAreOfOneInstance) {
  Open(SmallDump{});
  void* control = nullptr;
  ASSERT_EQ(engine_->QueryInterface(platform::kIidDebugControl, &control), 0);
  void* newer = nullptr;
  auto* const first = static_cast<platform::IDebugControl*>(control);
  ASSERT_EQ(first->QueryInterface(platform::kIidDebugControl4, &newer), 0);
  auto* const second = static_cast<platform::IDebugControl4*>(newer);
  std::uint32_t type = 0;
  EXPECT_EQ(second->GetActualProcessorType(&type), 0);
  EXPECT_EQ(type, 0x8664u);
  EXPECT_EQ(second->Release(), 2u);
  EXPECT_EQ(first->Release(), 1u);
}

/// A thread of the module's in the engine's wait, while the dump does not come.
class SlowWaits : public EngineFixture {
 protected:
  struct Parameter {
    DumpEngine* engine;
    std::atomic<bool> came_back{false};
    HRESULT result = 0;
  };

  SlowWaits() : source_(std::make_shared<SlowSource>(std::make_shared<support::DumpFileSource>(SmallDump{}.Bytes()))) {
    dumps_[u"C:\\a.dmp"] = source_;
    EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
    parameter_.engine = engine_;
    worker_ = threads_.CreateThread(&Wait, &parameter_);
    source_->AwaitReader();
  }
  ~SlowWaits() override { Handles().Remove(worker_); }

  static std::uint32_t Wait(void* parameter) {
    auto* const wait = static_cast<Parameter*>(parameter);
    wait->result = wait->engine->WaitForEvent(0, ~0u);
    wait->came_back.store(true);
    return 0;
  }
  /// Lets the dump come, and waits for the worker's end.
  std::uint32_t Finish() {
    source_->LetGo();
    EXPECT_EQ(threads_.WaitForSingleObject(worker_, 60'000), platform::kWaitObject0);
    std::uint32_t code = 0;
    EXPECT_TRUE(threads_.GetExitCodeThread(worker_, &code));
    return code;
  }

  std::shared_ptr<SlowSource> source_;
  EmbeddedThreads threads_;
  Parameter parameter_;
  platform::HANDLE worker_ = nullptr;
};

TEST_F(SlowWaits, NoOtherCallBlocksMeanwhile) {
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED);
  EXPECT_EQ(engine_->WaitForEvent(0, ~0u), kE_FAIL) << "one waits already";
  EXPECT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), kE_UNEXPECTED);
  EXPECT_EQ(engine_->SetSymbolOptions(5), 0);
  EXPECT_EQ(Finish(), 0u);
  EXPECT_EQ(parameter_.result, 0);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0);
}

TEST_F(SlowWaits, AnEndedThreadLeavesWithoutComingBackAndTheTargetComesUpAllTheSame) {
  ASSERT_TRUE(threads_.TerminateThread(worker_, 1223));
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED) << "not before the dump is read";
  EXPECT_EQ(Finish(), 1223u);
  EXPECT_FALSE(parameter_.came_back.load());
  std::uint32_t code = 0;
  EXPECT_EQ(engine_->ReadBugCheckData(&code, nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(code, 0xD1u);
  EXPECT_EQ(engine_->WaitForEvent(0, ~0u), kE_UNEXPECTED) << "nothing is left to wait for";
  EXPECT_EQ(engine_->AddRef(), 2u) << "the wait has given its reference back";
  engine_->Release();
}

TEST_F(DumpEngineSessions, AThreadThatWasEndedWhileItBringsUpADamagedDumpLeavesItSelected) {
  auto bytes = SmallDump{}.Bytes();
  bytes.resize(5000);
  const auto source = std::make_shared<SlowSource>(std::make_shared<support::DumpFileSource>(bytes));
  dumps_[u"C:\\a.dmp"] = source;
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EmbeddedThreads threads;
  const auto worker = threads.CreateThread(
      [](void* engine) -> std::uint32_t {
        static_cast<DumpEngine*>(engine)->WaitForEvent(0, ~0u);
        return 0;
      },
      engine_);
  source->AwaitReader();
  ASSERT_TRUE(threads.TerminateThread(worker, 1));
  source->LetGo();
  EXPECT_EQ(threads.WaitForSingleObject(worker, 60'000), platform::kWaitObject0);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED);
  EXPECT_EQ(engine_->WaitForEvent(0, ~0u), kFileCorrupt) << "another wait may try again";
  Handles().Remove(worker);
}

TEST_F(SlowWaits, AfterAnEndedThreadTheSessionCanBeEndedAndBegunAnew) {
  ASSERT_TRUE(threads_.TerminateThread(worker_, 1));
  Finish();
  EXPECT_EQ(engine_->EndSession(0), 0);
  ASSERT_EQ(engine_->OpenDumpFileWide(u"C:\\a.dmp", 0), 0);
  EXPECT_EQ(engine_->WaitForEvent(0, 100), 0);
}

TEST_F(SlowWaits, ASessionThatIsEndedMeanwhileStaysEnded) {
  EXPECT_EQ(engine_->EndSession(0), 0);
  EXPECT_EQ(Finish(), 0u);
  EXPECT_EQ(parameter_.result, kE_UNEXPECTED);
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), kE_UNEXPECTED);
}

TEST_F(SlowWaits, TheInstanceLivesUntilAnEndedThreadHasLeftIt) {
  ASSERT_TRUE(threads_.TerminateThread(worker_, 1));
  EXPECT_EQ(std::exchange(engine_, nullptr)->Release(), 1u);
  EXPECT_GT(source_.use_count(), 2);
  Finish();
  EXPECT_EQ(source_.use_count(), 2) << "the test's own two";
}

TEST_F(DumpEngineSessions, AThreadThatWasEndedElsewhereLeavesAtItsNextCall) {
  Open(SmallDump{});
  struct Parameter {
    DumpEngine* engine;
    std::atomic<bool> begun{false};
    std::atomic<bool> ended{false};
    std::atomic<bool> came_back{false};
  } parameter{engine_};
  EmbeddedThreads threads;
  const auto worker = threads.CreateThread(
      [](void* argument) -> std::uint32_t {
        auto* const shared = static_cast<Parameter*>(argument);
        shared->begun.store(true);
        while (!shared->ended.load()) std::this_thread::yield();
        shared->engine->GetDebuggeeType(nullptr, nullptr);
        shared->came_back.store(true);
        return 0;
      },
      &parameter);
  while (!parameter.begun.load()) std::this_thread::yield();
  ASSERT_TRUE(threads.TerminateThread(worker, 9));
  parameter.ended.store(true);
  EXPECT_EQ(threads.WaitForSingleObject(worker, 60'000), platform::kWaitObject0);
  EXPECT_FALSE(parameter.came_back.load());
  EXPECT_EQ(engine_->GetDebuggeeType(nullptr, nullptr), 0) << "the lock is free";
  Handles().Remove(worker);
}

}  // namespace
}  // namespace varnel::embedded
