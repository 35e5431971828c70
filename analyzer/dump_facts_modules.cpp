// Modules, the crashing module and process, and the kernel's version.
#include <cstring>

#include "analyzer/debug_engine_session.h"
#include "analyzer/text_conversion.h"
#include "base/format.h"
#include "base/log.h"

namespace varnel {
namespace {

constexpr std::uint64_t kKernelSpace = 0xFFFF800000000000;
constexpr std::uint32_t kModuleNameSize = 260;
constexpr std::uint32_t kImageFileNameSize = 15;
constexpr std::uint32_t kVersionTextSize = 256;
constexpr char16_t kUnknown[] = u"Unknown";

std::u16string VersionText(std::uint32_t high, std::uint32_t low) {
  char16_t text[64] = {};
  FormatTo(text, 64, u"%u.%u.%u.%u", high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF);
  return text;
}

}  // namespace

std::int32_t DebugEngineSession::GetModuleAndOffset(std::uint64_t address, std::u16string* name,
                                                    std::uint64_t* offset) {
  if (symbols == nullptr) return kHresultFail;
  std::uint32_t index = 0;
  std::uint64_t base = 0;
  std::int32_t result = symbols->GetModuleByOffset(address, 0, &index, &base);
  if (Failed(result)) return result;
  std::uint32_t size = 0;
  symbols->GetModuleNames(index, base, nullptr, 0, nullptr, nullptr, 0, &size, nullptr, 0, nullptr);
  if (size == 0) return kHresultFail;
  std::string narrow(std::size_t{size} + 1, '\0');
  result = symbols->GetModuleNames(index, base, nullptr, 0, nullptr, narrow.data(), size, nullptr, nullptr, 0, nullptr);
  if (Failed(result)) return result;
  const std::u16string wide = WideFromNarrow(platform::kCpUtf8, narrow.c_str());
  if (!wide.empty()) *name = wide;
  if (offset != nullptr) *offset = address - base;
  return kHresultOk;
}

std::uint32_t DebugEngineSession::IsAddressInModule(std::uint64_t address) {
  if (symbols == nullptr) return 1;
  std::uint32_t index = 0;
  std::uint64_t base = 0;
  return Failed(symbols->GetModuleByOffset(address, 0, &index, &base)) ? 0 : 1;
}

std::int32_t DebugEngineSession::GetLoadedModules(std::vector<ModuleInfo>* modules) {
  const CriticalSectionLock held(lock);
  if (!dumpOpen || symbols == nullptr) return kHresultInvalidState;
  modules->clear();
  std::uint32_t loaded = 0;
  std::uint32_t unloaded = 0;
  const std::int32_t counted = symbols->GetNumberModules(&loaded, &unloaded);
  if (Failed(counted)) return counted;
  for (std::uint32_t index = 0; index < loaded; ++index) {
    ModuleInfo module;
    if (Failed(symbols->GetModuleByIndex(index, &module.baseAddress))) continue;
    platform::DEBUG_MODULE_PARAMETERS parameters = {};
    if (!Failed(symbols->GetModuleParameters(1, &module.baseAddress, 0, &parameters))) {
      module.size = parameters.Size;
      module.timestamp = parameters.TimeDateStamp;
      module.checksum = parameters.Checksum;
    }
    module.moduleName = ReadModuleName(platform::kModuleNameModule, index, module.baseAddress);
    module.imagePath = ReadModuleName(platform::kModuleNameImage, index, module.baseAddress);
    module.loadedImagePath = ReadModuleName(platform::kModuleNameLoadedImage, index, module.baseAddress);
    modules->push_back(std::move(module));
  }
  return kHresultOk;
}

std::u16string DebugEngineSession::ReadModuleName(std::uint32_t which, std::uint32_t index, std::uint64_t base) {
  std::uint32_t size = 0;
  if (Failed(symbols->GetModuleNameString(which, index, base, nullptr, 0, &size)) || size == 0) return {};
  std::string narrow(std::size_t{size} + 1, '\0');
  if (Failed(symbols->GetModuleNameString(which, index, base, narrow.data(), size, nullptr))) return {};
  return WideFromNarrow(platform::kCpUtf8, narrow.c_str());
}

std::int32_t DebugEngineSession::GetCrashModuleAndProcess(std::u16string* moduleName, std::u16string* processName) {
  const CriticalSectionLock held(lock);
  if (!dumpOpen || control == nullptr || symbols == nullptr || advanced == nullptr) return kHresultInvalidState;
  moduleName->clear();
  processName->clear();
  std::uint32_t threadId = 0;
  const std::int32_t thread = systemObjects->GetCurrentThreadId(&threadId);
  if (Failed(thread)) {
    WrapLogPrint(LOG_ERROR, u"[Error] GetCurrentThreadId failed: 0x%08X\n", Printed(thread));
    return thread;
  }
  ReadCrashModule(moduleName);
  if (systemObjects != nullptr && dataSpaces != nullptr && symbols != nullptr) ReadProcessName(processName);
  if (moduleName->empty()) *moduleName = kUnknown;
  if (processName->empty()) *processName = kUnknown;
  return kHresultOk;
}

void DebugEngineSession::ReadCrashModule(std::u16string* moduleName) {
  platform::X64_CONTEXT context = {};
  context.ContextFlags = platform::kContextFull;
  if (Failed(advanced->GetThreadContext(&context, sizeof(context))) || context.Rip < kKernelSpace) return;
  std::uint32_t index = 0;
  std::uint64_t base = 0;
  if (Failed(symbols->GetModuleByOffset(context.Rip, 0, &index, &base))) return;
  char name[kModuleNameSize + 1] = {};
  if (Failed(symbols->GetModuleNameString(platform::kModuleNameModule, index, base, name, kModuleNameSize, nullptr))) {
    return;
  }
  *moduleName = WideFromNarrow(platform::kCpAcp, name);
}

/// From the process's own kernel record, by the offset that the kernel's symbols give.
void DebugEngineSession::ReadProcessName(std::u16string* processName) {
  std::uint64_t process = 0;
  if (Failed(systemObjects->GetCurrentProcessDataOffset(&process)) || process == 0) return;
  std::uint64_t kernel = 0;
  if (Failed(symbols->GetModuleByModuleName("nt", 0, nullptr, &kernel))) return;
  std::uint32_t type = 0;
  if (Failed(symbols->GetTypeId(kernel, "_EPROCESS", &type))) return;
  std::uint32_t offset = 0;
  if (Failed(symbols->GetFieldOffset(kernel, type, "ImageFileName", &offset))) return;
  char name[kImageFileNameSize + 1] = {};
  std::uint32_t bytesRead = 0;
  if (Failed(dataSpaces->ReadVirtual(process + offset, name, kImageFileNameSize, &bytesRead)) || bytesRead == 0) return;
  name[kImageFileNameSize] = 0;
  *processName = WideFromNarrow(platform::kCpAcp, name);
}

std::int32_t DebugEngineSession::GetNtVersion(std::u16string* fileVersion, std::u16string* productVersion) {
  const CriticalSectionLock held(lock);
  if (!dumpOpen || symbols == nullptr) return kHresultInvalidState;
  fileVersion->clear();
  productVersion->clear();
  std::uint64_t base = 0;
  const std::int32_t found = symbols->GetModuleByModuleName("nt", 0, nullptr, &base);
  if (Failed(found)) {
    WrapLogPrint(LOG_ERROR, u"[Error] Cannot find nt module\n");
    return found;
  }
  if (ReadFixedVersion(base, fileVersion, productVersion)) return kHresultOk;
  *fileVersion = ReadVersionText(base, "\\StringFileInfo\\040904B0\\FileVersion");
  *productVersion = ReadVersionText(base, "\\StringFileInfo\\040904B0\\ProductVersion");
  return fileVersion->empty() && productVersion->empty() ? kHresultNothing : kHresultOk;
}

bool DebugEngineSession::ReadFixedVersion(std::uint64_t base, std::u16string* fileVersion,
                                          std::u16string* productVersion) {
  platform::VS_FIXEDFILEINFO fixed = {};
  const std::int32_t read =
      symbols->GetModuleVersionInformation(platform::kDebugAnyId, base, "\\", &fixed, sizeof(fixed), nullptr);
  if (Failed(read) || fixed.dwSignature != platform::kFixedFileInfoSignature) return false;
  *fileVersion = VersionText(fixed.dwFileVersionMS, fixed.dwFileVersionLS);
  *productVersion = VersionText(fixed.dwProductVersionMS, fixed.dwProductVersionLS);
  return true;
}

std::u16string DebugEngineSession::ReadVersionText(std::uint64_t base, const char* item) {
  char text[kVersionTextSize + 1] = {};
  const std::int32_t read =
      symbols->GetModuleVersionInformation(platform::kDebugAnyId, base, item, text, kVersionTextSize, nullptr);
  return Failed(read) ? std::u16string() : WideFromNarrow(platform::kCpAcp, text);
}

}  // namespace varnel
