// A trace port on a fresh machine, with a provider to write events and the calls that a user of the port makes.
#pragma once

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "platform/embedded/trace/embedded_trace.h"
#include "provider/varnel_provider.h"
#include "tests/support/trace_fixture.h"

namespace varnel::testing {

inline constexpr std::uint64_t kTestModule = 0x80;

/// A properties block with room for two texts.
class Block {
 public:
  explicit Block(std::size_t size = 4096) : bytes_(size) { get()->Wnode.BufferSize = static_cast<std::uint32_t>(size); }
  platform::EVENT_TRACE_PROPERTIES* get() { return reinterpret_cast<platform::EVENT_TRACE_PROPERTIES*>(bytes_.data()); }
  platform::EVENT_TRACE_PROPERTIES* operator->() { return get(); }
  void PutText(std::uint32_t offset, const std::u16string& text) {
    std::memcpy(bytes_.data() + offset, text.c_str(), (text.size() + 1) * sizeof(char16_t));
  }
  std::u16string Text(std::uint32_t offset) const {
    return std::u16string(reinterpret_cast<const char16_t*>(bytes_.data() + offset));
  }

 private:
  std::vector<std::byte> bytes_;
};

/// What a consumer received, in order.
struct Received {
  std::mutex mutex;
  std::vector<ReadEvent> events;  // guarded by mutex; events of the test provider
  std::atomic<std::uint32_t> count{0};
  std::atomic<std::uint32_t> buffers{0};
  std::atomic<std::uint32_t> lost{0};
  std::atomic<bool> refuse{false};
  std::function<void()> on_event;  // called outside the lock; set before reading begins
};

class TracePort {
 public:
  TracePort();
  ~TracePort();
  TracePort(const TracePort&) = delete;
  TracePort& operator=(const TracePort&) = delete;

  TraceMachine& machine() { return machine_; }
  embedded::EmbeddedTrace& trace() { return *trace_; }
  embedded::TraceOptions options() const;

  /// A block for a session "name" that writes C:\name.etl: 4 KiB buffers, 8 of them, sequential and real time.
  static Block SessionBlock(const std::u16string& name);
  /// Starts it and enables the test provider; the handle.
  platform::TRACEHANDLE StartSession(const std::u16string& name, Block block);
  platform::TRACEHANDLE StartSession(const std::u16string& name) { return StartSession(name, SessionBlock(name)); }
  std::uint32_t Stop(platform::TRACEHANDLE handle) {
    return trace_->ControlTraceW(handle, nullptr, nullptr, platform::kEventTraceControlStop);
  }
  std::uint32_t Flush(platform::TRACEHANDLE handle) {
    return trace_->ControlTraceW(handle, nullptr, nullptr, platform::kEventTraceControlFlush);
  }

  /// Writes one event of the test provider whose line is `line`.
  int Write(std::uint32_t line, const char* text = "text") {
    return varnel_transfer_msg_ansi(provider_, kTestModule, 8, "F", line, 0, text);
  }
  varnel_registration* provider() { return provider_; }

  platform::TRACEHANDLE OpenFile(const std::u16string& path, Received* received, std::uint32_t mode = 0);
  platform::TRACEHANDLE OpenLive(const std::u16string& name, Received* received);
  std::uint32_t Process(platform::TRACEHANDLE handle) { return trace_->ProcessTrace(&handle, 1, nullptr, nullptr); }
  /// Opens, processes and closes a file.
  std::uint32_t ReadWholeFile(const std::u16string& path, Received* received);

  /// The line of an event that Write has written.
  static std::uint32_t LineOf(const ReadEvent& event) { return event.U32(10); }

 private:
  TraceMachine machine_;
  std::unique_ptr<embedded::EmbeddedTrace> trace_;
  varnel_registration* provider_ = nullptr;
};

}  // namespace varnel::testing
