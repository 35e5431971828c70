#include "formats/payload_format.h"

#include <cstring>
#include <string>
#include <utility>

#include "formats/guid_text.h"
#include "formats/payload_decoder.h"
#include "formats/text_encoding.h"
#include "formats/value_text.h"

namespace varnel::formats {
namespace {

using Kind = DecodedValue::Kind;

DecodedValue Text(std::string text) {
  return {Kind::kText, std::move(text), {}};
}

DecodedValue Number(std::string text) {
  return {Kind::kNumber, std::move(text), {}};
}

DecodedValue Boolean(bool value) {
  return {Kind::kBoolean, value ? "true" : "false", {}};
}

/// The bytes as an unsigned little-endian number; at most 8 of them count.
std::uint64_t Unsigned(std::span<const std::byte> bytes) {
  std::uint64_t value = 0;
  std::memcpy(&value, bytes.data(), std::min<std::size_t>(bytes.size(), sizeof value));
  return value;
}

bool IsSigned(InType type) {
  return type == InType::kInt8 || type == InType::kInt16 || type == InType::kInt32 || type == InType::kInt64;
}

bool IsWholeNumber(InType type) {
  const auto number = static_cast<std::uint16_t>(type);
  return (number >= static_cast<std::uint16_t>(InType::kInt8) &&
          number <= static_cast<std::uint16_t>(InType::kUInt64)) ||
         type == InType::kHexInt32 || type == InType::kHexInt64 || type == InType::kPointer ||
         type == InType::kWbemSizeT;
}

DecodedValue DecimalValue(InType type, std::span<const std::byte> bytes) {
  std::uint64_t value = Unsigned(bytes);
  std::string text = std::to_string(value);
  if (IsSigned(type)) {
    const unsigned unused = 64 - 8 * static_cast<unsigned>(bytes.size());
    text = std::to_string(static_cast<std::int64_t>(value << unused) >> unused);
  }
  return bytes.size() > 4 ? Text(std::move(text)) : Number(std::move(text));
}

std::string NarrowText(std::span<const std::byte> bytes) {
  std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  while (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return ToValidUtf8(text);
}

/// Nothing when no entry names the value.
std::string MappedText(const ValueMap& map, std::uint64_t value) {
  if (!map.is_bitmap) {
    for (const ValueMap::Entry& entry : map.entries) {
      if (entry.value == value) return entry.text;
    }
    return {};
  }
  std::string text;
  std::uint64_t rest = value;
  for (const ValueMap::Entry& entry : map.entries) {
    if (entry.value == 0 || (value & entry.value) != entry.value || entry.text.empty()) continue;
    text += (text.empty() ? "" : "|") + entry.text;
    rest &= ~std::uint64_t{entry.value};
  }
  if (!text.empty() && rest != 0) text += "|" + HexText(rest);
  return text;
}

/// A single character that a whole number stands for.
DecodedValue CharacterValue(std::span<const std::byte> bytes) {
  return Text(bytes.size() == 1 ? NarrowText(bytes) : WideText(bytes));
}

DecodedValue WholeNumberValue(const PropertyLayout& property, std::span<const std::byte> bytes) {
  const std::uint64_t value = Unsigned(bytes);
  switch (property.out_type) {
    case OutType::kHexInt8:
    case OutType::kHexInt16:
    case OutType::kHexInt32:
    case OutType::kHexInt64:
    case OutType::kHexBinary:
    case OutType::kErrorCode:
    case OutType::kNtStatus:
    case OutType::kHResult:
    case OutType::kCodePointer:
      return Text(HexText(value));
    case OutType::kBoolean:
      return Boolean(value != 0);
    case OutType::kString:
      return bytes.size() <= 2 ? CharacterValue(bytes) : DecimalValue(property.in_type, bytes);
    case OutType::kPort:
      return bytes.size() == 2 ? Number(std::to_string(((value & 0xFF) << 8) | (value >> 8)))
                               : DecimalValue(property.in_type, bytes);
    case OutType::kIpV4:
      return Text(IpV4Text(bytes));
    case OutType::kDateTime:
    case OutType::kDateTimeUtc:
    case OutType::kDateTimeCultureInsensitive:
      return bytes.size() == 8 ? Text(FileTimeText(value)) : DecimalValue(property.in_type, bytes);
    case OutType::kNull:
      if (TraitsOf(property.in_type).default_out != OutType::kNull) {
        PropertyLayout by_type = property;
        by_type.out_type = TraitsOf(property.in_type).default_out;
        return WholeNumberValue(by_type, bytes);
      }
      return DecimalValue(property.in_type, bytes);
    default:
      return DecimalValue(property.in_type, bytes);
  }
}

DecodedValue BinaryValue(OutType out_type, std::span<const std::byte> bytes) {
  switch (out_type) {
    case OutType::kIpV6:
      return Text(IpV6Text(bytes));
    case OutType::kSocketAddress:
      return Text(SocketAddressText(bytes));
    case OutType::kString:
    case OutType::kUtf8:
    case OutType::kXml:
    case OutType::kJson:
      return Text(NarrowText(bytes));
    default:
      return Text(HexBytesText(bytes));
  }
}

DecodedValue FloatingValue(std::span<const std::byte> bytes) {
  std::string text;
  if (bytes.size() == sizeof(float)) {
    float value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    text = FloatText(value);
  } else if (bytes.size() == sizeof(double)) {
    double value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    text = DoubleText(value);
  }
  // JSON has no infinities and no NaN.
  const bool is_number = text.find_first_of("in") == std::string::npos;
  return is_number ? Number(std::move(text)) : Text(std::move(text));
}

DecodedValue GuidValue(std::span<const std::byte> bytes) {
  GUID guid{};
  if (bytes.size() != sizeof guid) return Text(HexBytesText(bytes));
  std::memcpy(&guid, bytes.data(), sizeof guid);
  return Text(FormatGuid(guid));
}

/// Takes the count in front of a counted value off.
std::span<const std::byte> WithoutPrefix(std::span<const std::byte> bytes, std::size_t prefix) {
  return bytes.size() < prefix ? std::span<const std::byte>{} : bytes.subspan(prefix);
}

/// A SID behind two pointers; nothing when the first is zero.
DecodedValue WbemSidValue(std::span<const std::byte> bytes) {
  if (bytes.size() <= 16) return {};
  // The sizes of the two pointers are told by what is left: a SID says its own size.
  const std::size_t sid = 8 + 4 * std::to_integer<std::size_t>(bytes[9]);
  return Text(SidText(bytes.subspan(bytes.size() == 8 + sid ? 8 : 16)));
}

DecodedValue FormatByType(const PropertyLayout& property, std::span<const std::byte> bytes) {
  switch (property.in_type) {
    case InType::kUnicodeString:
    case InType::kWbemNonNullTerminatedString:
    case InType::kWbemUnicodeChar:
      return Text(WideText(bytes));
    case InType::kAnsiString:
    case InType::kWbemNonNullTerminatedAnsiString:
    case InType::kWbemAnsiChar:
      return Text(NarrowText(bytes));
    case InType::kCountedUnicodeString:
    case InType::kWbemCountedString:
    case InType::kWbemReversedCountedString:
      return Text(WideText(WithoutPrefix(bytes, 2)));
    case InType::kCountedAnsiString:
    case InType::kWbemCountedAnsiString:
    case InType::kWbemReversedCountedAnsiString:
      return Text(NarrowText(WithoutPrefix(bytes, 2)));
    case InType::kFloat:
    case InType::kDouble:
      return FloatingValue(bytes);
    case InType::kBoolean:
      return Boolean(Unsigned(bytes) != 0);
    case InType::kBinary:
      return BinaryValue(property.out_type, bytes);
    case InType::kCountedBinary:
      return BinaryValue(property.out_type, WithoutPrefix(bytes, 2));
    case InType::kWbemHexDump:
      return BinaryValue(property.out_type, WithoutPrefix(bytes, 4));
    case InType::kGuid:
      return GuidValue(bytes);
    case InType::kFileTime:
      return Text(FileTimeText(Unsigned(bytes)));
    case InType::kSystemTime:
      return Text(SystemTimeText(bytes));
    case InType::kSid:
      return Text(SidText(bytes));
    case InType::kWbemSid:
      return WbemSidValue(bytes);
    case InType::kNull:
      return {};
    default:
      return IsWholeNumber(property.in_type) ? WholeNumberValue(property, bytes) : Text(HexBytesText(bytes));
  }
}

/// Builds the values of one payload, front to back.
class PayloadFormatter {
 public:
  PayloadFormatter(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload)
      : walker_(layout, pointer_size, payload) {}

  /// @return false when the property is missing; `*offset` moves behind it else.
  bool Property(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value);

 private:
  bool Element(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value);
  bool Array(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value);

  PayloadWalker walker_;
};

/// Arrays of these are shown as one text.
bool IsByteArray(const PropertyLayout& property) {
  return property.is_array() && !property.is_structure &&
         (property.in_type == InType::kUInt8 ||
          (property.in_type == InType::kInt8 && property.out_type == OutType::kString)) &&
         property.out_type != OutType::kBoolean;
}

bool PayloadFormatter::Property(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value) {
  if (property.is_structure || (property.is_array() && !IsByteArray(property))) {
    return property.is_array() ? Array(property, offset, value) : Element(property, offset, value);
  }
  std::uint32_t size = 0;
  if (!walker_.Measure(property, *offset, &size)) return false;
  const std::span<const std::byte> bytes = walker_.payload().subspan(*offset, size);
  *offset += size;
  if (!IsByteArray(property)) {
    *value = FormatElement(property, bytes);
  } else {
    *value = Text(property.out_type == OutType::kString ? NarrowText(bytes) : HexBytesText(bytes));
  }
  return true;
}

bool PayloadFormatter::Array(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value) {
  std::uint32_t size = 0;
  // Measured whole first: it refuses what costs more than the payload can pay for.
  if (!walker_.Measure(property, *offset, &size)) return false;
  const std::uint32_t count = walker_.CountOf(property);
  value->kind = Kind::kArray;
  for (std::uint32_t i = 0; i < count; ++i) {
    DecodedProperty& element = value->members.emplace_back();
    if (!Element(property, offset, &element.value)) return false;
  }
  return true;
}

bool PayloadFormatter::Element(const PropertyLayout& property, std::uint32_t* offset, DecodedValue* value) {
  if (!property.is_structure) {
    std::uint32_t size = 0;
    if (!walker_.MeasureElement(property, *offset, &size)) return false;
    *value = FormatElement(property, walker_.payload().subspan(*offset, size));
    *offset += size;
    return true;
  }
  value->kind = Kind::kStructure;
  for (std::size_t i = 0; i < property.member_count; ++i) {
    const PropertyLayout& member = walker_.layout().properties[property.first_member + i];
    DecodedProperty decoded{member.name, {}};
    if (!Property(member, offset, &decoded.value)) return false;
    if (!member.is_implied) value->members.push_back(std::move(decoded));
  }
  return true;
}

}  // namespace

std::string WideText(std::span<const std::byte> bytes) {
  // An odd number of bytes does not end in a whole character.
  while (bytes.size() >= 2 && bytes.size() % 2 == 0 && bytes[bytes.size() - 1] == std::byte{0} &&
         bytes[bytes.size() - 2] == std::byte{0}) {
    bytes = bytes.first(bytes.size() - 2);
  }
  return Utf16BytesToUtf8(bytes);
}

DecodedValue FormatElement(const PropertyLayout& property, std::span<const std::byte> bytes) {
  if (property.map != nullptr && IsWholeNumber(property.in_type)) {
    std::string text = MappedText(*property.map, Unsigned(bytes));
    if (!text.empty()) return Text(std::move(text));
  }
  return FormatByType(property, bytes);
}

bool FormatPayload(const EventLayout& layout, std::uint8_t pointer_size, std::span<const std::byte> payload,
                   std::vector<DecodedProperty>* out) {
  PayloadFormatter formatter(layout, pointer_size, payload);
  std::uint32_t offset = 0;
  for (std::size_t i = 0; i < layout.top_level_count; ++i) {
    const PropertyLayout& property = layout.properties[i];
    DecodedProperty decoded{property.name, {}};
    if (!formatter.Property(property, &offset, &decoded.value)) return false;
    if (!property.is_implied) out->push_back(std::move(decoded));
  }
  return true;
}

}  // namespace varnel::formats
