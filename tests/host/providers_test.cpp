#include "host/providers.h"

#include <gtest/gtest.h>

#include <set>

#include "formats/guid_text.h"

namespace varnel::host {
namespace {

TEST(Providers, AreFoundByNameAndByGuidWithoutRegardToCase) {
  EXPECT_EQ(FindProvider("sourceusb"), &kProviders[1]);
  EXPECT_EQ(FindProvider("{4a234950-2b7d-4221-badf-12593bd342a8}"), &kProviders[1]);
  EXPECT_EQ(FindProvider("4A234950-2B7D-4221-BADF-12593BD342A8"), &kProviders[1]);
}

TEST(Providers, OthersAreNotFoundAndKeepTheirText) {
  EXPECT_EQ(FindProvider("Sample"), nullptr);
  EXPECT_EQ(FindProvider(""), nullptr);
  EXPECT_EQ(FindProvider(kModuleGuidText), nullptr);  // the module is no provider
  EXPECT_EQ(ProviderName(kModuleGuidText), kModuleGuidText);
}

TEST(Providers, AreSevenWithGuidsOfTheirOwn) {
  std::set<std::string> guids;
  for (const KnownProvider& provider : kProviders) {
    EXPECT_EQ(formats::FormatGuid(ProviderGuid(provider)), provider.guid_text);
    EXPECT_EQ(ProviderName(provider.guid_text), provider.name);
    guids.insert(provider.guid_text);
  }
  EXPECT_EQ(guids.size(), 7u);
}

}  // namespace
}  // namespace varnel::host
