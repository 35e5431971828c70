#include "formats/manifest_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace varnel::formats {
namespace {

using ::testing::ElementsAre;

class ManifestNames : public ::testing::Test {
 protected:
  void Read(const char* provider) {
    ASSERT_EQ(document_.Parse(provider), tinyxml2::XML_SUCCESS);
    const ManifestStrings strings(*document_.RootElement());
    const Status status = ReadNames(*document_.RootElement(), strings, errors_, &provider_);
    EXPECT_TRUE(status.ok()) << (status.ok() ? "" : status.error().message);
  }

  EventDefinition Resolve(const char* event) {
    tinyxml2::XMLDocument document;
    EXPECT_EQ(document.Parse(event), tinyxml2::XML_SUCCESS);
    EventDefinition definition;
    ResolveEventNames(*document.RootElement(), &provider_, &definition);
    return definition;
  }

  tinyxml2::XMLDocument document_;
  ManifestErrors errors_{"m"};
  ProviderManifest provider_;
};

TEST_F(ManifestNames, AnEventThatNamesNothingHasZeros) {
  Read("<provider/>");
  const EventDefinition event = Resolve("<event/>");
  EXPECT_EQ(event.level, 0);
  EXPECT_EQ(event.opcode, 0);
  EXPECT_EQ(event.task, 0);
  EXPECT_EQ(event.keywords, 0u);
  EXPECT_EQ(event.channel, 0);
  EXPECT_EQ(event.level_name, "");
  EXPECT_EQ(provider_.unresolved_references, 0u);
}

TEST_F(ManifestNames, KeywordsMayHaveBlanksAnywhereAndKeepTheirOrder) {
  Read("<provider><keywords><keyword name='b' mask='0x2'/><keyword name='a' mask='0x1'/></keywords></provider>");
  const EventDefinition event = Resolve("<event keywords='  a  b win:SQM '/>");
  EXPECT_EQ(event.keywords, 0x0008000000000003u);
  EXPECT_THAT(event.keyword_names, ElementsAre("a", "b", "SQM"));
}

TEST_F(ManifestNames, LevelsOfTheProviderGoBeforeThePredefined) {
  Read("<provider><levels><level name='win:Error' value='20'/><level name='own' value='16'/></levels></provider>");
  EXPECT_EQ(Resolve("<event level='own'/>").level, 16);
  EXPECT_EQ(Resolve("<event level='win:Error'/>").level, 20);
  EXPECT_EQ(Resolve("<event level='win:Verbose'/>").level, 5);
}

TEST_F(ManifestNames, TasksOfRealDumpsAreLargerThanTheRuleAllows) {
  Read("<provider><tasks><task name='t' value='65534'/><task name='z' value='0'/></tasks></provider>");
  EXPECT_EQ(Resolve("<event task='t'/>").task, 65534);
  EXPECT_EQ(Resolve("<event task='z'/>").task_name, "z");
}

TEST_F(ManifestNames, EachNameThatNothingDefinesIsCounted) {
  Read("<provider/>");
  Resolve("<event level='a' task='b' opcode='c' keywords='d e' channel='f'/>");
  EXPECT_EQ(provider_.unresolved_references, 6u);
}

TEST_F(ManifestNames, MoreThan64ChannelsHaveNoKeywordBitLeft) {
  std::string text = "<provider><channels>";
  for (int i = 0; i < 66; ++i) text += "<channel name='c" + std::to_string(i) + "' type='Debug'/>";
  Read((text + "</channels></provider>").c_str());
  EXPECT_EQ(Resolve("<event channel='c63'/>").keywords, 1u);
  EXPECT_EQ(Resolve("<event channel='c64'/>").keywords, 0u);
  EXPECT_EQ(Resolve("<event channel='c65'/>").channel, 16 + 65);
}

}  // namespace
}  // namespace varnel::formats
