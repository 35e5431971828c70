#include "pipeline/collectors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/compiler.h"
#include "base/log.h"
#include "pipeline/consumer_table.h"
#include "pipeline/consumer_thread.h"
#include "pipeline/target_consumer.h"
#include "session/provider_table.h"
#include "tests/support/fault_plan.h"
#include "tests/support/faulty_ports.h"
#include "tests/support/scripted_platform.h"

namespace varnel {
namespace {

using ::testing::ElementsAre;
using testing::ScriptedEvent;

constexpr std::uint64_t kTime = 0x1DC95B3A1C2D3E0;
const std::u16string kFolder = u"C:\\Windows\\System32\\LogFiles\\WMI\\";
const std::u16string kModule = u"{4A234956-2B7D-4221-BADF-12593BD342A8}";
const std::u16string kTempFile = kFolder + u"KWDTempTrace" + kModule + u"{11111111-2222-3333-4444-555555555555}.etl";
const std::u16string kOtherTempFile =
    kFolder + u"KWDTempTrace" + kModule + u"{21111111-2222-3333-4444-555555555555}.etl";
const std::u16string kAutoFile = kFolder + u"KWDAutoTrace" + kModule + u".etl.001";
const std::u16string kRunningAutoFile = kFolder + u"KWDAutoTrace" + kModule + u".etl.002";
const std::u16string kForeignFile = kFolder + u"KWDTempTrace.etl";
const std::u16string kSession = u"KelvoVarnelWardlet" + kModule;

std::uint32_t CountText(void* context, const char* /*text*/) {
  ++*static_cast<std::atomic<unsigned>*>(context);
  return 0;
}

ScriptedEvent EventOf(const GUID& provider, std::uint32_t counter, std::uint64_t keyword = 0x81) {
  ScriptedEvent event;
  event.provider = provider;
  event.keyword = keyword;
  event.time = kTime + counter;
  event.payload = testing::MsgAnsiPayload(counter, 8, "text");
  return event;
}

class CollectorsTest : public ::testing::Test {
 protected:
  CollectorsTest() {
    WrapLogInit(LOG_ERROR | LOG_INFO | LOG_DETAIL, nullptr);
    platform_.files.AddFolder(kFolder.substr(0, kFolder.size() - 1));
    for (const ProviderTableEntry& entry : kProviderTable) platform_.tdh.AddManifestSchemas(entry.guid);
    {
      ExclusiveLock lock(table_.TableLock);
      InitializeListHead(&table_.ConsumerList);
    }
    table_.hStopEvent = platform_.threads.CreateEventW(true, false);
    table_.hRealTimeOpenedEvent = platform_.threads.CreateEventW(true, false);
    table_.pfnEventCallback = CountText;
    table_.pCallbackContext = &texts_;
  }

  ~CollectorsTest() override {
    faults_.Clear();
    platform_.threads.SetEvent(table_.hStopEvent);
    for (;;) {
      TargetConsumer* consumer = nullptr;
      {
        ExclusiveLock lock(table_.TableLock);
        if (!IsListEmpty(&table_.ConsumerList)) consumer = ConsumerFromLink(RemoveHeadList(&table_.ConsumerList));
      }
      if (consumer == nullptr) break;
      CleanupTargetConsumerThread(consumer);
      FreeTargetConsumer(consumer);
    }
    platform_.system.CloseHandle(table_.hStopEvent);
    platform_.system.CloseHandle(table_.hRealTimeOpenedEvent);
    table_.hStopEvent = nullptr;
    table_.hRealTimeOpenedEvent = nullptr;
    table_.hRealTimeTrace = 0;
    table_.bStopRequested = 0;
    table_.dwConsumerCount = 0;
    table_.pfnEventCallback = nullptr;
    table_.pCallbackContext = nullptr;
    EXPECT_EQ(platform_.system.heap_blocks(), lost_blocks_);
    EXPECT_EQ(platform_.handles.open_count(), 0u);
  }

