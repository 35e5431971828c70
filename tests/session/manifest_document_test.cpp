#include "session/manifest_document.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace varnel {
namespace {

using tinyxml2::XMLElement;

class ManifestDocument : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(
        BuildManifestDocument({"SourceUsb", "{4A234950-2B7D-4221-BADF-12593BD342A8}", "SourceUsbGUID"}, &document_));
    root_ = document_.RootElement();
    provider_ = root_->FirstChildElement("instrumentation")->FirstChildElement("events")->FirstChildElement("provider");
  }

  static std::vector<std::string> Attributes(const XMLElement* element) {
    std::vector<std::string> all;
    for (const auto* at = element->FirstAttribute(); at != nullptr; at = at->Next()) {
      all.push_back(std::string(at->Name()) + "=" + at->Value());
    }
    return all;
  }

  static std::vector<const XMLElement*> Children(const XMLElement* parent) {
    std::vector<const XMLElement*> all;
    for (auto* child = parent->FirstChildElement(); child != nullptr; child = child->NextSiblingElement()) {
      all.push_back(child);
    }
    return all;
  }

  static std::vector<std::string> Names(const XMLElement* parent) {
    std::vector<std::string> all;
    for (const XMLElement* child : Children(parent)) all.push_back(child->Name());
    return all;
  }

  tinyxml2::XMLDocument document_{true, tinyxml2::PRESERVE_WHITESPACE};
  XMLElement* root_ = nullptr;
  XMLElement* provider_ = nullptr;
};

using Texts = std::vector<std::string>;

TEST_F(ManifestDocument, HasNoDeclarationAndTheThreeNamespaces) {
  EXPECT_EQ(document_.FirstChild()->ToElement(), root_);
  EXPECT_STREQ(root_->Name(), "instrumentationManifest");
  EXPECT_EQ(Attributes(root_), (Texts{"xmlns=http://schemas.microsoft.com/win/2004/08/events",
                                      "xmlns:win=http://manifests.microsoft.com/win/2004/08/windows/events",
                                      "xmlns:xs=https://www.w3.org/2001/XMLSchema"}));
}

TEST_F(ManifestDocument, StandsInTheOrderOfTheSchema) {
  EXPECT_EQ(Names(root_), (Texts{"instrumentation", "localization"}));
  EXPECT_EQ(Names(provider_), (Texts{"keywords", "templates", "events", "channels"}));
}

TEST_F(ManifestDocument, EachListHasElementsOfOneNameAlone) {
  EXPECT_EQ(Names(root_->FirstChildElement("instrumentation")), Texts{"events"});
  EXPECT_EQ(Names(root_->FirstChildElement("instrumentation")->FirstChildElement("events")), Texts{"provider"});
  EXPECT_EQ(Names(provider_->FirstChildElement("keywords")), Texts(34, "keyword"));
  EXPECT_EQ(Names(provider_->FirstChildElement("templates")), Texts(3, "template"));
  EXPECT_EQ(Names(provider_->FirstChildElement("events")), Texts(3, "event"));
  EXPECT_EQ(Names(provider_->FirstChildElement("channels")), Texts{"importChannel"});
  for (const XMLElement* entry : Children(provider_->FirstChildElement("templates"))) {
    Texts expected(Names(entry).size() - 1, "data");
    expected.push_back("UserData");
    EXPECT_EQ(Names(entry), expected);
    EXPECT_EQ(Names(entry->FirstChildElement("UserData")), Texts{"EventData"});
  }
  const XMLElement* const localization = root_->FirstChildElement("localization");
  EXPECT_EQ(Names(localization), Texts{"resources"});
  EXPECT_EQ(Names(localization->FirstChildElement("resources")), Texts{"stringTable"});
  EXPECT_EQ(Names(localization->FirstChildElement("resources")->FirstChildElement("stringTable")), Texts(3, "string"));
}

TEST_F(ManifestDocument, NamesItsProviderAndNoRealFile) {
  EXPECT_EQ(Attributes(provider_),
            (Texts{"name=SourceUsb", "guid={4A234950-2B7D-4221-BADF-12593BD342A8}", "symbol=SourceUsbGUID",
                   "resourceFileName=c:\\code\\etw\\v2provider\\debug\\v2provider.exe",
                   "messageFileName=c:\\code\\etw\\v2provider\\debug\\v2provider.exe"}));
}

