// The chain of secondary data: blocks that components of the system put behind a dump of any form. Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "formats/dump/dump_records.h"
#include "formats/dump/dump_source.h"

namespace varnel::formats {

struct SecondaryDataChain {
  std::vector<SecondaryDataBlock> blocks;
  /// Where the last one ends as the chain says, its padding included; empty when there is no chain.
  std::optional<std::uint64_t> end;
};

/// Reads the chain that begins at `offset`; one that does not begin there has no blocks. It ends with the file, or at
/// what is no header of a block.
SecondaryDataChain ReadSecondaryDataChain(const DumpSource& source, std::uint64_t offset);

}  // namespace varnel::formats