  void Deliver(const ScriptedEvent& event) { testing::DeliverEvent(event, nullptr, EventRecordCallback); }
  bool Logged(const std::string& line) const { return platform_.system.Logged(line); }
  std::vector<std::uint64_t> Keywords() {
    SharedLock lock(table_.TableLock);
    std::vector<std::uint64_t> keywords;
    for (ListEntry* e = table_.ConsumerList.Flink; e != &table_.ConsumerList; e = e->Flink) {
      keywords.push_back(ConsumerFromLink(e)->dwKeyWord);
    }
    return keywords;
  }
  /// The AutoLogger's session runs, writing its second file.
  void RunAutoSession() {
    platform_.trace.AddSession(kSession, kRunningAutoFile);
    platform_.files.AddFile(kRunningAutoFile);
    platform_.registry.SetDword(u"SYSTEM\\CurrentControlSet\\Control\\WMI\\Autologger\\" + kSession, u"FileCounter", 2);
  }

  testing::ScriptedPlatform platform_;
  testing::FaultPlan faults_;
  testing::FaultyPlatform faulty_{platform_.ports, &faults_};
  ConsumerTable& table_ = g_ConsumerTable;
  std::atomic<unsigned> texts_{0};
  int lost_blocks_ = 0;
};

// The event callback.

TEST_F(CollectorsTest, EachOfTheSevenProvidersPassesTheFilter) {
  for (const ProviderTableEntry& entry : kProviderTable) Deliver(EventOf(entry.guid, 1));
  EXPECT_EQ(table_.dwConsumerCount, 7u);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 7; }));
}

TEST_F(CollectorsTest, AnEventOfAnEighthProviderNeverCreatesAConsumer) {
  Deliver(EventOf(GUID_WARDLET_TOOL, 1));
  EXPECT_EQ(table_.dwConsumerCount, 0u);
  EXPECT_TRUE(
      Logged("EventRecordCallback func check Event GUID({4A234956-2B7D-4221-BADF-12593BD342A8}) doesn't match any "
             "supported provider, skip processing.\r\n"));
}

TEST_F(CollectorsTest, TwoModulesOfOneProviderStartTwoConsumers) {
  Deliver(EventOf(g_ProviderSampleGUID, 1, 0x80));
  Deliver(EventOf(g_ProviderSampleGUID, 1, 0x100));
  Deliver(EventOf(g_ProviderSampleGUID, 2, 0x87));
  EXPECT_THAT(Keywords(), ElementsAre(0x80, 0x100));
  EXPECT_EQ(platform_.threads.created_count(), 2u);
}

TEST_F(CollectorsTest, AConsumerThatCantBeCreatedDropsTheEvent) {
  faults_.Fail("CreateThread", 1455);
  Deliver(EventOf(g_ProviderSampleGUID, 1));
  EXPECT_TRUE(Logged("EventRecordCallback call CheckAndCreateTargetConsumerThread failed(0x5AF).\r\n"));
  EXPECT_EQ(table_.dwConsumerCount, 0u);
}

TEST_F(CollectorsTest, AnEventThatCantBeDecodedIsDroppedAndItsConsumerExists) {
  WrapLogInit(LOG_DETAIL, nullptr);
  ScriptedEvent event = EventOf(g_ProviderSampleGUID, 1);
  event.id = 99;
  Deliver(event);
  EXPECT_TRUE(Logged("EventRecordCallback call ConvertEtwEventToRawEvent failed(0x1F).\r\n"));
  EXPECT_EQ(table_.dwConsumerCount, 1u);
}

/// Takes the consumers out of the list while an event is decoded, as no road of the module does.
class ForgetfulTdh : public testing::FakeTdh {
 public:
  ListEntry* forgotten = nullptr;
  std::uint32_t TdhGetEventInformation(const platform::EVENT_RECORD* event, platform::TRACE_EVENT_INFO* buffer,
                                       std::uint32_t* size) override {
    ExclusiveLock lock(g_ConsumerTable.TableLock);
    if (forgotten == nullptr) forgotten = RemoveHeadList(&g_ConsumerTable.ConsumerList);
    return FakeTdh::TdhGetEventInformation(event, buffer, size);
  }
};

