#include "formats/manifest.h"

#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

TEST(Manifest, ShowsTheMessageAndElseTheName) {
  EXPECT_EQ((NamedValue{"name", "Message", 0}).display(), "Message");
  EXPECT_EQ((NamedValue{"name", "", 0}).display(), "name");
}

TEST(Manifest, LayoutsStayWhereTheyAreWhenTheManifestIsMoved) {
  ProviderManifest provider;
  provider.templates.emplace_back();
  EventDefinition event;
  event.layout = &provider.templates.front();
  provider.events.push_back(event);
  const ProviderManifest moved = std::move(provider);
  EXPECT_EQ(moved.events[0].layout, &moved.templates.front());
}

TEST(Manifest, AnEmptyProviderKnowsNoEvent) {
  const ProviderManifest provider;
  EXPECT_EQ(provider.FindEvent(0, 0), nullptr);
}

}  // namespace
}  // namespace varnel::formats
