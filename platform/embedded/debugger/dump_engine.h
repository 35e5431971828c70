// DumpEngine is the debugger engine that stands behind "dbgeng.dll" on a machine: it opens crash dumps of x64 kernels
// and answers from the dump alone. There are no symbol files: what needs one fails. A dump of another machine comes up
// far enough to tell what it is.
//
// One object behind all interfaces, counted, on the heap. Any thread may call. One lock guards an instance; it is not
// held while the file is opened and while the target comes up. A thread that was ended (platform::Threads) leaves at
// the end of the engine's call in which it is, after the engine's own frames and locks are gone, and does not come back
// to its caller; a dump that it was bringing up comes up before it leaves, and is there for the others. Such a wait
// keeps the instance alive until it has left. A thread that was ended before its first instruction never comes to its
// wait: the dump stays selected, every call for a target fails, and another wait may bring it up.
//
// Results besides those told in platform/debugger: 0x8000FFFF without a target that is up, 0x80004005 for what the dump
// does not tell, 0x80004001 for what is no question to a target of that kind.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "platform/debugger/engine_stub.h"
#include "platform/embedded/debugger/debug_target.h"
#include "platform/embedded/debugger/results.h"

namespace varnel::embedded {

/// Opens the bytes of a dump by its path on the machine: 0 and the source, or a failure. Never throws. 0 without a
/// source counts as 0x80004005.
using DumpOpener =
    std::function<platform::HRESULT(const char16_t* path, std::shared_ptr<const formats::DumpSource>* source)>;

class DumpEngine final : public platform::DebugEngineStub {
 public:
  using HRESULT = platform::HRESULT;

  /// Made with one reference, by `new`.
  explicit DumpEngine(DumpOpener opener) : opener_(std::move(opener)) {}

  // IDebugClient
  /// A dump that was open makes way. The name is UTF-8.
  HRESULT OpenDumpFile(const char* name) override;
  HRESULT OpenDumpFileWide(const char16_t* name, std::uint64_t handle) override;
  HRESULT EndSession(std::uint32_t flags) override;

  // IDebugControl
  /// Brings the target up, however short the time-out: it reads a few kilobytes, whatever the size of the dump. A form
  /// of dump that is not read answers 0x80004001, a damaged one 0x80070570.
  HRESULT WaitForEvent(std::uint32_t flags, std::uint32_t timeout) override;
  HRESULT GetDebuggeeType(std::uint32_t* target_class, std::uint32_t* qualifier) override;
  HRESULT GetActualProcessorType(std::uint32_t* type) override;
  HRESULT GetNumberProcessors(std::uint32_t* number) override;
  HRESULT GetSystemVersion(std::uint32_t* platform_id, std::uint32_t* major, std::uint32_t* minor, char* service_pack,
                           std::uint32_t service_pack_size, std::uint32_t* service_pack_used,
                           std::uint32_t* service_pack_number, char* build, std::uint32_t build_size,
                           std::uint32_t* build_used) override;
  /// The code as the dump has it, with the bit that marks it in some small dumps.
  HRESULT ReadBugCheckData(std::uint32_t* code, std::uint64_t* arg1, std::uint64_t* arg2, std::uint64_t* arg3,
                           std::uint64_t* arg4) override;
  /// Walks by the unwind data of images whose pages are in the dump, and ends where it can't go on honestly.
  HRESULT GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset, std::uint64_t instruction_offset,
                        platform::DEBUG_STACK_FRAME* frames, std::uint32_t frames_size,
                        std::uint32_t* frames_filled) override;
  HRESULT GetCurrentTimeDate(std::uint32_t* time_date) override;
  HRESULT GetCurrentSystemUpTime(std::uint32_t* up_time) override;

