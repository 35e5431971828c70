// What can be seen of a chunk of a binary event log from outside, without taking its records apart. Sources: the public
// descriptions of the Windows XML event log format. Pure; any thread.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/embedded/eventlog/evtx_frames.h"

namespace varnel::embedded::evtx {

/// Whether the kChunkBytes begin as a chunk does.
bool IsChunk(std::string_view chunk);

/// Whether a chunk says that nothing was written into it yet. REQUIRES: IsChunk.
bool IsEmptyChunk(std::string_view chunk);

/// The chunk's records in their order. None when a checksum of the chunk is wrong, or its records do not follow each
/// other as the chunk says.
std::vector<EvtxKey> KeysOfSoundChunk(std::string_view chunk);

/// How many records the chunk says that it has; 0 when it can't be believed.
std::uint64_t ClaimedRecords(std::string_view chunk);

}  // namespace varnel::embedded::evtx
