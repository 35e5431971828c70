// DumpProblem tells why a file cannot be read as a kernel crash dump.
#pragma once

#include <cstdint>
#include <string_view>

namespace varnel::formats {

enum class DumpProblem : std::uint8_t {
  kNone,
  kTooShort,     ///< the file ends before its header does
  kNotADump,     ///< it does not begin with the signatures of a kernel dump
  kRanges,       ///< pages in ranges (types 8 to 10), a form on which no two public readers agree
  kUnknownType,  ///< a type that has no public meaning
  kDamagedBody,  ///< what tells where the pages stand contradicts itself
};

/// A sentence for people, without an end of line: "the file is too short for the header of a kernel dump".
std::string_view DumpProblemText(DumpProblem problem) noexcept;

}  // namespace varnel::formats
