// The lists of a dump that keeps the kernel's own memory, walked where the kernel had them. Pure; any thread that the
// memory allows.
#pragma once

#include <cstdint>
#include <vector>

#include "formats/address_space.h"
#include "formats/dump/debugger_data.h"
#include "formats/dump/dump_records.h"

namespace varnel::formats {

/// From the list head at `head` on. The list ends at its head, at an entry that can't be read or was there before, and
/// after kMaxListedModules or as many as a file of this size has room for, so that entries that overlap each other end.
/// All names together take no more than the file either; later ones are made up.
std::vector<DumpModule> ReadLiveModules(const AddressSpace& memory, std::uint64_t head, std::uint64_t file_size);

/// The newest first, at most 50; entries that were never used are left out.
std::vector<DumpUnloadedModule> ReadLiveUnloaded(const AddressSpace& memory, const DebuggerData& data,
                                                 std::uint64_t file_size);

}  // namespace varnel::formats
