#include "host/dump_words.h"

#include <cstdio>
#include <utility>

#include "formats/bugcheck_names.h"
#include "formats/bugcheck_parameters.h"

namespace varnel::host {
namespace {

template <typename... Values>
std::string Formatted(const char* format, Values... values) {
  char text[64];
  std::snprintf(text, sizeof(text), format, values...);
  return text;
}

}  // namespace

std::string AddressText(std::uint64_t address) {
  return Formatted("0x%016llX", static_cast<unsigned long long>(address));
}

std::string CodeText(std::uint32_t code) {
  return Formatted("0x%08X", code);
}

std::string OffsetText(std::uint64_t offset) {
  return Formatted("0x%llX", static_cast<unsigned long long>(offset));
}

std::optional<std::string> StopCodeName(std::uint32_t code) {
  std::string_view name = formats::BugCheckName(code);
  if (name.empty()) name = formats::BugCheckName(code & ~formats::kBugCheckSmallDumpBit);
  if (name.empty()) return std::nullopt;
  return std::string(name);
}

std::string MachineName(std::uint32_t machine) {
  constexpr std::pair<std::uint32_t, const char*> kNames[] = {{0x014C, "x86"},  {0x01C0, "ARM"}, {0x01C4, "ARM"},
                                                              {0x0200, "IA64"}, {0x8664, "x64"}, {0xAA64, "ARM64"}};
  for (const auto& [number, name] : kNames) {
    if (number == machine) return name;
  }
  return CodeText(machine);
}

std::string FormName(formats::DumpType type, std::optional<formats::DumpQualifier> qualifier) {
  using formats::DumpType;
  if (qualifier == formats::DumpQualifier::kActive) return "active";
  switch (type) {
    case DumpType::kFull:
    case DumpType::kBitmapFull:
      return "complete";
    case DumpType::kSummary:
    case DumpType::kBitmapKernel:
      return "kernel";
    case DumpType::kHeaderOnly:
      return "header_only";
    case DumpType::kTriage:
      return "small";
    case DumpType::kAutomatic:
      return "automatic";
    case DumpType::kRangesKernel:
    case DumpType::kRangesKernelAndUser:
    case DumpType::kRangesComplete:
      return "ranges";
  }
  return "unknown";
}

std::string DurationText(std::uint64_t duration) {
  const std::uint64_t milliseconds = duration / 10'000;
  const auto seconds = static_cast<unsigned long long>(milliseconds / 1000);
  if (seconds < 60) {
    return Formatted("%llu.%03llu s", seconds, static_cast<unsigned long long>(milliseconds % 1000));
  }
  const unsigned long long days = seconds / 86'400;
  std::string text = days == 0 ? std::string() : Formatted("%llu d ", days);
  return text + Formatted("%llu:%02llu:%02llu", seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
}

}  // namespace varnel::host
