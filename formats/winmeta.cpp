#include "formats/winmeta.h"

#include <cstddef>
#include <span>

namespace varnel::formats {
namespace {

constexpr PredefinedName kLevels[] = {
    {"LogAlways", 0, "Log Always"}, {"Always", 0, "Log Always"}, {"Critical", 1, "Critical"},
    {"Error", 2, "Error"},          {"Warning", 3, "Warning"},   {"Informational", 4, "Information"},
    {"Verbose", 5, "Verbose"},
};
constexpr PredefinedName kOpcodes[] = {
    {"Info", 0, "Info"},       {"Start", 1, "Start"},         {"Stop", 2, "Stop"},         {"DC_Start", 3, "DCStart"},
    {"DC_Stop", 4, "DCStop"},  {"Extension", 5, "Extension"}, {"Reply", 6, "Reply"},       {"Resume", 7, "Resume"},
    {"Suspend", 8, "Suspend"}, {"Send", 9, "Send"},           {"Receive", 240, "Receive"},
};
constexpr PredefinedName kKeywords[] = {
    {"ResponseTime", 0x0001000000000000, "Response Time"},
    {"WDIContext", 0x0002000000000000, "WDI Context"},
    {"WDIDiag", 0x0004000000000000, "WDI Diag"},
    {"SQM", 0x0008000000000000, "SQM"},
    {"AuditFailure", 0x0010000000000000, "Audit Failure"},
    {"AuditSuccess", 0x0020000000000000, "Audit Success"},
    {"CorrelationHint", 0x0040000000000000, "Correlation Hint"},
    {"EventlogClassic", 0x0080000000000000, "Classic"},
};
constexpr PredefinedName kChannels[] = {
    {"System", 8, "System"},
    {"Application", 9, "Application"},
    {"Security", 10, "Security"},
    {"TraceLogging", 11, "TraceLogging"},
    {"ProviderMetadata", 12, "ProviderMetadata"},
};

const PredefinedName* ByName(std::span<const PredefinedName> rows, std::string_view name) {
  const std::size_t colon = name.find(':');
  if (colon != std::string_view::npos) name.remove_prefix(colon + 1);
  for (const PredefinedName& row : rows) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

const PredefinedName* ByValue(std::span<const PredefinedName> rows, std::uint64_t value) {
  for (const PredefinedName& row : rows) {
    if (row.value == value) return &row;
  }
  return nullptr;
}

}  // namespace

const PredefinedName* PredefinedLevel(std::string_view name) {
  return ByName(kLevels, name);
}

const PredefinedName* PredefinedOpcode(std::string_view name) {
  return ByName(kOpcodes, name);
}

const PredefinedName* PredefinedKeyword(std::string_view name) {
  return ByName(kKeywords, name);
}

const PredefinedName* PredefinedChannel(std::string_view name) {
  return ByName(kChannels, name);
}

const PredefinedName* PredefinedLevel(std::uint64_t value) {
  return ByValue(kLevels, value);
}

const PredefinedName* PredefinedOpcode(std::uint64_t value) {
  return ByValue(kOpcodes, value);
}

const PredefinedName* PredefinedKeyword(std::uint64_t value) {
  return ByValue(kKeywords, value);
}

}  // namespace varnel::formats
