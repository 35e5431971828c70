#include "session/manifest_document.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <span>

#include "base/format.h"

namespace varnel {
namespace {

using tinyxml2::XMLDocument;
using tinyxml2::XMLElement;

constexpr char kMessageFile[] = "c:\\code\\etw\\v2provider\\debug\\v2provider.exe";
constexpr int kReserveKeywords = 3;
constexpr int kModuleKeywords = 27;

struct Field {
  const char* name;
  const char* in_type;
  const char* count = nullptr;  // the field that holds the number of elements
};

constexpr std::array<Field, 6> kAnsiFields = {{{"Counter", "win:UInt32"},
                                               {"Flags", "win:UInt32"},
                                               {"Function", "win:AnsiString"},
                                               {"CodeLine", "win:UInt32"},
                                               {"status", "win:UInt32"},
                                               {"AdditionalMsgAnsi", "win:AnsiString"}}};
constexpr std::array<Field, 6> kWideFields = {{{"Counter", "win:UInt32"},
                                               {"Flags", "win:UInt32"},
                                               {"Function", "win:AnsiString"},
                                               {"CodeLine", "win:UInt32"},
                                               {"status", "win:UInt32"},
                                               {"AdditionalMsgWide", "win:UnicodeString"}}};
constexpr std::array<Field, 7> kBinaryFields = {{{"Counter", "win:UInt32"},
                                                 {"Flags", "win:UInt32"},
                                                 {"Function", "win:AnsiString"},
                                                 {"CodeLine", "win:UInt32"},
                                                 {"status", "win:UInt32"},
                                                 {"BinaryCount", "win:UInt32"},
                                                 {"AdditionalBinary", "win:UInt8", "BinaryCount"}}};

/// A template and the one event that has it.
struct Template {
  const char* id;
  std::span<const Field> fields;
  const char* event_value;
  const char* message;
  const char* first_keyword;
  const char* string_id;
  const char* string_value;
};

constexpr std::array<Template, 3> kTemplates = {{
    {"TransferMsgAnsi", kAnsiFields, "1", "$(string.Event.TransferMsgAnsi)", "DefaultWithMsgAnsi",
     "Event.TransferMsgAnsi", "ID(%1) Message has sent."},
    {"TransferMsgWide", kWideFields, "2", "$(string.Event.TransferMsgWide)", "DefaultWithMsgWide",
     "Event.TransferMsgWide", "ID(%1) Message has sent."},
    {"TransferBinary", kBinaryFields, "3", "$(string.Event.TransferBinary)", "DefaultWithBinary",
     "Event.TransferBinary", "ID(%1) Binary has sent."},
}};

/// Builds the tree, element by element. Running out of memory throws, and is caught at the one entry below.
class Builder {
 public:
  explicit Builder(XMLDocument* document) : document_(document) {}

  XMLElement* Add(tinyxml2::XMLNode* parent, const char* name) {
    XMLElement* element = document_->NewElement(name);
    parent->InsertEndChild(element);
    return element;
  }

  void AddKeyword(XMLElement* keywords, const char* name, const char* mask) {
    XMLElement* keyword = Add(keywords, "keyword");
    keyword->SetAttribute("name", name);
    keyword->SetAttribute("mask", mask);
  }

  void AddComputedKeyword(XMLElement* keywords, const char* name, int bit) {
    char mask[32];
    FormatTo(mask, std::size(mask), "0x%llX", std::uint64_t{1} << bit);
    AddKeyword(keywords, name, mask);
  }

  void AddKeywords(XMLElement* provider) {
    XMLElement* keywords = Add(provider, "keywords");
    AddKeyword(keywords, "DefaultWithMsgAnsi", "0x1");
    AddKeyword(keywords, "DefaultWithMsgWide", "0x2");
    AddKeyword(keywords, "DefaultWithBinary", "0x4");
    AddKeyword(keywords, "ModuleVNMgr", "0x8");
    char name[32];
    for (int n = 1; n <= kReserveKeywords; ++n) {
      FormatTo(name, std::size(name), "ModuleReserve%d", n);
      AddComputedKeyword(keywords, name, n + 3);
    }
    for (int n = 1; n <= kModuleKeywords; ++n) {
      FormatTo(name, std::size(name), "Module%02d", n);
      AddComputedKeyword(keywords, name, n + 6);
    }
  }