TEST_F(ManifestDocument, HasThirtyFourKeywordsWithRisingBits) {
  const auto keywords = Children(provider_->FirstChildElement("keywords"));
  ASSERT_EQ(keywords.size(), 34u);
  EXPECT_EQ(Attributes(keywords[0]), (Texts{"name=DefaultWithMsgAnsi", "mask=0x1"}));
  EXPECT_EQ(Attributes(keywords[1]), (Texts{"name=DefaultWithMsgWide", "mask=0x2"}));
  EXPECT_EQ(Attributes(keywords[2]), (Texts{"name=DefaultWithBinary", "mask=0x4"}));
  EXPECT_EQ(Attributes(keywords[3]), (Texts{"name=ModuleVNMgr", "mask=0x8"}));
  EXPECT_EQ(Attributes(keywords[4]), (Texts{"name=ModuleReserve1", "mask=0x10"}));
  EXPECT_EQ(Attributes(keywords[6]), (Texts{"name=ModuleReserve3", "mask=0x40"}));
  EXPECT_EQ(Attributes(keywords[7]), (Texts{"name=Module01", "mask=0x80"}));
  EXPECT_EQ(Attributes(keywords[33]), (Texts{"name=Module27", "mask=0x200000000"}));
  std::uint64_t expected = 1;
  for (const XMLElement* keyword : keywords) {
    EXPECT_EQ(std::stoull(keyword->Attribute("mask"), nullptr, 16), expected);
    expected <<= 1;
  }
}

TEST_F(ManifestDocument, EachTemplateListsItsFieldsAndThenNumbersThem) {
  const Texts common = {"name=Counter,inType=win:UInt32", "name=Flags,inType=win:UInt32",
                        "name=Function,inType=win:AnsiString", "name=CodeLine,inType=win:UInt32",
                        "name=status,inType=win:UInt32"};
  const std::vector<std::pair<std::string, Texts>> expected = {
      {"TransferMsgAnsi", {"name=AdditionalMsgAnsi,inType=win:AnsiString"}},
      {"TransferMsgWide", {"name=AdditionalMsgWide,inType=win:UnicodeString"}},
      {"TransferBinary",
       {"name=BinaryCount,inType=win:UInt32", "name=AdditionalBinary,inType=win:UInt8,count=BinaryCount"}}};
  const auto templates = Children(provider_->FirstChildElement("templates"));
  ASSERT_EQ(templates.size(), expected.size());
  for (std::size_t i = 0; i < templates.size(); ++i) {
    EXPECT_EQ(Attributes(templates[i]), Texts{"tid=" + expected[i].first});
    Texts fields = common;
    fields.insert(fields.end(), expected[i].second.begin(), expected[i].second.end());
    const auto children = Children(templates[i]);
    ASSERT_EQ(children.size(), fields.size() + 1);
    const XMLElement* event_data = children.back()->FirstChildElement("EventData");
    EXPECT_STREQ(children.back()->Name(), "UserData");
    EXPECT_EQ(Attributes(event_data), Texts{"xmlns=ProviderNamespace"});
    const auto numbers = Children(event_data);
    for (std::size_t n = 0; n < fields.size(); ++n) {
      std::string joined;
      for (const auto& attribute : Attributes(children[n])) joined += (joined.empty() ? "" : ",") + attribute;
      EXPECT_EQ(joined, fields[n]);
      EXPECT_STREQ(numbers[n]->Name(), children[n]->Attribute("name"));
      EXPECT_EQ(numbers[n]->GetText(), " %" + std::to_string(n + 1) + " ");
    }
  }
}

TEST_F(ManifestDocument, EachEventMayBearEveryModuleKeyword) {
  std::string modules = " ModuleVNMgr ModuleReserve1 ModuleReserve2 ModuleReserve3";
  for (int n = 1; n <= 27; ++n) modules += std::string(" Module") + (n < 10 ? "0" : "") + std::to_string(n);
  const char* ids[] = {"TransferMsgAnsi", "TransferMsgWide", "TransferBinary"};
  const char* own[] = {"DefaultWithMsgAnsi", "DefaultWithMsgWide", "DefaultWithBinary"};
  const auto events = Children(provider_->FirstChildElement("events"));
  ASSERT_EQ(events.size(), 3u);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(Attributes(events[i]),
              (Texts{"value=" + std::to_string(i + 1), "level=win:Informational", std::string("template=") + ids[i],
                     "channel=Application", std::string("message=$(string.Event.") + ids[i] + ")",
                     "keywords=" + (own[i] + modules)}));
  }
}

TEST_F(ManifestDocument, EndsWithTheChannelAndTheMessages) {
  const auto channels = Children(provider_->FirstChildElement("channels"));
  ASSERT_EQ(channels.size(), 1u);
  EXPECT_STREQ(channels[0]->Name(), "importChannel");
  EXPECT_EQ(Attributes(channels[0]), (Texts{"name=Application", "chid=Application"}));
  const XMLElement* resources = root_->FirstChildElement("localization")->FirstChildElement("resources");
  EXPECT_EQ(Attributes(resources), Texts{"culture=en-US"});
  const auto strings = Children(resources->FirstChildElement("stringTable"));
  ASSERT_EQ(strings.size(), 3u);
  EXPECT_EQ(Attributes(strings[0]), (Texts{"id=Event.TransferMsgAnsi", "value=ID(%1) Message has sent."}));
  EXPECT_EQ(Attributes(strings[1]), (Texts{"id=Event.TransferMsgWide", "value=ID(%1) Message has sent."}));
  EXPECT_EQ(Attributes(strings[2]), (Texts{"id=Event.TransferBinary", "value=ID(%1) Binary has sent."}));
}

}  // namespace
}  // namespace varnel
