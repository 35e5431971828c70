// TextCounts counts the module's texts by kind and, for events, by provider. Any thread may call.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

namespace varnel::host {

enum class TextKind { kEvent, kCrashEvent, kDumpReport, kOther };

/// What a text is, by its keys: an event's carries its provider; those that bear the module's own GUID are about
/// crashes, and their "Function" tells which. `provider` receives the braced GUID of an event, else stays as it was.
TextKind Classify(std::string_view text, std::string* provider);

class TextCounts {
 public:
  void Add(std::string_view text);

  std::uint64_t total() const;
  /// Such as "12 texts: 10 events (ProviderSample 7, SourceUsb 3), 1 crash event, 1 dump report".
  std::string Summary() const;

 private:
  mutable std::mutex mutex_;
  std::uint64_t total_ = 0;                           // guarded by mutex_
  std::map<TextKind, std::uint64_t> by_kind_;         // guarded by mutex_
  std::map<std::string, std::uint64_t> by_provider_;  // guarded by mutex_; by braced GUID
};

}  // namespace varnel::host
