#include "host/delivery_ledger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnel::host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string Text(int number, const char* guid = "{4A234950-2B7D-4221-BADF-12593BD342A8}") {
  return std::string(R"({"ProviderGUID":")") + guid + R"(","AdditionalMsgAnsi":"#)" + std::to_string(number) + " x\"}";
}

TEST(DeliveryLedger, TakesOnlyTextsOfSampleProviders) {
  DeliveryLedger ledger;
  EXPECT_TRUE(ledger.Note(Text(1)));
  EXPECT_FALSE(ledger.Note(R"({"ProviderGUID":"{x}"})"));
  EXPECT_FALSE(ledger.Note("cut"));
  EXPECT_EQ(ledger.delivered(), 1u);
}

TEST(DeliveryLedger, NamesWhatCameTwiceOnce) {
  DeliveryLedger ledger;
  for (const int number : {1, 2, 2, 2, 1}) ledger.Note(Text(number));
  EXPECT_THAT(ledger.twice(), ElementsAre("SourceUsb #2", "SourceUsb #1"));
}

TEST(DeliveryLedger, OneNumberOfTwoProvidersIsNoRepeat) {
  DeliveryLedger ledger;
  ledger.Note(Text(1));
  ledger.Note(Text(1, "{4A234951-2B7D-4221-BADF-12593BD342A8}"));
  EXPECT_THAT(ledger.twice(), IsEmpty());
}

TEST(DeliveryLedger, AnEventBehindTheLastOfARunIsExplainedByItsRepeat) {
  DeliveryLedger ledger;
  ledger.Note(Text(1));
  ledger.Note(Text(2));
  ledger.EndRun();
  ledger.Note(Text(4));
  ledger.EndRun();
  const auto missing = ledger.Missing({"SourceUsb"}, 1, 4);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(missing[0].number, 3u);
  EXPECT_TRUE(missing[0].behind_a_repeat);
}

TEST(DeliveryLedger, AnyOtherMissingEventIsNotExplained) {
  DeliveryLedger ledger;
  ledger.Note(Text(1));
  ledger.Note(Text(3));
  ledger.EndRun();
  const auto missing = ledger.Missing({"SourceUsb", "DestUsb"}, 1, 3);
  ASSERT_EQ(missing.size(), 4u);  // #2, and all three of the other provider
  EXPECT_FALSE(missing[0].behind_a_repeat);
  EXPECT_EQ(missing[1].provider, "DestUsb");
  EXPECT_FALSE(missing[1].behind_a_repeat);
}

}  // namespace
}  // namespace varnel::host
