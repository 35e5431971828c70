#include "analyzer/report_builder.h"

#include <memory>

#include "analyzer/engine_results.h"
#include "analyzer/text_conversion.h"
#include "base/event_text.h"
#include "base/format.h"
#include "base/text.h"

namespace varnel {
namespace {

constexpr char kAnalyzerVersion[] = "1.0.0";
constexpr std::size_t kHexTextSize = 32;

std::string Hex8(std::uint32_t value) {
  char text[kHexTextSize] = {};
  FormatTo(text, kHexTextSize, "0x%08X", value);
  return text;
}

std::string Hex16(std::uint64_t value) {
  char text[kHexTextSize] = {};
  FormatTo(text, kHexTextSize, "0x%016llX", value);
  return text;
}

const char* DumpTypeText(std::uint32_t qualifier) {
  switch (qualifier) {
    case platform::kDebugSmallDump:
      return "Small Memory Dump";
    case platform::kDebugKernelDump:
      return "Kernel Memory Dump";
    case platform::kDebugCompleteDump:
      return "Complete Memory Dump";
    case platform::kDebugActiveDump:
      return "Active Memory Dump";
    default:
      return "Unknown";
  }
}

void AddText(const JsonNode& object, const char* key, const std::string& text) {
  cJSON_AddStringToObject(object.get(), key, text.c_str());
}

std::string TimeText(std::uint64_t fileTime) {
  char text[kMaxPath] = {};
  FormatFileTimeText(fileTime, text, kMaxPath);
  return text;
}

struct CJsonFree {
  void operator()(char* text) const { cJSON_free(text); }
};

}  // namespace

std::string CurrentTimeText() {
  platform::System& system = platform::SystemPort();
  platform::FILETIME now = {};
  const platform::HMODULE kernel = system.LoadLibraryW(u"kernel32.dll");
  const auto precise = reinterpret_cast<platform::TimeFunction>(
      kernel != nullptr ? system.GetProcAddress(kernel, "GetSystemTimePreciseAsFileTime") : nullptr);
  if (precise != nullptr) {
    precise(&now);
  } else {
    system.GetSystemTimeAsFileTime(&now);
  }
  if (kernel != nullptr) system.FreeLibrary(kernel);
  return TimeText(platform::ToUint64(now));
}

std::int32_t ReportBuilder::Build(const std::u16string& dumpPath, std::uint8_t importance, std::string* report) {
  SystemInfo info;
  const std::int32_t system = session_.GetSystemInfo(&info);
  if (Failed(system)) return system;
  if (info.machineType != u"x64") return kHresultNotSupported;
  const JsonNode root(cJSON_CreateObject());
  const bool full = mode_ == Mode::kFull;
  const bool made = root.ok() && AddAnalysisInfo(root, dumpPath, importance) && AddSystemInfo(root, info) &&
                    AddBugCheck(root) && AddCrashContext(root) && AddCallStack(root) &&
                    (full || AddLoadedModules(root));
  if (!made) return kHresultOutOfMemory;
  const std::unique_ptr<char, CJsonFree> text(cJSON_PrintUnformatted(root.get()));
  if (text == nullptr) return kHresultFail;
  report->assign(text.get());
  return kHresultOk;
}

bool ReportBuilder::AddAnalysisInfo(const JsonNode& root, const std::u16string& dumpPath, std::uint8_t importance) {
  const std::uint32_t qualifier = session_.GetDumpQualifier();
  const bool full = mode_ == Mode::kFull;
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  AddText(object, "dump_file", WideToUtf8(dumpPath));
  AddText(object, "analysis_time", CurrentTimeText());
  AddText(object, "dump_type", DumpTypeText(qualifier));
  AddText(object, "analyzer_version", kAnalyzerVersion);
  AddText(object, "symbol_mode", full ? "full" : "no_symbol");
  cJSON_AddBoolToObject(object.get(), "symbol_loaded", full && session_.IsSymbolLoaded());
  AddText(object, "importance", importance != 0 ? "TRUE" : "FALSE");
  object.AttachTo(root, "analysis_info");
  return true;
}

bool ReportBuilder::AddSystemInfo(const JsonNode& root, const SystemInfo& info) {
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  AddText(object, "os_version", WideToUtf8(info.osVersion));
  AddText(object, "machine_type", WideToUtf8(info.machineType));
  cJSON_AddNumberToObject(object.get(), "processor_count", info.processorCount);
  cJSON_AddNumberToObject(object.get(), "system_uptime_ms", info.uptimeMs);
  AddText(object, "crash_time", TimeText(info.crashTime));
  std::u16string fileVersion;
  std::u16string productVersion;
  if (mode_ == Mode::kFull && !Failed(session_.GetNtVersion(&fileVersion, &productVersion))) {
    AddText(object, "nt_file_version", WideToUtf8(fileVersion));
    AddText(object, "nt_product_version", WideToUtf8(productVersion));
  }
  object.AttachTo(root, "system_info");
  return true;
}

bool ReportBuilder::AddBugCheck(const JsonNode& root) {
  std::uint32_t code = 0;
  std::uint64_t parameters[4] = {};
  if (Failed(session_.GetBugCheckInfo(&code, parameters))) return true;
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  AddText(object, "code", Hex8(code));
  AddText(object, "parameter1", Hex16(parameters[0]));
  AddText(object, "parameter2", Hex16(parameters[1]));
  AddText(object, "parameter3", Hex16(parameters[2]));
  AddText(object, "parameter4", Hex16(parameters[3]));
  object.AttachTo(root, "bugcheck");
  return true;
}

bool ReportBuilder::AddCrashContext(const JsonNode& root) {
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  const bool full = mode_ == Mode::kFull;
  bool added = false;
  if (full && !AddProcessName(object, &added)) return false;
  if (!AddIrql(object, &added)) return false;
  if (!full && !AddRegisters(object, &added)) return false;
  // A key that was lost for want of memory leaves the object empty.
  if (added && object.get()->child != nullptr) object.AttachTo(root, "crash_context");
  return true;
}

bool ReportBuilder::AddProcessName(const JsonNode& context, bool* added) {
  std::u16string moduleName;
  std::u16string processName;
  if (Failed(session_.GetCrashModuleAndProcess(&moduleName, &processName)) || processName.empty()) return true;
  AddText(context, "process_name", WideToUtf8(processName));
  *added = true;
  return true;
}

bool ReportBuilder::AddIrql(const JsonNode& context, bool* added) {
  IrqlInfo irql;
  if (Failed(session_.GetIrql(&irql)) || irql.valid == 0) return true;
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  cJSON_AddNumberToObject(object.get(), "level", irql.level);
  AddText(object, "name", WideToUtf8(irql.name));
  object.AttachTo(context, "irql");
  *added = true;
  return true;
}

bool ReportBuilder::AddRegisters(const JsonNode& context, bool* added) {
  RegisterMap values;
  if (Failed(session_.GetRegisters(&values)) || values.empty()) return true;
  JsonNode object(cJSON_CreateObject());
  if (!object.ok()) return false;
  for (const auto& [name, value] : values) AddText(object, WideToUtf8(name).c_str(), Hex16(value));
  object.AttachTo(context, "registers");
  *added = true;
  return true;
}

bool ReportBuilder::AddCallStack(const JsonNode& root) {
  std::vector<StackFrameInfo> frames;
  const std::int32_t read =
      mode_ == Mode::kFull ? session_.GetSymbolStack(&frames) : session_.ScanStackForCode(&frames);
  if (Failed(read) || frames.empty()) return true;
  JsonNode array(cJSON_CreateArray());
  if (!array.ok()) return false;
  for (const StackFrameInfo& frame : frames) {
    JsonNode entry(cJSON_CreateObject());
    if (!entry.ok()) return false;
    AddText(entry, "stack_address", Hex16(frame.stackAddress));
    AddText(entry, "code_address", Hex16(frame.codeAddress));
    AddText(entry, "symbol", WideToUtf8(frame.symbol));
    entry.AppendTo(array);
  }
  array.AttachTo(root, "call_stack");
  return true;
}

bool ReportBuilder::AddLoadedModules(const JsonNode& root) {
  std::vector<ModuleInfo> modules;
  if (Failed(session_.GetLoadedModules(&modules)) || modules.empty()) return true;
  JsonNode array(cJSON_CreateArray());
  if (!array.ok()) return false;
  for (const ModuleInfo& module : modules) {
    JsonNode entry(cJSON_CreateObject());
    if (!entry.ok()) return false;
    AddText(entry, "name", WideToUtf8(module.moduleName));
    AddText(entry, "base_address", Hex16(module.baseAddress));
    AddText(entry, "size", Hex8(module.size));
    AddText(entry, "timestamp", Hex8(module.timestamp));
    if (!module.imagePath.empty()) AddText(entry, "path", WideToUtf8(module.imagePath));
    entry.AppendTo(array);
  }
  array.AttachTo(root, "loaded_modules");
  return true;
}

}  // namespace varnel
