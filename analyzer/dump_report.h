// The report of one dump: one JSON text, for each mode. The one with symbols is made by
// BsodAnalyzer::AnalyzeDumpWithSymbol, since a stop of the analyzer has to reach it.
//
// Each fact that cannot be read costs its own key or object and nothing else; without the system's facts there is no
// report. A dump of another machine than x64 is refused with 0x80070032. Nothing here throws.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

/// Without symbols: what the dump itself holds, read by the system folder's engine. `report` takes the text;
/// `importance`, 0 or 1, goes into it. An HRESULT; on a failure there is no text. Any thread may call; it blocks for
/// the short wait for a dump.
std::int32_t AnalyzeDumpNoSymbol(const std::u16string& dumpPath, std::string* report, std::uint8_t importance) noexcept;

}  // namespace varnel
