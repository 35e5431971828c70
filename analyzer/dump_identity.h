// What tells one crash dump from another, whatever its name.
#pragma once

#include <cstdint>
#include <string>

namespace varnel {

/// 32 upper-case hexadecimal characters: the MD5 of the file's size and last-write time, of its first 64 KiB and, above
/// 128 KiB, of its last 64 KiB, so that it costs two reads whatever the size. An HRESULT. `identity` is empty on
/// failure; it can be empty with 0 as well, for a file without a byte, so callers test both. Any thread may call.
std::int32_t CalcDumpIdentity(const std::u16string& path, std::u16string* identity) noexcept;

}  // namespace varnel
