#include "host/event_payload.h"

#include "formats/text_encoding.h"

namespace varnel::host {
namespace {

using Bytes = std::vector<std::byte>;

void AppendNumber(Bytes* out, std::uint32_t value, int width) {
  for (int i = 0; i < width; ++i) out->push_back(static_cast<std::byte>(value >> (8 * i)));
}

void AppendText(Bytes* out, std::string_view text) {
  for (const char c : text) out->push_back(static_cast<std::byte>(c));
}

}  // namespace

std::uint16_t EventId(EmitTemplate kind) {
  switch (kind) {
    case EmitTemplate::kAnsi:
      return 1;
    case EmitTemplate::kWide:
      return 2;
    case EmitTemplate::kBinary:
      return 3;
  }
  return 0;
}

Bytes MakePayload(EmitTemplate kind, const PayloadFields& fields, std::string_view text) {
  Bytes out;
  AppendNumber(&out, fields.counter, 4);
  AppendNumber(&out, fields.flags, 4);
  AppendText(&out, fields.function);
  AppendNumber(&out, 0, 1);
  AppendNumber(&out, fields.code_line, 4);
  AppendNumber(&out, fields.status, 4);
  switch (kind) {
    case EmitTemplate::kAnsi:
      AppendText(&out, text);
      AppendNumber(&out, 0, 1);
      break;
    case EmitTemplate::kWide:
      for (const char16_t unit : formats::Utf8ToUtf16(text)) AppendNumber(&out, unit, 2);
      AppendNumber(&out, 0, 2);
      break;
    case EmitTemplate::kBinary:
      AppendNumber(&out, static_cast<std::uint32_t>(text.size()), 4);
      AppendText(&out, text);
      break;
  }
  return out;
}

}  // namespace varnel::host
