// The pieces that dumps of all forms have: the header, and what stands behind. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/embedded/crashdump/crash_dump.h"

namespace varnel::embedded {

inline constexpr std::uint64_t kDumpHeaderSize = 0x2000;

/// The header, for a dump of so many bytes in all.
std::vector<std::byte> DumpHeader(const CrashedMachine& machine, CrashDumpForm form, std::uint64_t file_size);

/// The named blocks with their headers, one behind the other.
std::vector<std::byte> SecondaryData(const CrashedMachine& machine);

/// Dumps that hold chosen blocks, and dumps that hold pages.
formats::Status WriteSmallDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink);
formats::Status WriteBitmapDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink);
formats::Status WriteRunsDump(const CrashedMachine& machine, const DumpOptions& options, DumpSink* sink);

}  // namespace varnel::embedded
