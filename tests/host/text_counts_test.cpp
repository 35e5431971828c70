#include "host/text_counts.h"

#include <gtest/gtest.h>

namespace varnel::host {
namespace {

constexpr char kSampleEvent[] =
    R"({"WardletVersion":"1.0.2","TimeStamp":"0x1","ProviderGUID":"{D8909C24-5BE9-4502-98CA-AB7BDC24899D}","Mod":"None"})";
constexpr char kUsbEvent[] = R"({"ProviderGUID":"{4A234950-2B7D-4221-BADF-12593BD342A8}","Function":"f"})";
constexpr char kCrash[] =
    R"({"ProviderGUID":"{4A234956-2B7D-4221-BADF-12593BD342A8}","Function":"AnalyzeBSODEvents","AdditionalMsgAnsi":null})";
constexpr char kReport[] =
    R"({"ProviderGUID":"{4A234956-2B7D-4221-BADF-12593BD342A8}","Function":"BsodDumpCallBackNoSymbol"})";

TEST(TextCounts, TellAnEventFromACrashEventAndADumpReport) {
  std::string provider;
  EXPECT_EQ(Classify(kSampleEvent, &provider), TextKind::kEvent);
  EXPECT_EQ(provider, "{D8909C24-5BE9-4502-98CA-AB7BDC24899D}");
  EXPECT_EQ(Classify(kCrash, &provider), TextKind::kCrashEvent);
  EXPECT_EQ(Classify(kReport, &provider), TextKind::kDumpReport);
  EXPECT_EQ(Classify(R"({"x":1})", &provider), TextKind::kOther);
  EXPECT_EQ(Classify("", &provider), TextKind::kOther);
}

TEST(TextCounts, AKeyInsideAValueIsNotTakenForTheKey) {
  std::string provider;
  EXPECT_EQ(Classify(R"({"Mod":"\"ProviderGUID\":\"{x}\"","ProviderGUID":"{y}"})", &provider), TextKind::kEvent);
  EXPECT_EQ(provider, "{y}");
}

TEST(TextCounts, AnEventOfAProviderOutsideTheSevenIsNamedByItsGuid) {
  TextCounts counts;
  counts.Add(R"({"ProviderGUID":"{00000000-0000-0000-0000-000000000001}"})");
  EXPECT_EQ(counts.Summary(), "1 text: 1 event ({00000000-0000-0000-0000-000000000001} 1)");
}

TEST(TextCounts, SumUpByKindAndProvider) {
  TextCounts counts;
  EXPECT_EQ(counts.Summary(), "0 texts");
  counts.Add(kSampleEvent);
  counts.Add(kUsbEvent);
  counts.Add(kUsbEvent);
  counts.Add(kCrash);
  counts.Add(kReport);
  counts.Add(kReport);
  EXPECT_EQ(counts.total(), 6u);
  EXPECT_EQ(counts.Summary(), "6 texts: 3 events (SourceUsb 2, ProviderSample 1), 1 crash event, 2 dump reports");
}

}  // namespace
}  // namespace varnel::host
