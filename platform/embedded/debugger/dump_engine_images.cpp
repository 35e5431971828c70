// What the engine reads out of the images of a target's modules: names of functions, versions, and the stack.
#include <array>
#include <cstring>

#include "formats/text_encoding.h"
#include "platform/embedded/debugger/dump_engine.h"
#include "platform/embedded/debugger/give.h"
#include "platform/embedded/debugger/target_stack.h"

namespace varnel::embedded {
namespace {

using platform::HRESULT;

std::uint64_t Word(const formats::KernelDump& dump, std::uint64_t address) {
  std::array<std::byte, 8> bytes{};
  std::uint64_t word = 0;
  if (dump.ReadVirtual(address, bytes) == bytes.size()) std::memcpy(&word, bytes.data(), sizeof(word));
  return word;
}

/// The record places a frame by where a function would keep its caller's frame register: below the return address.
platform::DEBUG_STACK_FRAME RecordOf(const formats::KernelDump& dump, const formats::UnwoundFrame& frame,
                                     std::uint32_t number) {
  platform::DEBUG_STACK_FRAME record{};
  record.InstructionOffset = frame.instruction;
  record.ReturnOffset = frame.return_address;
  record.StackOffset = frame.stack;
  record.FrameNumber = number;
  record.Virtual = number != 0 ? 1 : 0;
  if (frame.return_slot == 0) return record;
  record.FrameOffset = frame.return_slot - 8;
  for (std::size_t i = 0; i < std::size(record.Params); ++i) {
    record.Params[i] = Word(dump, frame.return_slot + 8 + 8 * i);
  }
  return record;
}

/// Bytes as far as there is room; kCut when there is not enough.
HRESULT GiveBytes(std::span<const std::byte> bytes, void* buffer, std::uint32_t capacity, std::uint32_t* size) {
  Put(size, bytes.size());
  if (buffer == nullptr) return results::kOk;
  const std::size_t count = std::min<std::size_t>(bytes.size(), capacity);
  if (count != 0) std::memcpy(buffer, bytes.data(), count);
  return count < bytes.size() ? results::kCut : results::kOk;
}

}  // namespace

HRESULT DumpEngine::GetNameByOffset(std::uint64_t offset, char* name_buffer, std::uint32_t name_capacity,
                                    std::uint32_t* name_size, std::uint64_t* displacement) {
  return WithX64([&](DebugTarget* target) {
    const auto index = target->modules().FindAddress(offset, 0);
    if (!index) return results::kFail;
    const TargetModule& module = *target->modules().At(*index);
    const auto function = target->images().NameOf(module, offset);
    if (!function.found()) return results::kFail;
    Put(displacement, function.value().displacement);
    return GiveText<char>(module.name + '!' + function.value().name, name_buffer, name_capacity, name_size);
  });
}

HRESULT DumpEngine::GetModuleVersionInformation(std::uint32_t index, std::uint64_t base, const char* item, void* buffer,
                                                std::uint32_t buffer_size, std::uint32_t* ver_info_size) {
  return WithX64([&](DebugTarget* target) {
    if (item == nullptr) return results::kPointer;
    const TargetModule* const module = ModuleAt(target, index, base);
    if (module == nullptr) return results::kInvalidArgument;
    const auto found = target->images().VersionItem(*module, formats::Utf8ToUtf16(item));
    if (!found.found()) return results::kNotFound;
    if (!found.value().is_text) return GiveBytes(found.value().bytes, buffer, buffer_size, ver_info_size);
    const std::string text = formats::Utf16ToUtf8(found.value().text);
    return GiveText<char>(text, static_cast<char*>(buffer), buffer_size, ver_info_size);
  });
}

HRESULT DumpEngine::GetStackTrace(std::uint64_t frame_offset, std::uint64_t stack_offset,
                                  std::uint64_t instruction_offset, platform::DEBUG_STACK_FRAME* frames,
                                  std::uint32_t frames_size, std::uint32_t* frames_filled) {
  return WithX64([&](DebugTarget* target) {
    if (frames == nullptr || frames_size == 0) return results::kInvalidArgument;
    const formats::KernelDump& dump = target->dump();
    const auto walked =
        WalkStack(dump, target->modules(), {frame_offset, stack_offset, instruction_offset}, frames_size);
    if (walked.empty()) return results::kFail;
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(walked.size(), frames_size));
    for (std::uint32_t i = 0; i < count; ++i) frames[i] = RecordOf(dump, walked[i], i);
    Put(frames_filled, count);
    return results::kOk;
  });
}

}  // namespace varnel::embedded
