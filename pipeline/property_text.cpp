#include "pipeline/property_text.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/heap_block.h"
#include "base/text.h"
#include "pipeline/json_texts.h"
#include "pipeline/number_text.h"
#include "platform/platform.h"

namespace varnel {
namespace {

// Only texts of single bytes, which carry attached binary data, are shown whole.
constexpr std::size_t kByteListLimit = 256;

template <typename T>
T ReadAs(const PropertyValue& property) {
  T value;
  std::memcpy(&value, property.data, sizeof(value));
  return value;
}

void AddWideString(JsonTexts* json, const PropertyValue& property) {
  platform::System& system = platform::SystemPort();
  const auto* wide = reinterpret_cast<const char16_t*>(property.data);
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpUtf8, 0, wide, -1, nullptr, 0);
  if (size <= 0) return;
  const HeapBlock text(static_cast<std::size_t>(size));
  if (text.get() == nullptr) return;
  if (system.WideCharToMultiByte(platform::kCpUtf8, 0, wide, -1, text.as<char>(), size) <= 0) return;
  json->Add(property.name, text.as<char>());
}

void AddByteList(JsonTexts* json, const PropertyValue& property, std::size_t limit) {
  const HeapBlock text(ByteListCapacity(property.size));
  if (text.get() == nullptr) return;
  WriteByteList({property.data, std::min<std::size_t>(property.size, limit)}, text.as<char>());
  json->Add(property.name, text.as<char>());
}

std::size_t FormatInt32(const PropertyValue& property, NumberText text) {
  const auto value = ReadAs<std::uint32_t>(property);
  const bool is_line = SameTextNoCase(property.name, "CodeLine");
  return is_line ? FormatUnsigned(value, text) : FormatHex(value, text);
}

void AddGuid(JsonTexts* json, const PropertyValue& property) {
  std::array<char, 64> text;
  GuidToText(ReadAs<GUID>(property), text.data());
  json->Add(property.name, text.data());
}

/// Gives the text's length, or 0 for a type that is no number.
std::size_t FormatNumber(const PropertyValue& property, NumberText text) {
  switch (property.in_type) {
    case kInTypeInt16:
    case kInTypeUint16:  // both without a sign
      return FormatUnsigned(ReadAs<std::uint16_t>(property), text);
    case kInTypeInt32:
    case kInTypeUint32:
      return FormatInt32(property, text);
    case kInTypeInt64:
    case kInTypeUint64:
      return FormatHex(ReadAs<std::uint64_t>(property), text);
    case kInTypeFloat:
      return FormatFixed(double{ReadAs<float>(property)}, text);
    case kInTypeDouble:
      return FormatFixed(ReadAs<double>(property), text);
    default:
      return 0;
  }
}

}  // namespace

bool SameTextNoCase(std::string_view a, std::string_view b) {
  const auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; };
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) { return fold(x) == fold(y); });
}

void AddPropertyText(JsonTexts* json, const PropertyValue& property) {
  std::array<char, kNumberTextCapacity> number;
  const std::size_t number_length = FormatNumber(property, number);
  if (number_length > 0) return json->Add(property.name, {number.data(), number_length});
  switch (property.in_type) {
    case kInTypeWideString:
      return AddWideString(json, property);
    case kInTypeNarrowString:
      return json->Add(property.name, reinterpret_cast<const char*>(property.data));
    case kInTypeUint8:
      return AddByteList(json, property, property.size);
    case kInTypeBoolean:
      return json->AddConstantText(property.name, ReadAs<std::uint32_t>(property) != 0 ? "TRUE" : "FALSE");
    case kInTypeGuid:
      return AddGuid(json, property);
    default:
      return AddByteList(json, property, kByteListLimit);
  }
}

}  // namespace varnel
