#include "platform/embedded/tools/registry_dump.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>

#include "formats/text_encoding.h"
#include "platform/embedded/core/casefold.h"
#include "platform/embedded/tools/open_key.h"

namespace varnel::embedded {
namespace {

using namespace platform;
using formats::Error;
using formats::Status;

constexpr int kDeepest = 512;  // levels; deeper ones are not printed

struct Root {
  std::u16string_view name;
  std::u16string_view short_name;
  HKEY key;
};
const Root kRoots[] = {{u"HKEY_LOCAL_MACHINE", u"HKLM", kHkeyLocalMachine}, {u"HKEY_USERS", u"HKU", kHkeyUsers}};

constexpr std::array<const char*, 12> kTypeNames = {"REG_NONE",
                                                    "REG_SZ",
                                                    "REG_EXPAND_SZ",
                                                    "REG_BINARY",
                                                    "REG_DWORD",
                                                    "REG_DWORD_BIG_ENDIAN",
                                                    "REG_LINK",
                                                    "REG_MULTI_SZ",
                                                    "REG_RESOURCE_LIST",
                                                    "REG_FULL_RESOURCE_DESCRIPTOR",
                                                    "REG_RESOURCE_REQUIREMENTS_LIST",
                                                    "REG_QWORD"};

std::string TypeName(std::uint32_t type) {
  return type < kTypeNames.size() ? kTypeNames[type] : "type " + std::to_string(type);
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      quoted += {'\\', c};
    } else if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\u%04x", static_cast<unsigned>(c));
      quoted += escaped;
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

std::string Hexadecimal(const std::vector<std::byte>& bytes) {
  std::string text;
  for (const std::byte byte : bytes) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", std::to_integer<unsigned>(byte));
    text += two;
  }
  return text;
}

// The texts in a value's data: one, or those of a list, without the zeros that end them.
std::vector<std::string> Texts(const NamedValue& value) {
  std::string all = formats::Utf16BytesToUtf8(value.data);
  std::vector<std::string> texts;
  if (value.type != kRegMultiSz) return {all.substr(0, all.find('\0'))};
  for (std::size_t at = 0; at < all.size() && all[at] != '\0';) {
    const std::size_t end = std::min(all.find('\0', at), all.size());
    texts.push_back(all.substr(at, end - at));
    at = end + 1;
  }
  return texts;
}

template <typename T>
std::optional<T> Number(const NamedValue& value) {
  T number = 0;
  if (value.data.size() != sizeof number) return std::nullopt;
  std::memcpy(&number, value.data.data(), sizeof number);
  return number;
}

// The data as JSON, which serves as its text too.
std::string Data(const NamedValue& value) {
  switch (value.type) {
    case kRegSz:
    case kRegExpandSz:
      return Quoted(Texts(value)[0]);
    case kRegMultiSz: {
      std::string list;
      for (const std::string& text : Texts(value)) list += (list.empty() ? "" : ",") + Quoted(text);
      return '[' + list + ']';
    }
    case kRegDword:
      if (const auto number = Number<std::uint32_t>(value)) return std::to_string(*number);
      break;
    case kRegQword:
      if (const auto number = Number<std::uint64_t>(value)) return Quoted(std::to_string(*number));
      break;
    default:
      break;
  }
  return Quoted(Hexadecimal(value.data));
}

class Dump {
 public:
  Dump(DumpForm form, const DumpLine& line) : form_(form), line_(line) {}

  void Print(const OpenKey& key, const std::string& path, int depth) {
    if (form_ == DumpForm::kText) {
      PrintText(key, path);
    } else {
      PrintJson(key, path);
    }
    if (depth >= kDeepest) return;
    for (const std::u16string& name : key.SubKeys()) {
      const OpenKey below = key.Open(name, kKeyRead);
      if (below.is_open()) Print(below, path + '\\' + formats::Utf16ToUtf8(name), depth + 1);
    }
  }

 private:
  void PrintText(const OpenKey& key, const std::string& path) const {
    line_('[' + path + ']');
    for (const NamedValue& value : key.Values()) {
      const std::string name = value.name.empty() ? "@" : Quoted(formats::Utf16ToUtf8(value.name));
      line_("  " + name + " = " + TypeName(value.type) + ' ' + Data(value));
    }
  }

  void PrintJson(const OpenKey& key, const std::string& path) const {
    std::string values;
    for (const NamedValue& value : key.Values()) {
      values += (values.empty() ? "" : ",") + ("{\"name\":" + Quoted(formats::Utf16ToUtf8(value.name)));
      values += ",\"type\":" + Quoted(TypeName(value.type)) + ",\"data\":" + Data(value) + '}';
    }
    line_("{\"key\":" + Quoted(path) + ",\"values\":[" + values + "]}");
  }

  const DumpForm form_;
  const DumpLine& line_;
};

const Root* FindRoot(std::u16string_view name) {
  for (const Root& root : kRoots) {
    if (EqualFolded(name, root.name) || EqualFolded(name, root.short_name)) return &root;
  }
  return nullptr;
}

}  // namespace

Status DumpRegistry(Registry& registry, std::string_view key, DumpForm form, const DumpLine& line) {
  Dump dump(form, line);
  if (key.empty()) {
    for (const Root& root : kRoots) {
      const OpenKey opened = OpenKey::Of(registry, root.key, u"", kKeyRead);
      if (!opened.is_open()) return Error{"the registry can't be read (error " + std::to_string(opened.result()) + ")"};
      dump.Print(opened, formats::Utf16ToUtf8(root.name), 0);
    }
    return formats::Ok();
  }
  std::u16string path = formats::Utf8ToUtf16(key);
  while (!path.empty() && path.back() == u'\\') path.pop_back();
  const std::size_t end = std::min(path.find(u'\\'), path.size());
  const Root* const root = FindRoot(std::u16string_view(path).substr(0, end));
  if (root == nullptr) return Error{std::string(key) + ": begins with no root such as HKEY_LOCAL_MACHINE"};
  const std::u16string below = end < path.size() ? path.substr(end + 1) : u"";
  const OpenKey opened = OpenKey::Of(registry, root->key, below, kKeyRead);
  if (opened.result() == kErrorFileNotFound) return Error{std::string(key) + ": no such key"};
  if (!opened.is_open()) {
    return Error{std::string(key) + ": can't be opened (error " + std::to_string(opened.result()) + ")"};
  }
  const std::u16string full = std::u16string(root->name) + (below.empty() ? u"" : u"\\") + below;
  dump.Print(opened, formats::Utf16ToUtf8(full), 0);
  return formats::Ok();
}

}  // namespace varnel::embedded
