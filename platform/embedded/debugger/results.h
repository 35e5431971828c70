// The results that the debugger engine gives besides success.
#pragma once

#include "formats/dump/dump_problem.h"
#include "platform/debugger/types.h"

namespace varnel::embedded::results {

using platform::HRESULT;

constexpr HRESULT Of(std::uint32_t bits) {
  return static_cast<HRESULT>(bits);
}
constexpr HRESULT OfWin32(std::uint32_t error) {
  return Of(error == 0 ? 0 : 0x80070000u | (error & 0xFFFF));
}

inline constexpr HRESULT kOk = 0;
inline constexpr HRESULT kCut = 1;                          // a text that did not fit
inline constexpr HRESULT kFail = Of(0x80004005);            // the dump does not tell
inline constexpr HRESULT kNotImplemented = Of(0x80004001);  // not for a target of this kind
inline constexpr HRESULT kNotFound = Of(0x80004002);        // no object of that name
inline constexpr HRESULT kPointer = Of(0x80004003);         // an input that may not be null
inline constexpr HRESULT kUnexpected = Of(0x8000FFFF);      // no target, or not in this state
inline constexpr HRESULT kOutOfMemory = Of(0x8007000E);
inline constexpr HRESULT kInvalidArgument = Of(0x80070057);
inline constexpr HRESULT kReadFault = Of(0x8007001E);    // memory that the dump does not have
inline constexpr HRESULT kBadFormat = Of(0x8007000B);    // no kernel dump
inline constexpr HRESULT kFileCorrupt = Of(0x80070570);  // a kernel dump that can't be used

/// Why a dump can't be opened. Forms that public readers do not agree on are refused by their own result.
constexpr HRESULT OfDump(formats::DumpProblem problem) {
  switch (problem) {
    case formats::DumpProblem::kNone:
      return kOk;
    case formats::DumpProblem::kNotADump:
      return kBadFormat;
    case formats::DumpProblem::kRanges:
    case formats::DumpProblem::kUnknownType:
      return kNotImplemented;
    default:
      return kFileCorrupt;
  }
}

}  // namespace varnel::embedded::results