  void AddUserData(XMLElement* parent, std::span<const Field> fields) {
    XMLElement* event_data = Add(Add(parent, "UserData"), "EventData");
    event_data->SetAttribute("xmlns", "ProviderNamespace");
    int position = 0;
    for (const Field& field : fields) {
      char text[16];
      FormatTo(text, std::size(text), " %%%d ", ++position);
      Add(event_data, field.name)->InsertEndChild(document_->NewText(text));
    }
  }

  void AddTemplates(XMLElement* provider) {
    XMLElement* templates = Add(provider, "templates");
    for (const Template& entry : kTemplates) {
      XMLElement* element = Add(templates, "template");
      element->SetAttribute("tid", entry.id);
      for (const Field& field : entry.fields) {
        XMLElement* data = Add(element, "data");
        data->SetAttribute("name", field.name);
        data->SetAttribute("inType", field.in_type);
        if (field.count != nullptr) data->SetAttribute("count", field.count);
      }
      AddUserData(element, entry.fields);
    }
  }

  void AddEvents(XMLElement* provider) {
    XMLElement* events = Add(provider, "events");
    for (const Template& entry : kTemplates) {
      char keywords[512];
      FormatEventKeywords(keywords, entry.first_keyword);
      XMLElement* event = Add(events, "event");
      event->SetAttribute("value", entry.event_value);
      event->SetAttribute("level", "win:Informational");
      event->SetAttribute("template", entry.id);
      event->SetAttribute("channel", "Application");
      event->SetAttribute("message", entry.message);
      event->SetAttribute("keywords", keywords);
    }
  }

  void AddLocalization(XMLElement* root) {
    XMLElement* resources = Add(Add(root, "localization"), "resources");
    resources->SetAttribute("culture", "en-US");
    XMLElement* table = Add(resources, "stringTable");
    for (const Template& entry : kTemplates) {
      XMLElement* text = Add(table, "string");
      text->SetAttribute("id", entry.string_id);
      text->SetAttribute("value", entry.string_value);
    }
  }

 private:
  /// The event's own keyword, then every module's: each event may bear any of them.
  static void FormatEventKeywords(char (&out)[512], const char* first_keyword) {
    FormatTo(out, std::size(out), "%s ModuleVNMgr", first_keyword);
    std::size_t used = std::strlen(out);
    for (int n = 1; n <= kReserveKeywords; ++n) {
      FormatTo(out + used, std::size(out) - used, " ModuleReserve%d", n);
      used += std::strlen(out + used);
    }
    for (int n = 1; n <= kModuleKeywords; ++n) {
      FormatTo(out + used, std::size(out) - used, " Module%02d", n);
      used += std::strlen(out + used);
    }
  }

  XMLDocument* const document_;
};

}  // namespace

bool BuildManifestDocument(const ManifestIdentity& identity, XMLDocument* document) {
  try {
    Builder builder(document);
    XMLElement* root = builder.Add(document, "instrumentationManifest");
    root->SetAttribute("xmlns", "http://schemas.microsoft.com/win/2004/08/events");
    root->SetAttribute("xmlns:win", "http://manifests.microsoft.com/win/2004/08/windows/events");
    root->SetAttribute("xmlns:xs", "https://www.w3.org/2001/XMLSchema");
    XMLElement* provider = builder.Add(builder.Add(builder.Add(root, "instrumentation"), "events"), "provider");
    provider->SetAttribute("name", identity.name);
    provider->SetAttribute("guid", identity.guid);
    provider->SetAttribute("symbol", identity.symbol);
    provider->SetAttribute("resourceFileName", kMessageFile);
    provider->SetAttribute("messageFileName", kMessageFile);
    builder.AddKeywords(provider);
    builder.AddTemplates(provider);
    builder.AddEvents(provider);
    XMLElement* channel = builder.Add(builder.Add(provider, "channels"), "importChannel");
    channel->SetAttribute("name", "Application");
    channel->SetAttribute("chid", "Application");
    builder.AddLocalization(root);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

}  // namespace varnel
