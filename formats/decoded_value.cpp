#include "formats/decoded_value.h"

#include <cstdio>

namespace varnel::formats {
namespace {

void AppendEscaped(char c, std::string* out) {
  switch (c) {
    case '"':
      *out += "\\\"";
      return;
    case '\\':
      *out += "\\\\";
      return;
    case '\n':
      *out += "\\n";
      return;
    case '\r':
      *out += "\\r";
      return;
    case '\t':
      *out += "\\t";
      return;
    default:
      break;
  }
  if (static_cast<unsigned char>(c) < 0x20) {
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(c));
    *out += code;
  } else {
    out->push_back(c);
  }
}

void AppendJsonArray(const std::vector<DecodedProperty>& members, std::string* out) {
  out->push_back('[');
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i != 0) out->push_back(',');
    AppendJson(members[i].value, out);
  }
  out->push_back(']');
}

}  // namespace

void AppendJsonString(std::string_view text, std::string* out) {
  out->push_back('"');
  for (const char c : text) AppendEscaped(c, out);
  out->push_back('"');
}

void AppendJsonObject(const std::vector<DecodedProperty>& members, std::string* out) {
  out->push_back('{');
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i != 0) out->push_back(',');
    AppendJsonString(members[i].name, out);
    out->push_back(':');
    AppendJson(members[i].value, out);
  }
  out->push_back('}');
}

void AppendJson(const DecodedValue& value, std::string* out) {
  switch (value.kind) {
    case DecodedValue::Kind::kNull:
      *out += "null";
      return;
    case DecodedValue::Kind::kText:
      AppendJsonString(value.text, out);
      return;
    case DecodedValue::Kind::kNumber:
    case DecodedValue::Kind::kBoolean:
      *out += value.text;
      return;
    case DecodedValue::Kind::kArray:
      AppendJsonArray(value.members, out);
      return;
    case DecodedValue::Kind::kStructure:
      AppendJsonObject(value.members, out);
      return;
  }
}

}  // namespace varnel::formats