TEST_F(CollectorsTest, AnEventWithoutAConsumerIsLoggedAndStaysAllocated) {
  WrapLogInit(LOG_DETAIL, nullptr);
  ForgetfulTdh tdh;
  tdh.AddManifestSchemas(g_ProviderSampleGUID);
  platform::Platform ports = platform::CurrentPlatform();
  ports.tdh = &tdh;
  const std::uint32_t leaks = g_intended_leaks;
  {
    const platform::ScopedPlatform in_force(&ports);
    Deliver(EventOf(g_ProviderSampleGUID, 1));
    platform_.time.Settle();
  }
  EXPECT_TRUE(Logged("EventRecordCallback call InsertRawEvent failed(0x490).\r\n"));
  EXPECT_EQ(g_intended_leaks, leaks + 1);
  lost_blocks_ = 1;
  ExclusiveLock lock(table_.TableLock);
  InsertTailList(&table_.ConsumerList, tdh.forgotten);
}

TEST_F(CollectorsTest, DroppedEventsAreSilentUnderTheModulesMask) {
  WrapLogInit(LOG_ERROR | LOG_INFO, nullptr);
  platform_.system.ClearDebug();
  Deliver(EventOf(GUID_WARDLET_TOOL, 1));
  faults_.Fail("CreateThread", 1455);
  Deliver(EventOf(g_ProviderSampleGUID, 1));
  faults_.Fail("HeapAlloc", 8);  // the consumer's record
  Deliver(EventOf(g_ProviderSampleGUID, 1));
  EXPECT_EQ(faults_.failures(), 2u);
  EXPECT_TRUE(platform_.system.DebugLines().empty());
}

// The buffer callback.

TEST_F(CollectorsTest, ReadingGoesOnUntilAStopIsAskedFor) {
  platform::EVENT_TRACE_LOGFILEW buffer{};
  EXPECT_EQ(TraceBufferCallback(&buffer), 1u);
  EXPECT_EQ(TraceBufferCallback(nullptr), 1u);
  table_.bStopRequested = 1;
  EXPECT_EQ(TraceBufferCallback(&buffer), 0u);
}

// The live collector.

TEST_F(CollectorsTest, TheLiveCollectorNeedsItsTable) {
  WrapLogInit(LOG_ERROR, nullptr);
  EXPECT_EQ(RealTimeEventCollectThread(nullptr), 31u);
  EXPECT_TRUE(Logged("RealTimeEventCollectThread func check lpParam is zero\r\n"));
}

TEST_F(CollectorsTest, TheLiveCollectorReadsTheSessionUntilItsTraceIsClosed) {
  platform_.trace.AddSession(kSession, u"");
  const platform::HANDLE thread = platform_.threads.CreateThread(RealTimeEventCollectThread, &table_);
  platform_.time.Settle();
  EXPECT_EQ(platform_.threads.WaitForSingleObject(table_.hRealTimeOpenedEvent, 0), 0u);
  EXPECT_NE(table_.hRealTimeTrace, 0u);
  platform_.trace.PushLive(EventOf(g_ProviderSampleGUID, 1));
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 1; }));
  platform_.trace.CloseTrace(table_.hRealTimeTrace);
  EXPECT_EQ(platform_.threads.WaitForSingleObject(thread, 5000), 0u);
  std::uint32_t code = 99;
  platform_.threads.GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, 0u);
  platform_.system.CloseHandle(thread);
}

