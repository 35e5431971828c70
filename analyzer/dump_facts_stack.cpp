// The call stack: a scan of raw stack memory without symbols, the engine's own with them.
#include <array>
#include <cstring>
#include <set>

#include "analyzer/debug_engine_session.h"
#include "analyzer/text_conversion.h"
#include "base/format.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint64_t kKernelSpace = 0xFFFF800000000000;
constexpr std::uint32_t kScannedBytes = 2048;
constexpr std::size_t kMostScannedFrames = 20;
constexpr std::uint32_t kMostSymbolFrames = 64;
constexpr std::uint32_t kSymbolNameSize = 512;

std::u16string PlusOffset(const std::u16string& name, std::uint64_t offset) {
  char16_t text[32] = {};
  FormatTo(text, 32, u"+0x%llX", offset);
  return name + text;
}

}  // namespace

bool DebugEngineSession::ReadStackPointer(std::uint64_t* pointer) {
  std::uint32_t index = 0;
  platform::DEBUG_VALUE value = {};
  if (Failed(registers->GetIndexByName("rsp", &index)) || Failed(registers->GetValue(index, &value))) return false;
  *pointer = value.I64;
  return true;
}

std::int32_t DebugEngineSession::ScanStackForCode(std::vector<StackFrameInfo>* frames) {
  if (registers == nullptr || dataSpaces == nullptr) return kHresultFail;
  std::uint64_t stackPointer = 0;
  if (!ReadStackPointer(&stackPointer)) return kHresultFail;
  std::array<std::uint64_t, kScannedBytes / 8> words = {};
  std::uint32_t bytesRead = 0;
  const std::int32_t read = dataSpaces->ReadVirtual(stackPointer, words.data(), kScannedBytes, &bytesRead);
  if (Failed(read)) return read;
  std::set<std::uint64_t> seen;
  for (std::uint32_t i = 0; i < bytesRead / 8 && i < words.size(); ++i) {
    const std::uint64_t value = words[i];
    if (value < kKernelSpace || seen.count(value) != 0) continue;
    std::u16string module;
    std::uint64_t offset = 0;
    if (Failed(GetModuleAndOffset(value, &module, &offset))) continue;
    frames->push_back(DescribeStackWord(value, stackPointer + std::uint64_t{i} * 8, module, offset));
    seen.insert(value);
    if (frames->size() >= kMostScannedFrames) break;
  }
  return kHresultOk;
}

StackFrameInfo DebugEngineSession::DescribeStackWord(std::uint64_t value, std::uint64_t at,
                                                     const std::u16string& module, std::uint64_t offset) {
  StackFrameInfo frame;
  frame.codeAddress = value;
  frame.stackAddress = at;
  frame.symbol = PlusOffset(module, offset);
  platform::MEMORY_BASIC_INFORMATION64 page = {};
  if (dataSpaces2 != nullptr && !Failed(dataSpaces2->QueryVirtual(value, &page))) frame.memoryProtect = page.Protect;
  frame.inModule = IsAddressInModule(value);
  return frame;
}

std::int32_t DebugEngineSession::GetSymbolStack(std::vector<StackFrameInfo>* frames) {
  if (control == nullptr || symbols == nullptr) return kHresultFail;
  frames->clear();
  std::array<platform::DEBUG_STACK_FRAME, kMostSymbolFrames> read = {};
  std::uint32_t filled = 0;
  const std::int32_t result = control->GetStackTrace(0, 0, 0, read.data(), kMostSymbolFrames, &filled);
  if (Failed(result)) {
    WrapLogPrint(LOG_ERROR, u"[Error] GetStackTrace failed: 0x%08X\n", Printed(result));
    return result;
  }
  for (std::uint32_t i = 0; i < filled && i < kMostSymbolFrames; ++i) {
    StackFrameInfo frame;
    frame.codeAddress = read[i].InstructionOffset;
    frame.stackAddress = read[i].StackOffset;
    frame.memoryProtect = 0;
    frame.inModule = 1;
    frame.symbol = SymbolTextOf(frame.codeAddress);
    frames->push_back(frame);
  }
  return kHresultOk;
}

std::u16string DebugEngineSession::SymbolTextOf(std::uint64_t address) {
  char name[kSymbolNameSize] = {};
  std::uint64_t displacement = 0;
  if (!Failed(symbols->GetNameByOffset(address, name, kSymbolNameSize, nullptr, &displacement)) && name[0] != 0) {
    name[kSymbolNameSize - 1] = 0;
    const std::u16string wide = WideFromNarrow(platform::kCpUtf8, name);
    return wide.empty() ? wide : PlusOffset(wide, displacement);
  }
  std::u16string module;
  std::uint64_t offset = 0;
  if (!Failed(GetModuleAndOffset(address, &module, &offset))) return PlusOffset(module, offset);
  char16_t text[32] = {};
  FormatTo(text, 32, u"0x%016llX", address);
  return text;
}

}  // namespace varnel
