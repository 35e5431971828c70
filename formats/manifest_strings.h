// The string tables of a manifest's localization: what "$(string.ID)" stands for. Internal to the manifest reader.
#pragma once

#include <tinyxml2.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace varnel::formats {

class ManifestStrings {
 public:
  /// Collects the tables of "en-US", or of the first culture of the file when there is none of that.
  explicit ManifestStrings(const tinyxml2::XMLElement& root);

  const std::string& culture() const noexcept { return culture_; }
  /// The number of texts in the tables; of those with the same id the first counts when they are resolved.
  std::size_t size() const noexcept { return size_; }

  /// What a message attribute stands for. A text that is no reference stands for itself; a reference into a message
  /// file ("$(mc.SYMBOL)") and one that no table holds give an empty text, and the latter is counted.
  std::string Resolve(std::string_view reference, std::uint32_t* unresolved) const;

 private:
  std::string culture_;
  std::size_t size_ = 0;
  std::unordered_map<std::string, std::string> texts_;
};

}  // namespace varnel::formats
