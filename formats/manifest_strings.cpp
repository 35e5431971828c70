#include "formats/manifest_strings.h"

#include <strings.h>

#include <utility>

#include "formats/manifest_xml.h"

namespace varnel::formats {

using tinyxml2::XMLElement;

namespace {

constexpr const char* kPreferredCulture = "en-US";

/// Calls `visit` with each <resources> below a <localization>, at any depth.
template <typename Visit>
void ForEachResources(const XMLElement& element, const Visit& visit) {
  for (const XMLElement* child = element.FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
    if (LocalName(*child) == "resources" && LocalName(element) == "localization") {
      visit(*child);
    } else {
      ForEachResources(*child, visit);
    }
  }
}

std::string ChooseCulture(const XMLElement& root) {
  std::string first;
  bool preferred = false;
  bool any = false;
  ForEachResources(root, [&](const XMLElement& resources) {
    const std::string culture(Attribute(resources, "culture"));
    if (!std::exchange(any, true)) first = culture;
    if (strcasecmp(culture.c_str(), kPreferredCulture) == 0) preferred = true;
  });
  return preferred ? kPreferredCulture : first;
}

}  // namespace

ManifestStrings::ManifestStrings(const XMLElement& root) : culture_(ChooseCulture(root)) {
  ForEachResources(root, [this](const XMLElement& resources) {
    if (strcasecmp(std::string(Attribute(resources, "culture")).c_str(), culture_.c_str()) != 0) return;
    for (auto* table = FirstChild(resources, "stringTable"); table != nullptr;
         table = NextSibling(*table, "stringTable")) {
      for (auto* text = FirstChild(*table, "string"); text != nullptr; text = NextSibling(*text, "string")) {
        const char* value = text->Attribute("value");
        ++size_;
        texts_.emplace(Attribute(*text, "id"), value == nullptr ? "" : value);
      }
    }
  });
}

std::string ManifestStrings::Resolve(std::string_view reference, std::uint32_t* unresolved) const {
  if (!reference.starts_with("$(") || !reference.ends_with(')')) return std::string(reference);
  constexpr std::string_view kString = "$(string.";
  if (!reference.starts_with(kString)) return {};
  const auto at = texts_.find(std::string(reference.substr(kString.size(), reference.size() - kString.size() - 1)));
  if (at != texts_.end()) return at->second;
  ++*unresolved;
  return {};
}

}  // namespace varnel::formats
