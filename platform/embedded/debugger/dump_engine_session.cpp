// Selecting a dump, bringing it up, and ending.
#include "formats/text_encoding.h"
#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/threads/thread_object.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

constexpr std::uint32_t kEndReentrant = 3;  // the last of the ways to end; for a dump they are all one

HRESULT Load(std::shared_ptr<const formats::DumpSource> source, std::unique_ptr<DebugTarget>* target) noexcept {
  try {
    formats::OpenedDump opened = formats::KernelDump::Open(std::move(source));
    if (!opened.ok()) return results::OfDump(opened.problem);
    *target = std::make_unique<DebugTarget>(std::move(opened.dump));
    return results::kOk;
  } catch (...) {
    return results::kOutOfMemory;
  }
}

}  // namespace

HRESULT DumpEngine::LeaveIfEnded(HRESULT result) {
  if (ThreadObject::CurrentWasEnded()) ThreadObject::Leave();
  return result;
}

HRESULT DumpEngine::OpenDumpFile(const char* name) {
  return LeaveIfEnded(SelectNarrow(name));
}

HRESULT DumpEngine::OpenDumpFileWide(const char16_t* name, std::uint64_t handle) {
  // The platform's handle of an open file means nothing here without its name.
  return LeaveIfEnded(handle != 0 ? results::kInvalidArgument : Select(name));
}

HRESULT DumpEngine::EndSession(std::uint32_t flags) {
  return LeaveIfEnded(End(flags));
}

HRESULT DumpEngine::WaitForEvent(std::uint32_t flags, std::uint32_t) {
  return LeaveIfEnded(BringUp(flags));
}

HRESULT DumpEngine::SelectNarrow(const char* name) noexcept {
  if (name == nullptr) return results::kInvalidArgument;
  try {
    return Select(formats::Utf8ToUtf16(name).c_str());
  } catch (...) {
    return results::kOutOfMemory;
  }
}

HRESULT DumpEngine::Select(const char16_t* name) noexcept {
  if (name == nullptr) return results::kInvalidArgument;
  std::shared_ptr<const formats::DumpSource> source;
  if (const HRESULT opened = opener_(name, &source); opened != results::kOk) return opened;
  if (source == nullptr) return results::kFail;
  std::unique_ptr<DebugTarget> previous;  // ends behind the lock, and before its source
  const std::lock_guard lock(mutex_);
  if (state_ == State::kLoading) return results::kUnexpected;
  previous = std::move(target_);
  source_.swap(source);
  ++selection_;
  state_ = State::kSelected;
  return results::kOk;
}

HRESULT DumpEngine::End(std::uint32_t flags) noexcept {
  if (flags > kEndReentrant) return results::kInvalidArgument;
  std::shared_ptr<const formats::DumpSource> source;  // both end behind the lock
  std::unique_ptr<DebugTarget> target;
  const std::lock_guard lock(mutex_);
  if (state_ == State::kNoTarget) return results::kUnexpected;
  source = std::move(source_);
  target = std::move(target_);
  ++selection_;
  state_ = State::kNoTarget;
  return results::kOk;
}

HRESULT DumpEngine::BringUp(std::uint32_t flags) noexcept {
  if (flags != 0) return results::kInvalidArgument;
  AddRef();  // whoever made the instance may let go of it while this thread is in here
  std::shared_ptr<const formats::DumpSource> source;
  std::unique_ptr<DebugTarget> target;
  std::uint64_t selection = 0;
  HRESULT result = BeginLoading(&selection, &source);
  if (result == results::kOk) {
    result = Load(std::move(source), &target);
    result = FinishLoading(selection, result, &target);
  }
  target.reset();
  Release();
  return result;
}

HRESULT DumpEngine::BeginLoading(std::uint64_t* selection, std::shared_ptr<const formats::DumpSource>* source) {
  const std::lock_guard lock(mutex_);
  if (state_ == State::kLoading) return results::kFail;  // another thread waits already
  if (state_ != State::kSelected) return results::kUnexpected;
  state_ = State::kLoading;
  *selection = selection_;
  *source = source_;
  return results::kOk;
}

HRESULT DumpEngine::FinishLoading(std::uint64_t selection, HRESULT loaded, std::unique_ptr<DebugTarget>* target) {
  const std::lock_guard lock(mutex_);
  if (selection != selection_) return results::kUnexpected;  // the session was ended meanwhile
  // Whether or not this thread was ended meanwhile: who gives up waiting for a dump may still want to ask of it.
  state_ = loaded == results::kOk ? State::kUp : State::kSelected;
  if (loaded == results::kOk) target_ = std::move(*target);
  return loaded;
}

}  // namespace varnel::embedded
