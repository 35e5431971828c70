// The text forms of single values as events carry them: times, addresses, identifiers, byte lists. Pure; any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace varnel::formats {

/// "0x1F": upper case, no leading zeros.
std::string HexText(std::uint64_t value);

/// "0x00FF": two digits a byte; "0x" for none.
std::string HexBytesText(std::span<const std::byte> bytes);

/// "2026-11-21T15:08:00.1234567Z" of a count of 100 ns since 1601, UTC.
std::string FileTimeText(std::uint64_t filetime);

/// "2026-11-21T15:08:00.123Z" of the 16 bytes of a SYSTEMTIME, as they stand.
std::string SystemTimeText(std::span<const std::byte> bytes);

/// "S-1-5-18". Bytes that are no SID come back as HexBytesText.
std::string SidText(std::span<const std::byte> bytes);

/// "10.0.0.1" of 4 bytes in the order of the network.
std::string IpV4Text(std::span<const std::byte> bytes);

/// The shortened form of 16 bytes, "fe80::1".
std::string IpV6Text(std::span<const std::byte> bytes);

/// "10.0.0.1:80" or "[fe80::1]:80" of a socket address; other families as HexBytesText.
std::string SocketAddressText(std::span<const std::byte> bytes);

/// The shortest decimal text that reads back as the same number; "inf", "nan" for what is none.
std::string FloatText(float value);
std::string DoubleText(double value);

}  // namespace varnel::formats
