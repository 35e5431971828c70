#include "tests/scenario/kill_machine.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cstring>
#include <filesystem>
#include <thread>

#include "formats/etl_buffer.h"
#include "formats/etl_log_header.h"
#include "platform/embedded/core/machine.h"
#include "platform/embedded/trace/machine_sessions.h"

namespace varnel::scenario {
namespace {

using host::ChildProcess;
using std::chrono::milliseconds;

// What a run that reads the whole file again needs, many times over; what is not used stays a hole in the file.
constexpr std::size_t kOrderRecords = std::size_t{1} << 19;
constexpr int kKilled = 128 + SIGKILL;
constexpr std::uint64_t kKindBits = 7;  // of a keyword; the rest names the module

/// Notes the events of a trace file of one stream, buffer by buffer. @return false when it can't be read through.
bool NoteEvents(const std::string& file, std::vector<WrittenConsumer>* consumers) {
  const std::string text = ReadAll(file);
  const auto bytes = std::as_bytes(std::span(text));
  formats::EtlLogHeader header;
  if (!formats::ParseEtlLogHeader(bytes, &header)) return false;
  for (std::size_t place = header.buffer_size; place < bytes.size(); place += header.buffer_size) {
    formats::EtlBufferInfo info;
    if (!formats::ParseEtlBufferHeader(bytes.subspan(place), &info)) return false;
    formats::EtlBufferCursor cursor(bytes.subspan(place, header.buffer_size), info, header.Clock());
    formats::EtlEventView view;
    while (cursor.Next(&view)) {
      std::uint32_t counter = 0;
      if (view.payload.size() < sizeof counter) return false;
      std::memcpy(&counter, view.payload.data(), sizeof counter);
      for (WrittenConsumer& consumer : *consumers) {
        if (consumer.provider != view.provider || consumer.keyword != (view.keyword & ~kKindBits)) continue;
        EXPECT_EQ(counter, consumer.events.size() + 1) << consumer.name;
        consumer.events.push_back(
            {static_cast<std::uint64_t>(view.file_time), static_cast<std::uint64_t>(info.sequence)});
      }
    }
    if (cursor.account().damaged || cursor.account().skipped_bytes != 0) return false;
  }
  return true;
}

}  // namespace

KillMachine::KillMachine(const KillPlan& plan) : plan_(plan), random_(plan.seed) {
  evidence_.consumers = EventSource::Consumers();
}

KillEvidence KillMachine::Play() {
  Prepare();
  for (int i = 0; i < plan_.kills; ++i) RunAndKill(i);
  RunUntilIdle();
  ReadWritten();
  return std::move(evidence_);
}

void KillMachine::Prepare() {
  if (plan_.auto_logger) {
    machine_.Do({"install"});
    machine_.Do({"machine", "boot"});
  }
  source_ = std::make_unique<EventSource>(machine_.root(), plan_.seed);
}

ChildProcess KillMachine::StartRun() {
  EXPECT_TRUE(MakeTraceLog(TraceFile()));
  EXPECT_TRUE(testing::MakeOrderRecordFile(OrderFile(), kOrderRecords));
  auto child = ChildProcess::Start(
      {"/usr/bin/env", std::string("VARNEL_MODULE=") + VARNEL_RECORDED_MODULE,
       std::string(kTraceLogVariable) + "=" + TraceFile(), "VARNEL_ORDER_RECORD=" + OrderFile(), VARNEL_WARDLET, "run",
       "-q", "--flags", "0", "--idle-exit", "3", "-o", TextFile(), "--machine", machine_.root()},
      ChildProcess::Output::kInherited);
  if (!child.ok()) ADD_FAILURE() << child.error().message;
  return std::move(child).value();
}

void KillMachine::RunAndKill(int index) {
  ChildProcess run = StartRun();
  if (index == 0) {
    // The events count from where every provider is enabled, and the first run may have to start the session.
    EXPECT_TRUE(WaitUntil([this] { return source_->AllEnabled(); }));
    source_->Start();
  }
  std::uniform_int_distribution<std::int64_t> life(plan_.shortest.count(), plan_.longest.count());
  std::this_thread::sleep_for(milliseconds(life(random_)));
  run.Signal(SIGKILL);
  EXPECT_EQ(run.Wait(), kKilled) << "run " << index + 1 << " ended by itself";
  Gather(true);
}

void KillMachine::RunUntilIdle() {
  ChildProcess run = StartRun();
  std::this_thread::sleep_for(plan_.shortest);
  source_->Stop();
  EXPECT_EQ(run.Wait(), 0);
  Gather(false);
}

void KillMachine::Gather(bool killed) {
  RunEvidence run;
  run.killed = killed;
  bool complete = false;
  run.traces = ReadTraceLog(TraceFile(), &complete);
  EXPECT_TRUE(complete) << "the trace log of run " << evidence_.runs.size() + 1;
  run.order = testing::ReadOrderRecords(OrderFile());
  EXPECT_LT(run.order.size(), kOrderRecords) << "the record of run " << evidence_.runs.size() + 1 << " is full";
  ReadTexts(&run);
  evidence_.runs.push_back(std::move(run));
}

void KillMachine::ReadTexts(RunEvidence* run) {
  run->texts.resize(evidence_.consumers.size());
  const std::string all = ReadAll(TextFile());
  // A line that a kill cut is ended by the next run; it is no text, and an empty rest of it none either.
  for (std::size_t begin = texts_read_, end = 0; (end = all.find('\n', begin)) != std::string::npos; begin = end + 1) {
    if (end == begin) continue;
    std::size_t consumer = 0;
    std::uint32_t number = 0;
    const std::string line = all.substr(begin, end - begin);
    // A boot's first complete start also tells that there was no crash.
    if (line.find("\"Function\":\"AnalyzeBSODEvents\"") != std::string::npos) continue;
    if (ParseSourceText(line, &consumer, &number) && consumer < run->texts.size()) {
      run->texts[consumer].push_back(number);
    } else {
      ADD_FAILURE() << "no text of an event: " << line;
    }
  }
  texts_read_ = all.size();
}

void KillMachine::ReadWritten() {
  const auto machine = embedded::Machine::Open(machine_.root());
  ASSERT_TRUE(machine.ok());
  const auto sessions = embedded::ListSessions(*machine.value());
  ASSERT_EQ(sessions.size(), 1u) << "the one session has run all the time";
  EXPECT_EQ(sessions[0].events_lost, 0u);
  EXPECT_EQ(sessions[0].buffers_lost, 0u);
  embedded::EndAllSessions(*machine.value());
  EXPECT_EQ(source_->refused(), 0u);
  const auto files = machine_.TraceFiles();
  ASSERT_EQ(files.size(), 1u);
  EXPECT_TRUE(NoteEvents(machine_.LogFolder() + "/" + files[0], &evidence_.consumers));
  for (std::size_t c = 0; c < evidence_.consumers.size(); ++c) {
    EXPECT_EQ(evidence_.consumers[c].events.size(), source_->written()[c]) << evidence_.consumers[c].name;
  }
}

}  // namespace varnel::scenario
