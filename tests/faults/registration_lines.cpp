#include "tests/faults/registration_lines.h"

#include <iterator>

namespace varnel::testing {
namespace {

constexpr const char* kSession = "KelvoVarnelWardlet{4A234956-2B7D-4221-BADF-12593BD342A8}";
constexpr const char* kProviders[] = {
    "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}", "{4A234950-2B7D-4221-BADF-12593BD342A8}",
    "{4A234951-2B7D-4221-BADF-12593BD342A8}", "{4A234955-2B7D-4221-BADF-12593BD342A8}",
    "{4A234954-2B7D-4221-BADF-12593BD342A8}", "{4A234953-2B7D-4221-BADF-12593BD342A8}",
    "{4A234952-2B7D-4221-BADF-12593BD342A8}"};
constexpr const char* kSessionValues[] = {"Guid",           "Start",          "FileName",    "BufferSize",
                                          "MinimumBuffers", "MaximumBuffers", "LogFileMode", "ClockType",
                                          "MaxFileSize",    "FlushTimer",     "FileMax"};
constexpr const char* kProviderValues[] = {"Enabled", "EnableLevel", "MatchAllKeyword", "MatchAnyKeyword"};
constexpr unsigned kFirstProviderWrite = std::size(kSessionValues) + 1;
constexpr unsigned kWritesOfAProvider = std::size(kProviderValues);

std::vector<std::string> SessionFailure(const std::string& line) {
  return {"CreateAutoLoggerSession func Failed to " + line,
          "EtwConsumerInstall func call CreateAutoLoggerSession(" + std::string(kSession) + ") failed(0x"};
}

std::vector<std::string> ProviderFailure(unsigned provider, const std::string& line) {
  return {"CreateAutoLoggerProvider func Failed to " + line,
          "EtwConsumerInstall func call CreateAutoLoggerProvider with " + std::string(kProviderConstants[provider]) +
              " failed(0x5)"};
}

std::vector<std::string> WriteFailure(unsigned nth) {
  if (nth < kFirstProviderWrite) {
    return SessionFailure("set Session(" + std::string(kSession) + ") " + kSessionValues[nth - 1] + ": 0x00000005");
  }
  const unsigned provider = (nth - kFirstProviderWrite) / kWritesOfAProvider;
  const unsigned value = (nth - kFirstProviderWrite) % kWritesOfAProvider;
  return ProviderFailure(
      provider, "set Provider(" + std::string(kProviders[provider]) + ") " + kProviderValues[value] + ": 0x00000005");
}

}  // namespace

const char* const kProviderConstants[7] = {
    "g_ProviderSampleGUID",  "GUID_SOURCE_USB_REDIRECT_TOOL", "GUID_DESTINATION_USB_REDIRECT_TOOL",
    "GUID_VIRTUAL_HID_TOOL", "GUID_KVIRTUAL_AUDIO_TOOL",      "GUID_KELVO_GAMEPAD_TOOL",
    "GUID_KELVO_IDD_TOOL"};

std::vector<std::string> RegistrationLines(const CallSite& site) {
  constexpr unsigned kOpens = 1 + std::size(kProviders);
  if (site.operation == "GetSystemDirectoryW" && site.nth == 1) {
    return {"EtwConsumerInstall func call GetSystemDirectoryW failed(0x5)"};
  }
  if (site.operation == "RegSetValueExW") return WriteFailure(site.nth);
  if (site.nth > kOpens) return {};
  if (site.operation == "RegOpenKeyExW") {
    if (site.nth == 1) return SessionFailure("check session: 0x00000005");
    return ProviderFailure(site.nth - 2, "open session key: 0x00000005");
  }
  if (site.operation == "RegCreateKeyExW") {
    if (site.nth == 1) return SessionFailure("create session key: 0x00000005");
    return ProviderFailure(site.nth - 2,
                           "create provider(" + std::string(kProviders[site.nth - 2]) + ") subkey: 0x00000005");
  }
  return {};
}

}  // namespace varnel::testing
