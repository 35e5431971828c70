#include "tests/support/trace_port_fixture.h"

#include <cstdio>
#include <cstdlib>

namespace varnel::testing {
namespace {

using platform::EVENT_RECORD;
using platform::EVENT_TRACE_LOGFILEW;
using platform::TRACEHANDLE;

/// Where a text offset of a block begins.
constexpr std::uint32_t kNameOffset = sizeof(platform::EVENT_TRACE_PROPERTIES);
constexpr std::uint32_t kFileOffset = 2048;

void OnEvent(EVENT_RECORD* record) {
  auto* received = static_cast<Received*>(record->UserContext);
  if (!(record->EventHeader.ProviderId == kTestProvider)) return;
  ReadEvent event;
  event.provider = record->EventHeader.ProviderId;
  event.id = record->EventHeader.EventDescriptor.Id;
  event.keyword = record->EventHeader.EventDescriptor.Keyword;
  event.process = record->EventHeader.ProcessId;
  event.thread = record->EventHeader.ThreadId;
  event.file_time = record->EventHeader.TimeStamp;
  const auto* data = static_cast<const std::byte*>(record->UserData);
  event.payload.assign(data, data + record->UserDataLength);
  {
    const std::lock_guard lock(received->mutex);
    received->events.push_back(std::move(event));
  }
  received->count.fetch_add(1);
  if (received->on_event) received->on_event();
}

std::uint32_t OnBuffer(EVENT_TRACE_LOGFILEW* logfile) {
  auto* received = static_cast<Received*>(logfile->Context);
  received->buffers.store(logfile->BuffersRead);
  received->lost.store(logfile->EventsLost);
  return received->refuse.load() ? 0 : 1;
}

std::uint32_t ResolveForTests(const std::string& root, std::u16string_view path, std::string* host) {
  if (path.size() < 4 || path[1] != u':' || path[2] != u'\\') return platform::kErrorBadPathname;
  if (path[0] != u'C' && path[0] != u'c') return platform::kErrorPathNotFound;
  *host = root + "/C";
  host->push_back('/');
  for (const char16_t unit : path.substr(3)) host->push_back(unit == u'\\' ? '/' : static_cast<char>(unit));
  return 0;
}

}  // namespace

TracePort::TracePort() {
  trace_ = std::make_unique<embedded::EmbeddedTrace>(options());
  varnel_guid guid;
  std::memcpy(&guid, &kTestProvider, sizeof guid);
  if (varnel_register(machine_.root().c_str(), &guid, &provider_) != 0) {
    std::fprintf(stderr, "trace port fixture: the provider could not be registered\n");
    std::abort();
  }
}

TracePort::~TracePort() {
  varnel_unregister(provider_);
  machine_.Store().StopAll();
}

embedded::TraceOptions TracePort::options() const {
  embedded::TraceOptions options;
  options.machine = embedded::Machine::Open(machine_.root()).value();
  options.resolve = [root = machine_.root()](std::u16string_view path, embedded::PathUse, std::string* host) {
    return ResolveForTests(root, path, host);
  };
  return options;
}

Block TracePort::SessionBlock(const std::u16string& name) {
  Block block;
  block->BufferSize = 4;
  block->MinimumBuffers = 2;
  block->MaximumBuffers = 8;
  block->LogFileMode = platform::kEventTraceFileModeSequential | platform::kEventTraceRealTimeMode |
                       platform::kEventTraceNoPerProcessorBuffering;
  block->FlushTimer = 1;
  block->Wnode.Flags = platform::kWnodeFlagTracedGuid;
  block->Wnode.ClientContext = 1;
  block->LoggerNameOffset = kNameOffset;
  block->LogFileNameOffset = kFileOffset;
  block.PutText(kNameOffset, name);
  block.PutText(kFileOffset, u"C:\\" + name + u".etl");
  return block;
}

TRACEHANDLE TracePort::StartSession(const std::u16string& name, Block block) {
  TRACEHANDLE handle = 0;
  const std::uint32_t started = trace_->StartTraceW(&handle, name.c_str(), block.get());
  const std::uint32_t enabled = trace_->EnableTraceEx2(
      handle, &kTestProvider, platform::kEventControlCodeEnableProvider, 5, ~std::uint64_t{0}, 0, 0, nullptr);
  if (started != 0 || enabled != 0) {
    std::fprintf(stderr, "trace port fixture: session not started: %u %u\n", started, enabled);
    std::abort();
  }
  return handle;
}

TRACEHANDLE TracePort::OpenFile(const std::u16string& path, Received* received, std::uint32_t mode) {
  EVENT_TRACE_LOGFILEW logfile = {};
  logfile.LogFileName = path.c_str();
  logfile.ProcessTraceMode = platform::kProcessTraceModeEventRecord | mode;
  logfile.EventRecordCallback = OnEvent;
  logfile.BufferCallback = OnBuffer;
  logfile.Context = received;
  return trace_->OpenTraceW(&logfile);
}

TRACEHANDLE TracePort::OpenLive(const std::u16string& name, Received* received) {
  EVENT_TRACE_LOGFILEW logfile = {};
  logfile.LoggerName = name.c_str();
  logfile.ProcessTraceMode = platform::kProcessTraceModeEventRecord | platform::kProcessTraceModeRealTime;
  logfile.EventRecordCallback = OnEvent;
  logfile.BufferCallback = OnBuffer;
  logfile.Context = received;
  return trace_->OpenTraceW(&logfile);
}

std::uint32_t TracePort::ReadWholeFile(const std::u16string& path, Received* received) {
  const TRACEHANDLE handle = OpenFile(path, received);
  if (handle == platform::kInvalidProcessTraceHandle) return ~std::uint32_t{0};
  const std::uint32_t result = Process(handle);
  trace_->CloseTrace(handle);
  return result;
}

}  // namespace varnel::testing
