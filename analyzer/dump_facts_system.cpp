// Facts of the crashed system: machine, version, times, bug check, registers, interrupt level.
#include "analyzer/debug_engine_session.h"
#include "analyzer/text_conversion.h"
#include "base/format.h"

namespace varnel {
namespace {

constexpr std::uint64_t kTicksPerSecond = 10'000'000;
constexpr std::uint64_t kFileTimeOf1970 = 0x19DB1DED53E8000;
constexpr std::uint64_t kIrqlMask = 15;

constexpr const char16_t* kRegisterNames[] = {u"rax", u"rbx", u"rcx", u"rdx", u"rsi", u"rdi", u"rip", u"rsp", u"rbp",
                                              u"r8",  u"r9",  u"r10", u"r11", u"r12", u"r13", u"r14", u"r15"};

const char16_t* MachineText(std::uint32_t type) {
  switch (type) {
    case platform::kMachineX86:
      return u"x86";
    case platform::kMachineArm:
      return u"ARM";
    case platform::kMachineX64:
      return u"x64";
    case platform::kMachineArm64:
      return u"ARM64";
    default:
      return u"Unknown";
  }
}

/// The level is masked by its reader, so that the last two answers are never given.
std::u16string IrqlName(std::uint32_t level) {
  if (level == 0) return u"PASSIVE_LEVEL";
  if (level == 1) return u"APC_LEVEL";
  if (level == 2) return u"DISPATCH_LEVEL";
  if (level >= 3 && level <= 26) {
    char16_t name[32] = {};
    FormatTo(name, 32, u"DEVICE_LEVEL_%u", level);
    return name;
  }
  if (level >= 27) return u"HIGH_LEVEL";
  return u"UNKNOWN";
}

}  // namespace

std::int32_t DebugEngineSession::GetSystemInfo(SystemInfo* info) {
  if (info == nullptr) return kHresultPointer;
  const CriticalSectionLock held(lock);
  if (!dumpOpen || control == nullptr) return kHresultInvalidState;
  *info = SystemInfo();
  ReadVersionAndMachine(info);
  ReadTimes(info);
  info->processorCount = 0;
  return kHresultOk;
}

void DebugEngineSession::ReadVersionAndMachine(SystemInfo* info) {
  std::uint32_t type = 0;
  if (!Failed(control->GetActualProcessorType(&type))) info->machineType = MachineText(type);
  std::uint32_t platformId = 0;
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t servicePackNumber = 0;
  std::uint32_t servicePackUsed = 0;
  std::uint32_t buildUsed = 0;
  char servicePack[256] = {};
  if (Failed(control->GetSystemVersion(&platformId, &major, &minor, servicePack, sizeof(servicePack), &servicePackUsed,
                                       &servicePackNumber, nullptr, 0, &buildUsed))) {
    return;
  }
  char16_t text[512] = {};
  FormatTo(text, 512, u"%u Kernel Version %u Free %s", major, minor, info->machineType.c_str());
  info->osVersion = text;
}

void DebugEngineSession::ReadTimes(SystemInfo* info) {
  void* object = nullptr;
  if (Failed(control->QueryInterface(platform::kIidDebugControl4, &object))) return;
  auto* const control4 = static_cast<platform::IDebugControl4*>(object);
  std::uint32_t seconds = 0;
  if (!Failed(control4->GetCurrentSystemUpTime(&seconds))) info->uptimeMs = seconds * 1000;
  seconds = 0;
  if (!Failed(control4->GetCurrentTimeDate(&seconds)) && seconds > 0) {
    info->crashTime = seconds * kTicksPerSecond + kFileTimeOf1970;
  }
  control4->Release();
}

std::int32_t DebugEngineSession::GetBugCheckInfo(std::uint32_t* code, std::uint64_t* parameters) {
  if (control == nullptr || code == nullptr || parameters == nullptr) return kHresultPointer;
  std::uint32_t readCode = 0;
  std::uint64_t read[4] = {};
  const std::int32_t result = control->ReadBugCheckData(&readCode, &read[0], &read[1], &read[2], &read[3]);
  if (Failed(result)) return result;
  *code = readCode;
  for (int i = 0; i < 4; ++i) parameters[i] = read[i];
  return kHresultOk;
}

std::int32_t DebugEngineSession::GetRegisters(RegisterMap* values) {
  if (registers == nullptr) return kHresultFail;
  values->clear();
  for (const char16_t* name : kRegisterNames) {
    char narrow[16] = {};
    if (platform::SystemPort().WideCharToMultiByte(platform::kCpUtf8, 0, name, -1, narrow, sizeof(narrow)) <= 0) {
      continue;
    }
    std::uint32_t index = 0;
    platform::DEBUG_VALUE value = {};
    if (Failed(registers->GetIndexByName(narrow, &index)) || Failed(registers->GetValue(index, &value))) continue;
    if (value.Type == platform::kDebugValueInt64) (*values)[name] = value.I64;
    if (value.Type == platform::kDebugValueInt32) (*values)[name] = value.I64 & 0xFFFFFFFF;
  }
  return kHresultOk;
}

std::int32_t DebugEngineSession::GetIrql(IrqlInfo* irql) {
  if (irql == nullptr) return kHresultPointer;
  const CriticalSectionLock held(lock);
  if (!dumpOpen || dataSpaces == nullptr || symbols == nullptr) return kHresultInvalidState;
  *irql = IrqlInfo();
  std::uint32_t index = 0;
  platform::DEBUG_VALUE value = {};
  if (registers != nullptr && !Failed(registers->GetIndexByName("cr8", &index)) &&
      !Failed(registers->GetValue(index, &value)) && value.Type == platform::kDebugValueInt64) {
    irql->level = static_cast<std::uint32_t>(value.I64 & kIrqlMask);
    irql->valid = 1;
    irql->name = IrqlName(irql->level);
    return kHresultOk;
  }
  irql->name = u"Unavailable (No symbols)";
  return kHresultNothing;
}

}  // namespace varnel