TEST_F(CollectorsTest, TheLiveTraceIsStoredBeforeTheEventThatLetsAStopCloseIt) {
  class Watched : public testing::FaultyThreads {
   public:
    using FaultyThreads::FaultyThreads;
    platform::TRACEHANDLE stored = 0;
    bool SetEvent(platform::HANDLE event) override {
      if (event == g_ConsumerTable.hRealTimeOpenedEvent.get()) stored = g_ConsumerTable.hRealTimeTrace;
      return FaultyThreads::SetEvent(event);
    }
  };
  Watched threads(&platform_.threads, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.threads = &threads;
  platform_.trace.AddSession(kSession, u"");
  faults_.FailForEver("ProcessTrace", 4201);
  {
    const platform::ScopedPlatform in_force(&ports);
    EXPECT_EQ(RealTimeEventCollectThread(&table_), 4201u);
  }
  EXPECT_NE(threads.stored, 0u);
  EXPECT_EQ(threads.stored, table_.hRealTimeTrace.get());
  platform_.trace.CloseTrace(threads.stored);
}

TEST_F(CollectorsTest, AStopThatIsAskedForEndsTheLiveReadingAtItsNextBuffer) {
  platform_.trace.AddSession(kSession, u"");
  const platform::HANDLE thread = platform_.threads.CreateThread(RealTimeEventCollectThread, &table_);
  platform_.time.Settle();
  platform_.trace.PushLive(EventOf(g_ProviderSampleGUID, 1));
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 1; }));
  table_.bStopRequested = 1;
  platform_.trace.PushLive(EventOf(g_ProviderSampleGUID, 2));
  EXPECT_EQ(platform_.threads.WaitForSingleObject(thread, 5000), platform::kWaitObject0);
  std::uint32_t code = 99;
  platform_.threads.GetExitCodeThread(thread, &code);
  EXPECT_EQ(code, 1223u) << "what ProcessTrace answers to that";
  platform_.trace.CloseTrace(table_.hRealTimeTrace);
  platform_.system.CloseHandle(thread);
}

TEST_F(CollectorsTest, WithoutASessionTheOpenedEventIsStillSetAndTheReadingsErrorIsTheResult) {
  faults_.FailForEver("ProcessTrace", 4201);
  EXPECT_EQ(RealTimeEventCollectThread(&table_), 4201u);
  EXPECT_EQ(table_.hRealTimeTrace, platform::kInvalidProcessTraceHandle);
  EXPECT_EQ(platform_.threads.WaitForSingleObject(table_.hRealTimeOpenedEvent, 0), 0u);
  EXPECT_TRUE(Logged("RealTimeEventCollectThread ProcessTrace failed(0x1069)\r\n"));
}

TEST_F(CollectorsTest, WithoutASessionTheLiveCollectorTellsOneError) {
  faults_.FailForEver("ProcessTrace", 4201);
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.system.ClearDebug();
  EXPECT_EQ(RealTimeEventCollectThread(&table_), 4201u);
  EXPECT_EQ(platform_.system.DebugLines().size(), 1u);
}

// Left-over files.

TEST_F(CollectorsTest, AFileOfTheModuleIsReadToItsEndAndClosed) {
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1), EventOf(g_ProviderSampleGUID, 2)});
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 2; }));
  EXPECT_EQ(platform_.trace.open_traces(), 0u);
}

TEST_F(CollectorsTest, AFileThatIsNotTheModulesIsNeitherOpenedNorRead) {
  platform_.AddTraceFile(kForeignFile, {EventOf(g_ProviderSampleGUID, 1)});
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1)});
  EXPECT_EQ(CheckIsTargetSessionLogFile(kForeignFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), nullptr), 0u) << "a temporary file in the other walk";
  EXPECT_EQ(faults_.CountOf("OpenTraceW"), 0u);
}

TEST_F(CollectorsTest, AFileThatCantBeJudgedIsPassedOver) {
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1)});
  faults_.Fail({"GetSystemDirectoryW", 2, false, 5});  // for the model name; the first one forms the folder
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_EQ(faults_.failures(), 1u);
  EXPECT_EQ(faults_.CountOf("OpenTraceW"), 0u);
}

TEST_F(CollectorsTest, AFailureWithAFileIsNoErrorButAPieceOfInformation) {
  WrapLogInit(LOG_INFO, nullptr);
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1)});
  platform_.system.ClearDebug();
  faults_.Fail("ProcessTrace", 11);
  CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1));
  faults_.Fail("OpenTraceW", 32);
  CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1));
  EXPECT_EQ(platform_.system.DebugLines().size(), 2u);
}

