// Layouts for tests, compiled from the elements of a manifest's template.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "formats/manifest_reader.h"
#include "manifest_text.h"

namespace varnel::testing {

/// Owns the manifest that its layout points into.
class TestLayout {
 public:
  explicit TestLayout(std::string_view template_body, std::string_view maps = "", std::string_view strings = "") {
    auto result = formats::ReadManifest(ToBytes(ManifestWithTemplate(template_body, maps, strings)), "test.xml");
    EXPECT_TRUE(result.ok()) << (result.ok() ? "" : result.error().message);
    if (result.ok()) manifest_ = std::move(result).value();
  }

  const formats::EventLayout& operator*() const { return *manifest_.providers.at(0).events.at(0).layout; }
  const formats::EventLayout* operator->() const { return &**this; }

 private:
  formats::InstrumentationManifest manifest_;
};

inline std::string Data(std::string_view name, std::string_view in_type, std::string_view more = "") {
  return "<data name=\"" + std::string(name) + "\" inType=\"win:" + std::string(in_type) + "\" " + std::string(more) +
         "/>\n";
}

}  // namespace varnel::testing
