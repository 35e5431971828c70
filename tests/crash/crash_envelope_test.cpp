#include "crash/crash_envelope.h"

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/crash/crash_fixture.h"

namespace varnel {
namespace {

class CrashEnvelopeTest : public testing::CrashTest {
 protected:
  static std::string Envelope(std::uint64_t time, std::string* time_text = nullptr) {
    cJSON* const json = cJSON_CreateObject();
    char text[kCrashTextCapacity] = "kept from before";
    AddCrashEnvelope(json, time, "SomeFunction", text);
    char* const printed = cJSON_PrintUnformatted(json);
    const std::string envelope = printed;
    cJSON_free(printed);
    cJSON_Delete(json);
    if (time_text != nullptr) *time_text = text;
    return envelope;
  }
};

TEST_F(CrashEnvelopeTest, HasItsKeysInTheirOrderAllAsTexts) {
  machine_.system.process_id = 4711;
  const std::string thread = std::to_string(machine_.system.GetCurrentThreadId());
  EXPECT_EQ(Envelope(testing::FileTimeOf(2026, 2, 4, 1, 5, 7, 123)),
            "{\"WardletVersion\":\"1.0.2\",\"TimeStamp\":\"0x1DC95724D602830\","
            "\"TimeStampString\":\"2026-02-04T09:05:07\","
            "\"ProviderGUID\":\"{4A234956-2B7D-4221-BADF-12593BD342A8}\",\"Mod\":\"Module01\","
            "\"ProcessId\":\"4711\",\"ThreadId\":\"" +
                thread + "\",\"Function\":\"SomeFunction\",\"CodeLine\":\"0x0\",\"status\":\"0x0\"}");
}

TEST_F(CrashEnvelopeTest, HandsTheTimeAsTextToTheCaller) {
  std::string time_text;
  Envelope(testing::FileTimeOf(2026, 12, 31, 20), &time_text);
  EXPECT_EQ(time_text, "2027-01-01T04:00:00") << "UTC plus eight hours";
}

TEST_F(CrashEnvelopeTest, ATimeOf0HasAnEmptyText) {
  std::string time_text;
  const std::string envelope = Envelope(0, &time_text);
  EXPECT_EQ(time_text, "");
  EXPECT_NE(envelope.find("\"TimeStamp\":\"0x0\",\"TimeStampString\":\"\""), std::string::npos);
}

TEST_F(CrashEnvelopeTest, AnIdentityAbove31BitsIsANegativeNumber) {
  machine_.system.process_id = 0xFFFFFFFE;
  EXPECT_NE(Envelope(1).find("\"ProcessId\":\"-2\""), std::string::npos);
}

TEST_F(CrashEnvelopeTest, ThePreciseTimeIsTheMachines) {
  machine_.system.SetTime(0x1DC95B3A1C2D3E0);
  EXPECT_EQ(PreciseTimeNow(), 0x1DC95B3A1C2D3E0u);
}

}  // namespace
}  // namespace varnel