TEST_F(CollectorsTest, AFileThatCantBeOpenedIsLoggedAndDoesNotStopTheWalk) {
  faults_.Fail("OpenTraceW", 32);
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_TRUE(Logged("CheckIsTargetSessionLogFile func call OpenTrace with file failed(0x20).\r\n"));
  EXPECT_EQ(faults_.CountOf("ProcessTrace"), 0u);
  EXPECT_EQ(faults_.CountOf("CloseTrace"), 0u);
}

TEST_F(CollectorsTest, AFileThatCantBeReadIsLoggedClosedAndDoesNotStopTheWalk) {
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1)});
  faults_.Fail("ProcessTrace", 11);
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_TRUE(Logged("CheckIsTargetSessionLogFile func call ProcessTrace failed(0xb).\r\n"));
  EXPECT_EQ(platform_.trace.open_traces(), 0u);
}

TEST_F(CollectorsTest, ATraceOfHandle0IsReadAndNotClosed) {
  class Watched : public testing::FaultyTrace {
   public:
    using FaultyTrace::FaultyTrace;
    platform::TRACEHANDLE OpenTraceW(platform::EVENT_TRACE_LOGFILEW* /*logfile*/) override { return 0; }
  };
  Watched trace(&platform_.trace, &faults_);
  platform::Platform ports = platform::CurrentPlatform();
  ports.trace = &trace;
  const platform::ScopedPlatform in_force(&ports);
  EXPECT_EQ(CheckIsTargetSessionLogFile(kTempFile.c_str(), reinterpret_cast<void*>(1)), 0u);
  EXPECT_EQ(faults_.CountOf("ProcessTrace"), 1u);
  EXPECT_EQ(faults_.CountOf("CloseTrace"), 0u);
}

TEST_F(CollectorsTest, TheLeakCollectorNeedsItsTable) {
  WrapLogInit(LOG_ERROR, nullptr);
  EXPECT_EQ(LeakEventCollectThread(nullptr), 87u);
  EXPECT_TRUE(Logged("LeakEventCollectThread func check lpParam is zero\r\n"));
}

TEST_F(CollectorsTest, AnEmptyFolderWithTheAutoLoggersSessionGives0) {
  RunAutoSession();
  EXPECT_EQ(LeakEventCollectThread(&table_), 0u);
}

TEST_F(CollectorsTest, TemporaryFilesAreReadFirstThenTheAutoLoggersAndThenBothAreDeleted) {
  RunAutoSession();
  platform_.AddTraceFile(kAutoFile, {EventOf(g_ProviderSampleGUID, 3)});
  platform_.AddTraceFile(kTempFile, {EventOf(g_ProviderSampleGUID, 1)});
  platform_.AddTraceFile(kOtherTempFile, {EventOf(g_ProviderSampleGUID, 2)});
  platform_.AddTraceFile(kForeignFile, {EventOf(g_ProviderSampleGUID, 9)});
  EXPECT_EQ(LeakEventCollectThread(&table_), 0u);
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 3; }));
  EXPECT_EQ(platform_.time.now_ms(), 0u) << "in the order of their counters, so nothing had to wait";
  EXPECT_FALSE(platform_.files.Exists(kTempFile));
  EXPECT_FALSE(platform_.files.Exists(kOtherTempFile));
  EXPECT_FALSE(platform_.files.Exists(kAutoFile));
  EXPECT_TRUE(platform_.files.Exists(kRunningAutoFile));
  EXPECT_TRUE(platform_.files.Exists(kForeignFile));
  EXPECT_EQ(platform_.trace.ReadsOf(kForeignFile), 0u);
}

TEST_F(CollectorsTest, OnATemporarySessionTheResultIs31ThoughNothingWentWrong) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.trace.AddSession(kSession, kOtherTempFile);
  platform_.AddTraceFile(kTempFile, {});
  platform_.AddTraceFile(kOtherTempFile, {});
  EXPECT_EQ(LeakEventCollectThread(&table_), 31u);
  EXPECT_TRUE(Logged("LeakEventCollectThread func call DeleteAllAutoSessionLogFiles failed(0x1f)\r\n"));
  EXPECT_FALSE(platform_.files.Exists(kTempFile));
  EXPECT_TRUE(platform_.files.Exists(kOtherTempFile));
}

