#include "pipeline/property_text.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "base/text.h"
#include "pipeline/heap_block.h"
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

void AddText(cJSON* json, const PropertyValue& property, const char* text) {
  cJSON_AddStringToObject(json, property.name, text);
}

void AddWideString(cJSON* json, const PropertyValue& property) {
  platform::System& system = platform::SystemPort();
  const auto* wide = reinterpret_cast<const char16_t*>(property.data);
  const std::int32_t size = system.WideCharToMultiByte(platform::kCpUtf8, 0, wide, -1, nullptr, 0);
  if (size <= 0) return;
  const HeapBlock text(static_cast<std::size_t>(size));
  if (text.data() == nullptr) return;
  if (system.WideCharToMultiByte(platform::kCpUtf8, 0, wide, -1, text.as<char>(), size) <= 0) return;
  AddText(json, property, text.as<char>());
}

void AddByteList(cJSON* json, const PropertyValue& property, std::size_t limit) {
  const HeapBlock text(ByteListCapacity(property.size));
  if (text.data() == nullptr) return;
  WriteByteList({property.data, std::min<std::size_t>(property.size, limit)}, text.as<char>());
  AddText(json, property, text.as<char>());
}

void AddInt32(cJSON* json, const PropertyValue& property, NumberText text) {
  const auto value = ReadAs<std::uint32_t>(property);
  if (CompareTextNoCase(property.wide_name, u"CodeLine") == 0) {
    FormatUnsigned(value, text);
  } else {
    FormatHex(value, text);
  }
  AddText(json, property, text.data());
}

void AddGuid(cJSON* json, const PropertyValue& property) {
  std::array<char, 64> text;
  GuidToText(ReadAs<GUID>(property), text.data());
  AddText(json, property, text.data());
}

}  // namespace

void AddPropertyText(cJSON* json, const PropertyValue& property) {
  std::array<char, kNumberTextCapacity> text;
  switch (property.in_type) {
    case kInTypeWideString:
      return AddWideString(json, property);
    case kInTypeNarrowString:
      return AddText(json, property, reinterpret_cast<const char*>(property.data));
    case kInTypeUint8:
      return AddByteList(json, property, property.size);
    case kInTypeInt16:
    case kInTypeUint16:  // both without a sign
      FormatUnsigned(ReadAs<std::uint16_t>(property), text);
      break;
    case kInTypeInt32:
    case kInTypeUint32:
      return AddInt32(json, property, text);
    case kInTypeInt64:
    case kInTypeUint64:
      FormatHex(ReadAs<std::uint64_t>(property), text);
      break;
    case kInTypeFloat:
      FormatFixed(double{ReadAs<float>(property)}, text);
      break;
    case kInTypeDouble:
      FormatFixed(ReadAs<double>(property), text);
      break;
    case kInTypeBoolean:
      return AddText(json, property, ReadAs<std::uint32_t>(property) != 0 ? "TRUE" : "FALSE");
    case kInTypeGuid:
      return AddGuid(json, property);
    default:
      return AddByteList(json, property, kByteListLimit);
  }
  AddText(json, property, text.data());
}

}  // namespace varnel
