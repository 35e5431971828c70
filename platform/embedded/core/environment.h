// The machine's environment, as one process sees it: a machine's defaults at first, changed by this process alone. It
// has nothing to do with the host system's environment. Any thread may call.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace varnel::embedded {

class Environment {
 public:
  /// With the variables that a machine gives to its services.
  Environment();

  /// Names are compared without regard to case.
  std::optional<std::u16string> Get(std::u16string_view name) const;
  void Set(std::u16string_view name, std::u16string_view value);
  /// False when there is no such variable.
  bool Remove(std::u16string_view name);

  /// `text` with each %NAME% of a known variable replaced by its value; others stay as they stand.
  std::u16string Expand(std::u16string_view text) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::u16string, std::u16string> values_;  // by folded name; guarded by mutex_
};

/// The folder of temporary files that the environment tells, with a backslash at its end.
std::u16string TempFolder(const Environment& environment);

}  // namespace varnel::embedded