  // IDebugSymbols
  HRESULT GetSymbolOptions(std::uint32_t* options) override;
  HRESULT AddSymbolOptions(std::uint32_t options) override;
  HRESULT RemoveSymbolOptions(std::uint32_t options) override;
  HRESULT SetSymbolOptions(std::uint32_t options) override;
  HRESULT GetSymbolPathWide(char16_t* buffer, std::uint32_t buffer_size, std::uint32_t* path_size) override;
  HRESULT SetSymbolPathWide(const char16_t* path) override;
  /// Names come from export tables in the dump, where the function is proved to be that export.
  HRESULT GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_capacity,
                          std::uint32_t* name_size, std::uint64_t* displacement) override;
  HRESULT GetNumberModules(std::uint32_t* loaded, std::uint32_t* unloaded) override;
  HRESULT GetModuleByIndex(std::uint32_t index, std::uint64_t* base) override;
  HRESULT GetModuleByModuleName(const char* name, std::uint32_t start, std::uint32_t* index,
                                std::uint64_t* base) override;
  HRESULT GetModuleByOffset(std::uint64_t offset, std::uint32_t start, std::uint32_t* index,
                            std::uint64_t* base) override;
  HRESULT GetModuleNames(std::uint32_t index, std::uint64_t base, char* image, std::uint32_t image_capacity,
                         std::uint32_t* image_size, char* module, std::uint32_t module_capacity,
                         std::uint32_t* module_size, char* loaded_image, std::uint32_t loaded_image_capacity,
                         std::uint32_t* loaded_image_size) override;
  /// From the version resource in the dump; texts are UTF-8. 0x80004002 where the dump does not have the item.
  HRESULT GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item, void* buffer,
                                      std::uint32_t buffer_size, std::uint32_t* ver_info_size) override;
  /// Symbols of a module are its exports (4), where those are in the dump, else there are none (0).
  HRESULT GetModuleParameters(std::uint32_t count, std::uint64_t* bases, std::uint32_t start,
                              platform::DEBUG_MODULE_PARAMETERS* params) override;
  HRESULT GetModuleNameString(std::uint32_t which, std::uint32_t index, std::uint64_t base, char* buffer,
                              std::uint32_t buffer_size, std::uint32_t* name_size) override;
  // What is known from symbol files only.
  HRESULT GetTypeId(std::uint64_t module, const char* name, std::uint32_t* type_id) override;
  HRESULT GetFieldOffset(std::uint64_t module, std::uint32_t type_id, const char* field,
                         std::uint32_t* offset) override;
  HRESULT GetTypeSize(std::uint64_t module, std::uint32_t type_id, std::uint32_t* size) override;
  HRESULT GetSymbolTypeId(const char* symbol, std::uint32_t* type_id, std::uint64_t* module) override;
  HRESULT GetOffsetByName(const char* symbol, std::uint64_t* offset) override;
  HRESULT GetLineByOffset(std::uint64_t offset, std::uint32_t* line, char* file, std::uint32_t file_capacity,
                          std::uint32_t* file_size, std::uint64_t* displacement) override;

  // IDebugDataSpaces
  HRESULT ReadVirtual(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                      std::uint32_t* bytes_read) override;
  HRESULT ReadVirtualUncached(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                              std::uint32_t* bytes_read) override;
  HRESULT ReadPhysical(std::uint64_t offset, void* buffer, std::uint32_t buffer_size,
                       std::uint32_t* bytes_read) override;
  HRESULT VirtualToPhysical(std::uint64_t address, std::uint64_t* physical) override;
  /// The one page that holds the address.
  HRESULT QueryVirtual(std::uint64_t offset, platform::MEMORY_BASIC_INFORMATION64* info) override;

  // IDebugSystemObjects: a thread for each processor, one process.
  /// The processor that crashed; 0 too where the dump does not tell which one that was, so that no other fact is lost.
  HRESULT GetCurrentThreadId(std::uint32_t* id) override;
  HRESULT GetCurrentProcessId(std::uint32_t* id) override;
  HRESULT GetNumberThreads(std::uint32_t* number) override;
  HRESULT GetNumberProcesses(std::uint32_t* number) override;
  HRESULT GetCurrentThreadDataOffset(std::uint64_t* offset) override;
  HRESULT GetCurrentProcessDataOffset(std::uint64_t* offset) override;

  // IDebugRegisters: of the processor that crashed.
  HRESULT GetNumberRegisters(std::uint32_t* number) override;
  HRESULT GetDescription(std::uint32_t index, char* name, std::uint32_t name_capacity, std::uint32_t* name_size,
                         platform::DEBUG_REGISTER_DESCRIPTION* description) override;
  HRESULT GetIndexByName(const char* name, std::uint32_t* index) override;
  HRESULT GetValue(std::uint32_t index, platform::DEBUG_VALUE* value) override;
  HRESULT GetInstructionOffset(std::uint64_t* offset) override;
  HRESULT GetStackOffset(std::uint64_t* offset) override;
  HRESULT GetFrameOffset(std::uint64_t* offset) override;

  // IDebugAdvanced
  /// 0x80070057 for any size but the record's 1232 bytes.
  HRESULT GetThreadContext(void* context, std::uint32_t context_size) override;

 private:
  enum class State : std::uint8_t { kNoTarget, kSelected, kLoading, kUp };

  ~DumpEngine() = default;
  void Destroy() override { delete this; }

  /// Runs one call's work under the lock. Its caller has nothing to destroy, since an ended thread leaves from here.
  template <typename Work>
  HRESULT Locked(Work&& work);
  /// The same with the target, if there is one that is up.
  template <typename Work>
  HRESULT WithTarget(Work&& work);
  /// The same for what only an x64's dump can answer.
  template <typename Work>
  HRESULT WithX64(Work&& work);
  static HRESULT LeaveIfEnded(HRESULT result);

  HRESULT Select(const char16_t* name) noexcept;
  HRESULT SelectNarrow(const char* name) noexcept;
  HRESULT BringUp(std::uint32_t flags) noexcept;
  HRESULT BeginLoading(std::uint64_t* selection, std::shared_ptr<const formats::DumpSource>* source);
  HRESULT FinishLoading(std::uint64_t selection, HRESULT loaded, std::unique_ptr<DebugTarget>* target);
  HRESULT End(std::uint32_t flags) noexcept;
  HRESULT ReadRegisterNamed(const char* name, std::uint64_t* value);
  /// By index, or by base when the index is kDebugAnyId. Null: no such module.
  static const TargetModule* ModuleAt(DebugTarget* target, std::uint32_t index, std::uint64_t base);
  static void Describe(DebugTarget* target, const TargetModule& module, platform::DEBUG_MODULE_PARAMETERS* parameters);

  const DumpOpener opener_;
  std::mutex mutex_;
  // All guarded by mutex_.
  State state_ = State::kNoTarget;
  std::uint64_t selection_ = 0;  // counts what was selected, so that a load knows its own
  std::shared_ptr<const formats::DumpSource> source_;
  std::unique_ptr<DebugTarget> target_;  // present when it is up
  std::uint32_t symbol_options_ = 0;
  std::u16string symbol_path_;
};

template <typename Work>
platform::HRESULT DumpEngine::Locked(Work&& work) {
  const auto guarded = [&]() noexcept {
    try {
      const std::lock_guard lock(mutex_);
      return work();
    } catch (...) {  // memory runs out; nothing else throws here
      return results::kOutOfMemory;
    }
  };
  return LeaveIfEnded(guarded());
}

template <typename Work>
platform::HRESULT DumpEngine::WithTarget(Work&& work) {
  return Locked([&]() -> HRESULT { return state_ == State::kUp ? work(target_.get()) : results::kUnexpected; });
}

template <typename Work>
platform::HRESULT DumpEngine::WithX64(Work&& work) {
  return WithTarget(
      [&](DebugTarget* target) -> HRESULT { return target->dump().IsX64() ? work(target) : results::kNotImplemented; });
}

}  // namespace varnel::embedded
