// The input and output types of event properties: numbers, names in manifests, sizes, defaults. The numbers are those
// of TDH_INTYPE and TDH_OUTTYPE. Constant data; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace varnel::formats {

/// Numbers without a name here are kept as they are; a property of such a type can't be measured.
enum class InType : std::uint16_t {
  kNull = 0,
  kUnicodeString = 1,
  kAnsiString = 2,
  kInt8 = 3,
  kUInt8 = 4,
  kInt16 = 5,
  kUInt16 = 6,
  kInt32 = 7,
  kUInt32 = 8,
  kInt64 = 9,
  kUInt64 = 10,
  kFloat = 11,
  kDouble = 12,
  kBoolean = 13,
  kBinary = 14,
  kGuid = 15,
  kPointer = 16,
  kFileTime = 17,
  kSystemTime = 18,
  kSid = 19,
  kHexInt32 = 20,
  kHexInt64 = 21,
  kCountedUnicodeString = 22,
  kCountedAnsiString = 23,
  kTraceLoggingStruct = 24,
  kCountedBinary = 25,
  kWbemCountedString = 300,
  kWbemCountedAnsiString = 301,
  kWbemReversedCountedString = 302,
  kWbemReversedCountedAnsiString = 303,
  kWbemNonNullTerminatedString = 304,
  kWbemNonNullTerminatedAnsiString = 305,
  kWbemUnicodeChar = 306,
  kWbemAnsiChar = 307,
  kWbemSizeT = 308,
  kWbemHexDump = 309,
  kWbemSid = 310,
};

enum class OutType : std::uint16_t {
  kNull = 0,
  kString = 1,
  kDateTime = 2,
  kByte = 3,
  kUnsignedByte = 4,
  kShort = 5,
  kUnsignedShort = 6,
  kInt = 7,
  kUnsignedInt = 8,
  kLong = 9,
  kUnsignedLong = 10,
  kFloat = 11,
  kDouble = 12,
  kBoolean = 13,
  kGuid = 14,
  kHexBinary = 15,
  kHexInt8 = 16,
  kHexInt16 = 17,
  kHexInt32 = 18,
  kHexInt64 = 19,
  kPid = 20,
  kTid = 21,
  kPort = 22,
  kIpV4 = 23,
  kIpV6 = 24,
  kSocketAddress = 25,
  kCimDateTime = 26,
  kEtwTime = 27,
  kXml = 28,
  kErrorCode = 29,
  kWin32Error = 30,
  kNtStatus = 31,
  kHResult = 32,
  kDateTimeCultureInsensitive = 33,
  kJson = 34,
  kUtf8 = 35,
  kPkcs7WithTypeInfo = 36,
  kCodePointer = 37,
  kDateTimeUtc = 38,
};

/// How the size of one value of a type is found.
enum class SizeRule : std::uint8_t {
  kUnknown,          // it can't be: the type is not known
  kFixed,            // `size` bytes
  kPointer,          // by the event's pointer width
  kUnicodeText,      // `length` characters of 2 bytes, else to the NUL or the end
  kAnsiText,         // `length` bytes, else to the NUL or the end
  kBinary,           // `length` bytes
  kSid,              // 8 + 4 for each sub-authority
  kCounted,          // 2 bytes of count and the bytes it counts
  kCountedReversed,  // the same, the count in big-endian order
  kRest,             // all that is left
  kHexDump,          // 4 bytes of count and the bytes it counts
  kWbemSid,          // two pointers and, unless the first is zero, a SID
};

struct InTypeTraits {
  InType type;
  std::string_view name;  // behind "win:"; empty when manifests have no name for it
  SizeRule rule;
  std::uint8_t size;  // of kFixed
  OutType default_out;
};

/// The traits of a type; those of kUnknown for a number without a name.
const InTypeTraits& TraitsOf(InType type);

/// The type of an inType attribute without its prefix, such as "UInt32" or "28".
std::optional<InType> InTypeByName(std::string_view name);

/// The same for outType, with either prefix taken off.
std::optional<OutType> OutTypeByName(std::string_view name);

/// True for the integers that can give a length or a count.
bool IsCountingType(InType type);

}  // namespace varnel::formats
