// Events of the System log as XML texts, in the shape in which the platform renders them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace varnel::testing {

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// A FILETIME count as "2026-02-04T01:05:07.1230000Z".
std::string SystemTimeText(std::uint64_t time);

/// An event with the elements of its EventData as they are given; `system_time` stands in its attribute as it is.
std::u16string LogEventXml(std::string_view event_id, std::string_view system_time, std::string_view event_data);
/// Elements Data with a Name each.
std::string DataElements(const NamedTexts& data);

/// An event 12.
std::u16string BootEventXml(std::uint64_t time);
/// An event 41 with a code in decimal digits and four parameters, as a current Windows writes them.
std::u16string CrashEventXml(std::uint64_t time, std::uint32_t code = 159,
                             const std::vector<std::string>& parameters = {"0x3", "0xffffa00b12345678", "0x0", "0x1"});

/// ASCII.
std::u16string Widened(std::string_view text);

}  // namespace varnel::testing
