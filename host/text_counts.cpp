#include "host/text_counts.h"

#include "host/providers.h"
#include "host/text_field.h"

namespace varnel::host {
namespace {

std::string Counted(std::uint64_t count, const char* one, const char* many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

}  // namespace

TextKind Classify(std::string_view text, std::string* provider) {
  const auto guid = TextField(text, "ProviderGUID");
  if (!guid) return TextKind::kOther;
  if (*guid != kModuleGuidText) {
    *provider = *guid;
    return TextKind::kEvent;
  }
  const std::string function = TextField(text, "Function").value_or("");
  if (function == "AnalyzeBSODEvents") return TextKind::kCrashEvent;
  return function.rfind("BsodDumpCallBack", 0) == 0 ? TextKind::kDumpReport : TextKind::kOther;
}

void TextCounts::Add(std::string_view text) {
  std::string provider;
  const TextKind kind = Classify(text, &provider);
  const std::lock_guard lock(mutex_);
  ++total_;
  ++by_kind_[kind];
  if (kind == TextKind::kEvent) ++by_provider_[provider];
}

std::uint64_t TextCounts::total() const {
  const std::lock_guard lock(mutex_);
  return total_;
}

std::string TextCounts::Summary() const {
  const std::lock_guard lock(mutex_);
  std::string line = Counted(total_, "text", "texts");
  const char* before = ": ";
  for (const auto& [kind, count] : by_kind_) {
    line += before;
    before = ", ";
    switch (kind) {
      case TextKind::kEvent: {
        line += Counted(count, "event", "events");
        const char* inner = " (";
        for (const auto& [guid, of_provider] : by_provider_) {
          line += inner + ProviderName(guid) + ' ' + std::to_string(of_provider);
          inner = ", ";
        }
        line += ')';
        break;
      }
      case TextKind::kCrashEvent:
        line += Counted(count, "crash event", "crash events");
        break;
      case TextKind::kDumpReport:
        line += Counted(count, "dump report", "dump reports");
        break;
      case TextKind::kOther:
        line += Counted(count, "other text", "other texts");
        break;
    }
  }
  return line;
}

}  // namespace varnel::host