TEST_F(CollectorsTest, AFailedFirstWalkReadsNoAutoLoggerFileAndDeletesNothing) {
  WrapLogInit(LOG_ERROR, nullptr);
  RunAutoSession();
  platform_.AddTraceFile(kTempFile, {});
  platform_.AddTraceFile(kAutoFile, {});
  faults_.Fail("FindFirstFileW", 5);
  EXPECT_EQ(LeakEventCollectThread(&table_), 5u);
  EXPECT_TRUE(
      Logged("LeakEventCollectThread func call EnumTargetDirFile with  CheckTempSessionLogFile failed(0x5)\r\n"));
  EXPECT_EQ(platform_.trace.ReadsOf(kAutoFile), 0u);
  EXPECT_TRUE(platform_.files.Exists(kTempFile));
  EXPECT_TRUE(platform_.files.Exists(kAutoFile));
}

TEST_F(CollectorsTest, AFailedSecondWalkDeletesNothing) {
  WrapLogInit(LOG_ERROR, nullptr);
  RunAutoSession();
  platform_.AddTraceFile(kTempFile, {});
  faults_.Fail({"FindFirstFileW", 2, false, 5});
  EXPECT_EQ(LeakEventCollectThread(&table_), 5u);
  EXPECT_TRUE(
      Logged("LeakEventCollectThread func call EnumTargetDirFile with  CheckAutoSessionLogFile failed(0x5)\r\n"));
  EXPECT_EQ(platform_.trace.ReadsOf(kTempFile), 1u);
  EXPECT_TRUE(platform_.files.Exists(kTempFile));
}

TEST_F(CollectorsTest, AFailedDeletionOfTemporaryFilesEndsTheThread) {
  WrapLogInit(LOG_ERROR, nullptr);
  platform_.trace.AddSession(kSession, kTempFile);
  platform_.AddTraceFile(kAutoFile, {});
  // Asked for by the thread, once for the file in each walk, for the running session's file, and for its model name.
  faults_.Fail({"GetSystemDirectoryW", 5, false, 5});
  EXPECT_EQ(LeakEventCollectThread(&table_), 5u);
  EXPECT_TRUE(Logged("LeakEventCollectThread func call DeleteAllTempSessionLogFiles failed(0x5)\r\n"));
  EXPECT_TRUE(platform_.files.Exists(kAutoFile));
}

TEST_F(CollectorsTest, AStopDuringAFileEndsItsReadingAtTheNextBufferAndItIsDeletedAllTheSame) {
  RunAutoSession();
  std::vector<ScriptedEvent> events;
  for (std::uint32_t i = 1; i <= 10; ++i) events.push_back(EventOf(g_ProviderSampleGUID, i));
  platform_.AddTraceFile(kTempFile, events, /*events_in_buffer=*/2);
  platform_.AddTraceFile(kOtherTempFile, events, /*events_in_buffer=*/2);
  table_.bStopRequested = 1;
  EXPECT_EQ(LeakEventCollectThread(&table_), 0u);
  EXPECT_EQ(platform_.trace.ReadsOf(kOtherTempFile), 1u) << "the walk goes on, each read ending at once";
  EXPECT_FALSE(platform_.files.Exists(kTempFile)) << "the other eight events are lost";
  table_.bStopRequested = 0;
  EXPECT_TRUE(platform_.time.RunUntil([&] { return texts_ == 2; }));
  platform_.time.Settle();
  EXPECT_EQ(texts_, 2u);
}

TEST_F(CollectorsTest, TheFolderStandsOnTheSystemDrive) {
  platform_.system.system_directory = u"D:\\Windows\\System32";
  EXPECT_NE(LeakEventCollectThread(&table_), 0u);
  EXPECT_TRUE(Logged("EnumTargetDirFile with  CheckTempSessionLogFile failed(0x3)"));
}

}  // namespace
}  // namespace varnel
