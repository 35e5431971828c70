// The registers that the engine knows of an x64 target, by number and name. Pure; any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "formats/dump/kernel_dump.h"
#include "platform/debugger/types.h"

namespace varnel::embedded {

std::uint32_t RegisterCount();
/// Without the case of ASCII letters.
std::optional<std::uint32_t> FindRegister(std::string_view name);
/// REQUIRES: `index` < RegisterCount(), here and below.
std::string_view RegisterName(std::uint32_t index);
/// A kDebugValue number of the register's width.
std::uint32_t RegisterType(std::uint32_t index);
/// Of the processor that crashed; nothing when the dump does not tell.
std::optional<platform::DEBUG_VALUE> ReadRegister(const formats::KernelDump& dump, std::uint32_t index);

}  // namespace varnel::embedded
