#include "formats/event_types.h"

#include <array>
#include <charconv>

namespace varnel::formats {
namespace {

using I = InType;
using O = OutType;
using R = SizeRule;

constexpr InTypeTraits kUnknownTraits = {I::kNull, "", R::kUnknown, 0, O::kNull};

// In the order of the numbers 0 to 25.
constexpr std::array<InTypeTraits, 26> kManifestTypes = {{
    {I::kNull, "", R::kFixed, 0, O::kNull},
    {I::kUnicodeString, "UnicodeString", R::kUnicodeText, 0, O::kString},
    {I::kAnsiString, "AnsiString", R::kAnsiText, 0, O::kString},
    {I::kInt8, "Int8", R::kFixed, 1, O::kByte},
    {I::kUInt8, "UInt8", R::kFixed, 1, O::kUnsignedByte},
    {I::kInt16, "Int16", R::kFixed, 2, O::kShort},
    {I::kUInt16, "UInt16", R::kFixed, 2, O::kUnsignedShort},
    {I::kInt32, "Int32", R::kFixed, 4, O::kInt},
    {I::kUInt32, "UInt32", R::kFixed, 4, O::kUnsignedInt},
    {I::kInt64, "Int64", R::kFixed, 8, O::kLong},
    {I::kUInt64, "UInt64", R::kFixed, 8, O::kUnsignedLong},
    {I::kFloat, "Float", R::kFixed, 4, O::kFloat},
    {I::kDouble, "Double", R::kFixed, 8, O::kDouble},
    {I::kBoolean, "Boolean", R::kFixed, 4, O::kBoolean},
    {I::kBinary, "Binary", R::kBinary, 0, O::kHexBinary},
    {I::kGuid, "GUID", R::kFixed, 16, O::kGuid},
    {I::kPointer, "Pointer", R::kPointer, 0, O::kHexInt64},
    {I::kFileTime, "FILETIME", R::kFixed, 8, O::kDateTime},
    {I::kSystemTime, "SYSTEMTIME", R::kFixed, 16, O::kDateTime},
    {I::kSid, "SID", R::kSid, 0, O::kString},
    {I::kHexInt32, "HexInt32", R::kFixed, 4, O::kHexInt32},
    {I::kHexInt64, "HexInt64", R::kFixed, 8, O::kHexInt64},
    {I::kCountedUnicodeString, "CountedUnicodeString", R::kCounted, 0, O::kString},
    {I::kCountedAnsiString, "CountedAnsiString", R::kCounted, 0, O::kString},
    {I::kTraceLoggingStruct, "", R::kUnknown, 0, O::kNull},
    {I::kCountedBinary, "CountedBinary", R::kCounted, 0, O::kHexBinary},
}};

// In the order of the numbers from 300.
constexpr std::uint16_t kFirstWbem = 300;
constexpr std::array<InTypeTraits, 11> kWbemTypes = {{
    {I::kWbemCountedString, "", R::kCounted, 0, O::kString},
    {I::kWbemCountedAnsiString, "", R::kCounted, 0, O::kString},
    {I::kWbemReversedCountedString, "", R::kCountedReversed, 0, O::kString},
    {I::kWbemReversedCountedAnsiString, "", R::kCountedReversed, 0, O::kString},
    {I::kWbemNonNullTerminatedString, "", R::kRest, 0, O::kString},
    {I::kWbemNonNullTerminatedAnsiString, "", R::kRest, 0, O::kString},
    {I::kWbemUnicodeChar, "", R::kFixed, 2, O::kString},
    {I::kWbemAnsiChar, "", R::kFixed, 1, O::kString},
    {I::kWbemSizeT, "", R::kPointer, 0, O::kHexInt64},
    {I::kWbemHexDump, "", R::kHexDump, 0, O::kHexBinary},
    {I::kWbemSid, "", R::kWbemSid, 0, O::kString},
}};

struct OutName {
  std::string_view name;
  OutType type;
};
constexpr OutName kOutNames[] = {
    {"string", O::kString},
    {"dateTime", O::kDateTime},
    {"byte", O::kByte},
    {"unsignedByte", O::kUnsignedByte},
    {"short", O::kShort},
    {"unsignedShort", O::kUnsignedShort},
    {"int", O::kInt},
    {"unsignedInt", O::kUnsignedInt},
    {"long", O::kLong},
    {"unsignedLong", O::kUnsignedLong},
    {"float", O::kFloat},
    {"double", O::kDouble},
    {"boolean", O::kBoolean},
    {"GUID", O::kGuid},
    {"hexBinary", O::kHexBinary},
    {"HexInt8", O::kHexInt8},
    {"HexInt16", O::kHexInt16},
    {"HexInt32", O::kHexInt32},
    {"HexInt64", O::kHexInt64},
    {"PID", O::kPid},
    {"TID", O::kTid},
    {"Port", O::kPort},
    {"IPv4", O::kIpV4},
    {"IPv6", O::kIpV6},
    {"SocketAddress", O::kSocketAddress},
    {"CIMDateTime", O::kCimDateTime},
    {"ETWTIME", O::kEtwTime},
    {"Xml", O::kXml},
    {"ErrorCode", O::kErrorCode},
    {"Win32Error", O::kWin32Error},
    {"NTSTATUS", O::kNtStatus},
    {"HResult", O::kHResult},
    {"DateTimeCultureInsensitive", O::kDateTimeCultureInsensitive},
    {"Json", O::kJson},
    {"Utf8", O::kUtf8},
    {"Pkcs7WithTypeInfo", O::kPkcs7WithTypeInfo},
    {"CodePointer", O::kCodePointer},
    {"DateTimeUtc", O::kDateTimeUtc},
};

/// Tools that print a registered provider write "win:28" for a type that they have no name for.
template <typename T>
std::optional<T> TypeByNumber(std::string_view name) {
  std::uint16_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  if (error != std::errc{} || end != name.data() + name.size()) return std::nullopt;
  return static_cast<T>(number);
}

}  // namespace

const InTypeTraits& TraitsOf(InType type) {
  const auto number = static_cast<std::uint16_t>(type);
  if (number < kManifestTypes.size()) return kManifestTypes[number];
  if (number >= kFirstWbem && number - kFirstWbem < static_cast<int>(kWbemTypes.size())) {
    return kWbemTypes[number - kFirstWbem];
  }
  return kUnknownTraits;
}

std::optional<InType> InTypeByName(std::string_view name) {
  if (name.empty()) return std::nullopt;
  for (const InTypeTraits& traits : kManifestTypes) {
    if (traits.name == name) return traits.type;
  }
  return TypeByNumber<InType>(name);
}

std::optional<OutType> OutTypeByName(std::string_view name) {
  for (const OutName& row : kOutNames) {
    if (row.name == name) return row.type;
  }
  return TypeByNumber<OutType>(name);
}

bool IsCountingType(InType type) {
  switch (type) {
    case I::kInt8:
    case I::kUInt8:
    case I::kInt16:
    case I::kUInt16:
    case I::kInt32:
    case I::kUInt32:
    case I::kHexInt32:
      return true;
    default:
      return false;
  }
}

}  // namespace varnel::formats
