// The name of the module that a keyword stands for.
#pragma once

#include <cstdint>

namespace varnel {

/// Writes the name of the keyword's lowest module bit ("ModuleVNMgr", "ModuleReserve1" to 3, "Module01" to "Module27"),
/// "None" when it has none, or "Unknown_0x..." when all its bits are above those. The low three bits are no module
/// bits. Cut to `capacity`; a null buffer or a capacity of 0 does nothing. Pure.
void GetModuleNameByKeyWord(std::uint64_t keyword, char* text, std::uint32_t capacity);

}  // namespace varnel
